// qzkt demo (also qzkt without arguments): encodes a generated clip to qzkt-demo/demo.mov,
// decodes it back to qzkt-demo/demo_decoded.mkv, and reports size, compression ratio, quality
// and speed.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "cli/options.h"
#include "cli/progress.h"
#include "cli/timer.h"
#include "cli/tool_error.h"
#include "codec/codec.h"
#include "codec/frame_check.h"
#include "commands/clip.h"
#include "commands/commands.h"
#include "media/frame_sink.h"
#include "media/qzkt_movie.h"

namespace {

const char* kHelp = "usage: qzkt demo [--dir DIR] [--quiet] [--prefs-dir DIR]\n"
                    "\n"
                    "Makes a two-second 1280x720 clip in memory (moving gradients, hard edges, thin lines,\n"
                    "text-like detail, noise), encodes it with the machine-wide settings to demo.mov,\n"
                    "decodes it back to demo_decoded.mkv (UT Video, lossless), and prints the size,\n"
                    "compression ratio, PSNR and speed of both directions. The two files (about 65 MB\n"
                    "together) go into the folder qzkt-demo/ in the current folder, which is made when\n"
                    "missing; a run replaces the files of the run before and leaves anything else in the\n"
                    "folder alone.\n"
                    "\n"
                    "  --dir DIR        the folder for the two files (default qzkt-demo)\n"
                    "  --quiet          no progress line and no report (errors only)\n"
                    "  --prefs-dir DIR  folder of the settings file\n";

const char* kMovieName = "demo.mov";
const char* kDecodedName = "demo_decoded.mkv";

// The demo's folder, made when missing.
void MakeFolder(const std::string& dir) {
    if (mkdir(dir.c_str(), 0777) == 0 || errno == EEXIST) {
        struct stat info;
        if (stat(dir.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return;
        throw ToolError("cannot use " + dir + " for the demo's files: it is not a folder");
    }
    throw ToolError("cannot make the folder " + dir + ": " + std::strerror(errno));
}

// The demo's own file from an earlier run goes before the new one is written.
void RemoveEarlier(const std::string& path) {
    struct stat info;
    if (lstat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode) && unlink(path.c_str()) != 0)
        throw ToolError("cannot replace " + path + ": " + std::strerror(errno));
}

int64_t FileBytes(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? static_cast<int64_t>(info.st_size) : 0;
}

std::string Megabytes(int64_t bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
    return text;
}

} // namespace

int RunDemo(const Args& args) {
    const Options options(args, {"--help", "--quiet"}, {"--dir", "--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (!options.positional().empty()) throw UsageError("takes no arguments");
    const bool quiet = options.Has("--quiet");
    const std::string dir = options.Value("--dir", "qzkt-demo");
    if (dir.empty()) throw UsageError("--dir needs a folder");
    ApplyPrefsDir(options.Value("--prefs-dir"));
    MakeFolder(dir);
    char resolved[PATH_MAX];
    const std::string where =
        std::string(realpath(dir.c_str(), resolved) != nullptr ? resolved : dir.c_str()) + "/";
    const std::string movieFile = where + kMovieName, decodedFile = where + kDecodedName;

    const Clip clip{1280, 720, 48, 24};
    const AVRational timeBase{1, clip.rate}, rate{clip.rate, 1};
    const qzkt_settings settings = ResolveSettings(SettingsChoice{});
    if (!quiet)
        std::printf(
            "qzkt demo: %d frames of %dx%d at %d fps, generated (moving gradients, edges, text, noise)\n",
            clip.frameCount, clip.width, clip.height, clip.rate);
    if (!quiet)
        std::printf("  settings    %s (machine-wide; see qzkt settings)\n",
                    DescribeSettings(settings).c_str());
    if (!quiet)
        std::printf("  writing     %s and %s (about 65 MB together) to %s\n", kMovieName, kDecodedName,
                    where.c_str());
    if (!quiet) std::fflush(stdout);

    // Encode.
    double encodeSeconds = 0;
    int64_t bytes = 0;
    {
        FrameEncoder encoder(clip.width, clip.height, nullptr);
        RemoveEarlier(movieFile);
        QZKTMovieWriter movie(movieFile, clip.width, clip.height, timeBase, rate);
        Progress progress("encoding", clip.frameCount, quiet);
        for (int i = 0; i < clip.frameCount; ++i) {
            const std::vector<uint8_t> frame = clip.Frame(i);
            Timer timer;
            const FrameBytes& encoded = encoder.Encode(frame.data(), clip.width * 4);
            encodeSeconds += timer.GetElapsedTime();
            movie.WriteFrame(encoded.data(), encoded.size(), i);
            bytes += static_cast<int64_t>(encoded.size());
            progress.Update(i + 1);
        }
        movie.Finish();
    }

    // Decode what was written, back from the file.
    double decodeSeconds = 0, psnrSum = 0;
    bool usedGPU = false; // DXT1/DXT5 frames were met
    std::string note;     // what decoded them
    {
        QZKTMovieReader movie(movieFile);
        RemoveEarlier(decodedFile);
        std::unique_ptr<FrameSink> sink =
            OpenFrameSink(decodedFile, movie.width(), movie.height(), movie.timeBase(), movie.frameRate(), 0,
                          nullptr, VideoCoding{EveryFrameOpaque(movie), ""});
        FrameDecoder decoder(movie.width(), movie.height(), QZKT_RENDERER_AUTO);
        std::vector<uint8_t> picture(static_cast<size_t>(movie.width()) * movie.height() * 4);
        Progress progress("decoding", movie.frameCount(), quiet);
        QZKTSample sample;
        for (int i = 0; movie.Next(sample); ++i) {
            // DXT1/DXT5 frames: what decodes them (the GPU, or the CPU decoder without one).
            if (!usedGPU && NeedsRenderer(sample.data, sample.size, movie.width(), movie.height())) {
                note = PrepareRenderer(QZKT_RENDERER_AUTO);
                usedGPU = true;
            }
            Timer timer;
            decoder.Decode(sample.data, sample.size, picture.data(), movie.width() * 4);
            decodeSeconds += timer.GetElapsedTime();
            const std::vector<uint8_t> source = clip.Frame(i);
            psnrSum += qzkt_psnr(source.data(), clip.width * 4, picture.data(), clip.width * 4, clip.width,
                                 clip.height);
            sink->Write(picture.data(), movie.width() * 4, sample.pts);
            progress.Update(i + 1);
        }
        sink->Finish();
    }

    const double raw = 4.0 * clip.width * clip.height * clip.frameCount;
    if (!quiet)
        std::printf("  %-11s %.2f MB, %.1f:1 against 32-bit ARGB, %.1f Mbit/s\n", kMovieName, bytes / 1e6,
                    raw / static_cast<double>(bytes), bytes * 8.0 * clip.rate / clip.frameCount / 1e6);
    if (!quiet)
        std::printf("  quality     PSNR %.2f dB (RGB, mean over the frames)\n", psnrSum / clip.frameCount);
    if (!quiet) std::printf("  encode      %.1f fps\n", clip.frameCount / encodeSeconds);
    if (!quiet)
        std::printf("  decode      %.1f fps (%s)\n", clip.frameCount / decodeSeconds,
                    usedGPU ? note.c_str() : "the CPU");
    const int64_t movieBytes = FileBytes(movieFile), decodedBytes = FileBytes(decodedFile);
    if (!quiet)
        std::printf("the files, %s together, are in %s:\n", Megabytes(movieBytes + decodedBytes).c_str(),
                    where.c_str());
    if (!quiet) std::printf("  %-17s %8s  the QZKT movie\n", kMovieName, Megabytes(movieBytes).c_str());
    if (!quiet)
        std::printf("  %-17s %8s  decoded back (UT Video, lossless)\n", kDecodedName,
                    Megabytes(decodedBytes).c_str());
    if (!quiet) std::printf("look at the result:\n");
    if (!quiet)
        std::printf("  ffplay %s%s\n", dir == "qzkt-demo" ? "qzkt-demo/" : where.c_str(), kDecodedName);
    if (!quiet)
        std::printf("  qzkt info --summary %s%s\n", dir == "qzkt-demo" ? "qzkt-demo/" : where.c_str(),
                    kMovieName);
    return kExitOK;
}
