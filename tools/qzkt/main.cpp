// qzkt: encode and decode QZKT movies through the codec's components, print frame headers,
// edit the machine-wide settings, and benchmark.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <malloc.h>
#include <string>
#include <unistd.h>
#include <vector>

#include <qzkt/qzkt.h>

#include "cli/options.h"
#include "cli/tool_error.h"
#include "commands/commands.h"
#include "media/ffmpeg_util.h"

namespace {

const char* kUsage =
    "usage: qzkt [COMMAND] [OPTIONS] ...\n"
    "\n"
    "QZKT is an intra-frame video codec for real-time playback: every frame is a key frame of\n"
    "DXT1, DXT5 or DXT24 (exact 8:8:8 endpoints) blocks, optionally packed with LZF.\n"
    "\n"
    "commands:\n"
    "  demo                      encode and decode a generated clip into qzkt-demo/ (about\n"
    "                            65 MB): try this first\n"
    "  encode INPUT OUTPUT.mov   encode any video, image or image sequence (or raw ARGB)\n"
    "  decode INPUT.mov OUTPUT   decode to raw ARGB, an image sequence or a lossless video\n"
    "  info INPUT.mov...         print the tracks and every frame's header (--json for JSON)\n"
    "  settings                  edit, set (--set) or show (--show) the compression settings\n"
    "  play INPUT.mov...         play movies in an OpenGL window, several as layers\n"
    "  bench [INPUT]             measure encode and decode speed, size and quality\n"
    "  version                   print the version (also --version)\n"
    "\n"
    "Every command takes --help and --prefs-dir DIR (where the settings file lives).\n";

const char* kVersionUsage = "usage: qzkt version (or qzkt --version)\n"
                            "\n"
                            "Prints the version of the codec library the tool runs with.\n";

struct Command {
    const char* name;
    int (*run)(const Args&);
};

const Command kCommands[] = {{"demo", RunDemo}, {"encode", RunEncode},     {"decode", RunDecode},
                             {"info", RunInfo}, {"settings", RunSettings}, {"bench", RunBench},
                             {"play", RunPlay}};

// The commands print their reports through stdio, which keeps a failed write to itself: a full
// disk or /dev/full must still end the run with one line and a failure. A closed pipe ends the
// process by SIGPIPE before this, quietly, as it ends other tools (qzkt info x.mov | head -1);
// where SIGPIPE is ignored the write fails with EPIPE and is reported like any other.
int FinishStandardOutput(const char* who, int status) {
    errno = 0;
    if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
    const int error = errno;
    std::fprintf(stderr, "%s: cannot write to standard output: %s\n", who,
                 error != 0 ? std::strerror(error) : "a write failed");
    return kExitFailure;
}

} // namespace

int main(int argc, char** argv) {
    QuietFFmpegLogging();
    // Past a file-size limit (ulimit -f) a write then fails with EFBIG, and the tool removes
    // its partial output and says so, instead of being ended by the signal with files left behind.
    std::signal(SIGXFSZ, SIG_IGN);
    // Frame-sized buffers come and go with every frame (the decoder's frame reader allocates
    // its own too): keep them in the heap and keep the heap, so that each frame reuses the memory the
    // last one freed instead of faulting in fresh zero pages (7% of a DXT24 decode's time).
    // Peak memory is unchanged; 32 MB is glibc's largest mmap threshold.
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);

    // Reports and help go out in one write at the end where they fit in 64 KiB, so that a failed
    // write is seen by FinishStandardOutput with its reason (a write failing inside a printf
    // leaves no errno behind). A terminal keeps its line buffering. (glibc takes the size only
    // with a buffer.)
    static char outputBuffer[64 << 10];
    if (isatty(STDOUT_FILENO) == 0) std::setvbuf(stdout, outputBuffer, _IOFBF, sizeof outputBuffer);

    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h" || args[0] == "help")) {
        std::fputs(kUsage, stdout);
        return FinishStandardOutput("qzkt", kExitOK);
    }
    if (!args.empty() && (args[0] == "--version" || args[0] == "version")) {
        if (args.size() == 2 && (args[1] == "--help" || args[1] == "-h")) {
            std::fputs(kVersionUsage, stdout);
            return FinishStandardOutput("qzkt", kExitOK);
        }
        if (args.size() > 1) {
            std::fprintf(stderr, "qzkt %s: takes no arguments (see qzkt --help)\n", args[0].c_str());
            return kExitUsage;
        }
        std::printf("qzkt %s\n", qzkt_version());
        return FinishStandardOutput("qzkt", kExitOK);
    }
    // Without a command: the usage, and where to start. (The demo writes 65 MB: only on request.)
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        std::fputs("\nqzkt demo shows what the codec does on a generated clip.\n", stderr);
        return kExitUsage;
    }
    const std::string name = args[0];
    args.erase(args.begin());

    for (const Command& command : kCommands) {
        if (name != command.name) continue;
        const std::string who = std::string("qzkt ") + command.name;
        try {
            return FinishStandardOutput(who.c_str(), command.run(args));
        } catch (const UsageError& e) {
            std::fprintf(stderr, "qzkt %s: %s (see qzkt %s --help)\n", command.name, e.what(), command.name);
            return kExitUsage;
        } catch (const ToolError& e) {
            std::fprintf(stderr, "qzkt %s: %s\n", command.name, e.what());
            return kExitFailure;
        } catch (const std::bad_alloc&) {
            std::fprintf(stderr, "qzkt %s: out of memory\n", command.name);
            return kExitFailure;
        } catch (const std::exception& e) {
            std::fprintf(stderr, "qzkt %s: %s\n", command.name, e.what());
            return kExitFailure;
        }
    }
    std::fprintf(stderr, "qzkt: unknown command '%s' (see qzkt --help)\n", name.c_str());
    return kExitUsage;
}
