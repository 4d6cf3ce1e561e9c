// What a signal that ends the tool (SIGINT, SIGTERM, SIGHUP) must remove so that no partial
// output stays behind: the named temporary file being written. The images an unfinished image
// sequence has written so far are whole and are kept (they may have replaced older files, with
// -y); the handler names them on standard error. The handler uses async-signal-safe calls only and then
// lets the signal end the process as it would have. (SIGKILL cannot be caught: output files
// are therefore unnamed until they are complete, see atomic_output_file.h.)
#pragma once

#include <string>

// The one named temporary file in progress; Forget when it is renamed or removed.
void RegisterTemporaryFile(const std::string& path);
void ForgetTemporaryFile();

// An image sequence being written by pattern (one %d or %0Nd); images 1..count exist.
void RegisterImageSequence(const std::string& pattern);
void SetImagesWritten(int count);
void ForgetImageSequence();
