// qzkt info: the QZKT track of a movie and the header of every frame.
#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "commands.h"
#include "frame_check.h"
#include "options.h"
#include "qzkt_movie.h"
#include "tool_error.h"

namespace {

const char* kHelp = "usage: qzkt info [--summary] INPUT.mov\n"
                    "\n"
                    "Prints the size, frame count and frame rate of the movie's QZKT track and, for every\n"
                    "frame, its time, stored size, compression ratio against 32-bit ARGB and header fields\n"
                    "(block kind, alpha, packing, payload size). --summary prints totals instead.\n"
                    "\n"
                    "  --summary        one summary instead of a line per frame\n"
                    "  --prefs-dir DIR  folder of the settings file (not used by this command)\n";

const char* KindName(const FrameLayout& layout) {
    if (!layout.intact) return "damaged";
    if (layout.header.blockKind == 1) return layout.header.alpha ? "DXT24A" : "DXT24";
    return layout.header.alpha ? "DXT5" : "DXT1";
}

} // namespace

int RunInfo(const Args& args) {
    const Options options(args, {"--help", "--summary"}, {"--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (options.positional().size() != 1) throw UsageError("give one INPUT.mov");
    ApplyPrefsDir(options.Value("--prefs-dir"));

    const std::string& path = options.positional()[0];
    QZKTMovieReader movie(path);
    const double rate = av_q2d(movie.frameRate());
    const double rawFrameBytes = 4.0 * movie.width() * movie.height();
    std::printf("%s: QZKT video %dx%d, %" PRId64 " frames at %.3f fps\n", path.c_str(), movie.width(),
                movie.height(), movie.frameCount(), rate);

    const bool summary = options.Has("--summary");
    if (!summary)
        std::printf("%7s %10s %10s %7s  %-7s %5s %-6s %10s %4s %3s %3s\n", "frame", "time", "stored", "ratio",
                    "kind", "alpha", "pack", "payload", "hdr", "ver", "b25");

    int64_t frames = 0, damaged = 0, totalBytes = 0, smallest = INT64_MAX, largest = 0;
    int64_t kinds[4] = {}; // DXT1, DXT5, DXT24, DXT24A
    QZKTSample sample;
    while (movie.Next(sample)) {
        ++frames;
        const FrameLayout layout = CheckFrame(sample.data, sample.size, movie.width(), movie.height());
        const int64_t size = static_cast<int64_t>(sample.size);
        totalBytes += size;
        smallest = std::min(smallest, size);
        largest = std::max(largest, size);
        if (!layout.intact)
            ++damaged;
        else
            ++kinds[(layout.header.blockKind == 1 ? 2 : 0) + (layout.header.alpha ? 1 : 0)];
        if (summary) continue;

        const double seconds = sample.pts * av_q2d(movie.timeBase());
        const double ratio = size > 0 ? rawFrameBytes / size : 0.0;
        if (!layout.intact) {
            std::printf("%7" PRId64 " %10.3f %10" PRId64 " %7s  %-7s %s\n", frames, seconds, size, "-",
                        "damaged", layout.problem.c_str());
            continue;
        }
        const FrameHeader& h = layout.header;
        std::printf("%7" PRId64 " %10.3f %10" PRId64 " %6.2f:1 %-7s %5u %-6s %10u %4u %3u %3u\n", frames,
                    seconds, size, ratio, KindName(layout), h.alpha, h.packing == 1 ? "LZF" : "raw",
                    layout.payloadSize, h.headerSize, h.version, h.blockColourPlane);
    }
    // A track whose sample tables were lost (a file cut short in its index) lists no samples.
    if (frames == 0) throw ToolError(path + " has no frames in its QZKT track");

    if (summary) {
        std::printf("frames      %" PRId64 " (DXT1 %" PRId64 ", DXT5 %" PRId64 ", DXT24 %" PRId64
                    ", DXT24 with alpha flag %" PRId64 ", damaged %" PRId64 ")\n",
                    frames, kinds[0], kinds[1], kinds[2], kinds[3], damaged);
        if (frames > 0) {
            std::printf("stored      %" PRId64 " bytes, %.0f per frame (smallest %" PRId64
                        ", largest %" PRId64 ")\n",
                        totalBytes, static_cast<double>(totalBytes) / frames, smallest, largest);
            std::printf("ratio       %.2f:1 against 32-bit ARGB\n",
                        totalBytes > 0 ? rawFrameBytes * frames / totalBytes : 0.0);
            if (rate > 0)
                std::printf("data rate   %.1f Mbit/s at %.3f fps\n", totalBytes * 8.0 * rate / frames / 1e6,
                            rate);
        }
    }
    return kExitOK;
}
