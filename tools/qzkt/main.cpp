// qzkt: encode and decode QZKT movies through the codec's components, print frame headers,
// edit the machine-wide settings, and benchmark.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "commands.h"
#include "ffmpeg_util.h"
#include "options.h"
#include "platform/semaphore_names.h"
#include "tool_error.h"

namespace {

const char* kUsage =
    "usage: qzkt [COMMAND] [OPTIONS] ...\n"
    "\n"
    "QZKT is an intra-frame video codec for real-time playback: every frame is a key frame of\n"
    "DXT1, DXT5 or DXT24 (exact 8:8:8 endpoints) blocks, optionally packed with LZF.\n"
    "\n"
    "commands:\n"
    "  demo                      encode and decode a generated clip (the default)\n"
    "  encode INPUT OUTPUT.mov   encode any video, image or image sequence (or raw ARGB)\n"
    "  decode INPUT.mov OUTPUT   decode to raw ARGB, an image sequence or a lossless video\n"
    "  info INPUT.mov            print the track and every frame's header\n"
    "  settings                  edit the machine-wide compression settings\n"
    "  bench [INPUT]             measure encode and decode speed, size and quality\n"
    "\n"
    "Every command takes --help and --prefs-dir DIR (where the settings file lives).\n";

struct Command {
    const char* name;
    int (*run)(const Args&);
};

const Command kCommands[] = {{"demo", RunDemo}, {"encode", RunEncode},     {"decode", RunDecode},
                             {"info", RunInfo}, {"settings", RunSettings}, {"bench", RunBench}};

} // namespace

int main(int argc, char** argv) {
    // The codec opened its named semaphores when it was loaded; remove their names now so
    // that nothing is left in /dev/shm however this process ends.
    UnlinkCodecSemaphoreNames();
    QuietFFmpegLogging();

    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h" || args[0] == "help")) {
        std::fputs(kUsage, stdout);
        return kExitOK;
    }
    const std::string name = args.empty() ? "demo" : args[0];
    if (!args.empty()) args.erase(args.begin());

    for (const Command& command : kCommands) {
        if (name != command.name) continue;
        try {
            return command.run(args);
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
