// Which names the tool may write its outputs to, and whether an existing output may be replaced. Finished
// outputs take their name by replacing whatever had it (see atomic_output_file.h), so two kinds of name are
// refused, before anything is written and again just before an output takes its name:
//   - a file this run reads, under any of its names: the same name, a hard link, a symbolic
//     link or another spelling of the path (same device and inode). Replacing it would
//     destroy the input the output is made from.
//   - an existing name that is not a regular file (directory, device, fifo, socket, also
//     through a symbolic link), which would lose its kind and become a plain file.
// The inputs are recorded for the whole process, as the run opens them.
//
// Whether an output may replace an existing file follows -y / -n (ffmpeg's habits): checked
// before any work for every name the run will write, and again when each output takes its
// name, so that a file that appears meanwhile is not replaced either (atomic_output_file.h).
#pragma once

#include <string>

// Records a file the run reads, by name; "-" is standard input. Names that do not exist and
// inputs that are not files (a pipe, a terminal) are not recorded: no output can replace them.
void ProtectInput(const std::string& name);

// -y (kReplace), -n (kKeep), or neither (kRefuse: stop, as with -n but saying how to replace).
enum class Overwrite { kRefuse, kReplace, kKeep };

// The choice for every output of this run; kReplace until a command sets another.
void SetOverwriteChoice(Overwrite choice);
bool OutputsMayReplace();

// "OUTPUT exists; use -y to replace it", or with -n "OUTPUT exists; not replaced (-n)".
std::string OverwriteRefusal(const std::string& output);

// Throws ToolError(OverwriteRefusal(output)) when output names an existing file (or link)
// and the choice in force does not replace. Call it before any work.
void CheckOverwrite(const std::string& output);

// Throws ToolError (one line) when an output named `output` may not be written.
void CheckOutputName(const std::string& output);

// Throws ToolError when standard output is a file this run reads (qzkt decode in.mov - >> in.mov).
// Pipes, fifos, terminals and /dev/null are fine.
void CheckStandardOutput();

class Options;

// Option names for the overwrite choice (for Options' flag lists): --overwrite (-y),
// --no-overwrite (-n).
extern const char* const kOverwriteFlags[2];

// The choice -y / -n make: -y and -n together are a usage error. The choice is also put in
// force for every output of the run (SetOverwriteChoice).
Overwrite OverwriteChoice(const Options& options);
