// qzkt demo (also qzkt without arguments): encodes a generated clip to demo.mov, decodes it
// back to demo_decoded.mkv, and reports size, compression ratio, quality and speed.
#include <cstdio>
#include <vector>

#include "clip.h"
#include "codec.h"
#include "commands.h"
#include "frame_check.h"
#include "frame_sink.h"
#include "options.h"
#include "progress.h"
#include "qzkt_movie.h"
#include "timer.h"
#include "tool_error.h"

namespace {

const char* kHelp = "usage: qzkt demo [--quiet] [--prefs-dir DIR]\n"
                    "\n"
                    "Makes a two-second 1280x720 clip in memory (moving gradients, hard edges, thin lines,\n"
                    "text-like detail, noise), encodes it with the machine-wide settings to demo.mov in the\n"
                    "current folder, decodes it back to demo_decoded.mkv (FFV1, lossless), and prints the\n"
                    "size, compression ratio, PSNR and speed of both directions.\n"
                    "\n"
                    "  --quiet          no progress line\n"
                    "  --prefs-dir DIR  folder of the settings file\n";

const char* kMovie = "demo.mov";
const char* kDecoded = "demo_decoded.mkv";

} // namespace

int RunDemo(const Args& args) {
    const Options options(args, {"--help", "--quiet"}, {"--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (!options.positional().empty()) throw UsageError("takes no arguments");
    const bool quiet = options.Has("--quiet");
    ApplyPrefsDir(options.Value("--prefs-dir"));
    RegisterCodecComponents();

    const Clip clip{1280, 720, 48, 24};
    const AVRational timeBase{1, clip.rate}, rate{clip.rate, 1};
    const qzkt_settings settings = ResolveSettings(SettingsChoice{});
    std::printf("qzkt demo: %d frames of %dx%d at %d fps, generated (moving gradients, edges, text, noise)\n",
                clip.frameCount, clip.width, clip.height, clip.rate);
    std::printf("  settings    %s (machine-wide; see qzkt settings)\n", DescribeSettings(settings).c_str());
    std::fflush(stdout);

    // Encode.
    double encodeSeconds = 0;
    int64_t bytes = 0;
    {
        FrameEncoder encoder(clip.width, clip.height, nullptr);
        QZKTMovieWriter movie(kMovie, clip.width, clip.height, timeBase, rate);
        Progress progress("encoding", clip.frameCount, quiet);
        for (int i = 0; i < clip.frameCount; ++i) {
            const std::vector<uint8_t> frame = clip.Frame(i);
            Timer timer;
            const std::vector<uint8_t>& encoded = encoder.Encode(frame.data(), clip.width * 4);
            encodeSeconds += timer.GetElapsedTime();
            movie.WriteFrame(encoded.data(), encoded.size(), i);
            bytes += static_cast<int64_t>(encoded.size());
            progress.Update(i + 1);
        }
        movie.Finish();
    }

    // Decode what was written, back from the file.
    double decodeSeconds = 0, psnrSum = 0;
    bool usedGPU = false;
    std::string note;
    {
        QZKTMovieReader movie(kMovie);
        std::unique_ptr<FrameSink> sink =
            OpenFrameSink(kDecoded, movie.width(), movie.height(), movie.timeBase(), movie.frameRate());
        FrameDecoder decoder(movie.width(), movie.height());
        std::vector<uint8_t> picture(static_cast<size_t>(movie.width()) * movie.height() * 4);
        Progress progress("decoding", movie.frameCount(), quiet);
        QZKTSample sample;
        for (int i = 0; movie.Next(sample); ++i) {
            if (!usedGPU && NeedsRenderer(sample.data, sample.size, movie.width(), movie.height())) {
                note = PrepareRenderer(RendererChoice::kAuto);
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
    std::printf("  %-11s %.2f MB, %.1f:1 against 32-bit ARGB, %.1f Mbit/s\n", kMovie, bytes / 1e6,
                raw / static_cast<double>(bytes), bytes * 8.0 * clip.rate / clip.frameCount / 1e6);
    std::printf("  quality     PSNR %.2f dB (RGB, mean over the frames)\n", psnrSum / clip.frameCount);
    std::printf("  encode      %.1f fps\n", clip.frameCount / encodeSeconds);
    std::printf("  decode      %.1f fps (%s)\n", clip.frameCount / decodeSeconds,
                usedGPU ? (note.empty() ? "GPU" : "Mesa's software OpenGL renderer") : "CPU");
    std::printf("  decoded to  %s (FFV1, lossless)\n", kDecoded);
    std::printf("look at the result:\n");
    std::printf("  ffplay %s\n", kDecoded);
    std::printf("  qzkt info --summary %s\n", kMovie);
    return kExitOK;
}
