// qzkt encode: any video, image or image sequence (or raw ARGB) to a QZKT movie.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>

#include "codec.h"
#include "commands.h"
#include "frame_jobs.h"
#include "frame_pipeline.h"
#include "frame_source.h"
#include "options.h"
#include "output_check.h"
#include "progress.h"
#include "qzkt_movie.h"
#include "tool_error.h"

extern "C" {
#include <libavutil/parseutils.h>
}

namespace {

const char* kHelp =
    "usage: qzkt encode [OPTIONS] INPUT OUTPUT.mov\n"
    "\n"
    "Encodes INPUT into a QuickTime movie of QZKT key frames, keeping its frame rate and\n"
    "timing. INPUT is anything FFmpeg reads: a video file, a still image, or an image\n"
    "sequence pattern such as frames_%04d.png. With --raw, INPUT is raw 32-bit ARGB frames\n"
    "(a file, or - for standard input), e.g.\n"
    "  ffmpeg -i in.mp4 -f rawvideo -pix_fmt argb - | qzkt encode --raw 1920x1080 - out.mov\n"
    "OUTPUT appears only when the encode succeeded; it is never INPUT itself (under any name)\n"
    "nor anything but a regular file. An input that is cut short or damaged is encoded as far\n"
    "as it can be read; the encode then says what was wrong and ends with exit status 3.\n"
    "\n"
    "Without these options the machine-wide settings apply (see qzkt settings):\n"
    "  --alpha           DXT5 blocks that keep the alpha channel\n"
    "  --dxt1            DXT1 blocks instead of DXT24 (opaque; 8 instead of 10 bytes per block)\n"
    "  --no-lzf          store the blocks without LZF packing (larger, faster to decode)\n"
    "  --threads N|auto  DXT24 encoding threads: the nearest of 1, 2, 4, 6, 8, 12, 16, 24;\n"
    "                    auto is one per physical core. Applies with --jobs 1; with several\n"
    "                    jobs every encoder uses one thread, its own\n"
    "\n"
    "  --jobs N|auto     frames encoded at once, each by its own encoder on its own thread\n"
    "                    (default auto: one per hardware thread, at most 16; fewer for very\n"
    "                    large frames). The movie is the same, byte for byte, for every N\n"
    "                    and --threads\n"
    "  --raw WxH         INPUT is raw ARGB frames of this size\n"
    "  --rate FPS        frame rate of raw input: a number or a fraction such as 30000/1001\n"
    "                    (default 25)\n"
    "  --quiet           no progress line (there is none when standard error is not a terminal)\n"
    "  --prefs-dir DIR   folder of the settings file\n";

void ParseSize(const std::string& text, int& width, int& height) {
    char x = 0;
    char extra = 0;
    if (std::sscanf(text.c_str(), "%d%c%d%c", &width, &x, &height, &extra) != 3 || (x != 'x' && x != 'X') ||
        width < 1 || height < 1 || width > 32767 || height > 32767)
        throw UsageError("--raw takes WIDTHxHEIGHT (each 1..32767), such as 1920x1080, not '" + text + "'");
}

AVRational ParseRate(const std::string& text) {
    AVRational rate{0, 1};
    if (av_parse_video_rate(&rate, text.c_str()) < 0 || rate.num <= 0 || rate.den <= 0)
        throw UsageError("--rate takes a frame rate such as 25, 29.97 or 30000/1001, not '" + text + "'");
    return rate;
}

} // namespace

int RunEncode(const Args& args) {
    const Options options(args, {"--help", "--alpha", "--dxt1", "--no-lzf", "--quiet"},
                          {"--threads", "--jobs", "--raw", "--rate", "--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (options.positional().size() != 2) throw UsageError("give INPUT and OUTPUT.mov");
    const std::string& input = options.positional()[0];
    const std::string& output = options.positional()[1];
    if (output == "-") throw UsageError("the movie needs a file name (it is written with seeks)");
    if (options.Has("--rate") && !options.Has("--raw")) throw UsageError("--rate goes with --raw");

    SettingsChoice choice;
    if (options.Has("--alpha")) choice.alpha = 1;
    if (options.Has("--dxt1")) {
        choice.dxt24 = 0;
        if (choice.alpha < 0) choice.alpha = 0;
    }
    if (options.Has("--no-lzf")) choice.noLZF = 1;
    if (options.Has("--threads")) choice.threadSetting = ThreadSettingFor(options.Value("--threads"));
    const int jobsAsked = ParseJobs(options.Value("--jobs", "auto"));

    ApplyPrefsDir(options.Value("--prefs-dir"));
    RegisterCodecComponents();

    std::unique_ptr<FrameSource> source;
    if (options.Has("--raw")) {
        int width = 0, height = 0;
        ParseSize(options.Value("--raw"), width, height);
        source = OpenRawSource(input, width, height, ParseRate(options.Value("--rate", "25")));
    } else {
        if (input == "-") throw UsageError("standard input needs --raw WIDTHxHEIGHT");
        source = OpenMediaSource(input);
    }
    for (const std::string& file : source->files())
        ProtectInput(file);
    if (source->width() > 32767 || source->height() > 32767)
        throw ToolError(input + " is too large for a QZKT movie");

    // Without options the compressor reads the machine-wide settings itself, as for any host.
    const KELSettingsValues settings = ResolveSettings(choice);
    const int width = source->width(), height = source->height();
    const int jobs = JobsWithinMemory(jobsAsked, 8 * static_cast<size_t>(width) * height);
    auto encoders = OpenEncoders(jobs, width, height, choice);
    QZKTMovieWriter movie(output, source->width(), source->height(), source->timeBase(), source->frameRate());

    const bool quiet = options.Has("--quiet");
    Progress progress("encoding", source->expectedFrames(), quiet);
    int64_t frames = 0, bytes = 0;
    // Frames are read and converted here, encoded on the pipeline's workers, written in order.
    FramePipeline<FrameEncoder, EncodeJob> pipeline(
        std::move(encoders),
        [width](FrameEncoder& encoder, EncodeJob& job) { RunEncodeJob(encoder, job, width); },
        [&](EncodeJob& job) {
            movie.WriteFrame(job.encoded.data(), job.encoded.size(), job.pts);
            bytes += static_cast<int64_t>(job.encoded.size());
            progress.Update(++frames);
        });
    ArgbFrame frame;
    while (source->Next(frame)) {
        EncodeJob job = pipeline.Take();
        FillEncodeJob(job, frame, width, height);
        pipeline.Push(std::move(job));
    }
    pipeline.Finish();
    const std::string inputName = input == "-" ? "standard input" : input;
    const std::string damage = source->Damage();
    if (frames == 0)
        throw ToolError(inputName + " holds no frames" +
                        (damage.empty() ? "" : " that can be read: " + damage));
    movie.Finish();
    progress.Done();

    if (!quiet && isatty(STDERR_FILENO)) {
        const double raw = 4.0 * source->width() * source->height() * static_cast<double>(frames);
        std::fprintf(stderr, "encoded %lld frames of %dx%d (%s) to %s: %.1f MB, %.1f:1, %.1f fps\n",
                     static_cast<long long>(frames), source->width(), source->height(),
                     DescribeSettings(settings).c_str(), output.c_str(), bytes / 1e6,
                     raw / static_cast<double>(bytes), frames / progress.Elapsed());
    }
    if (!damage.empty()) {
        std::fprintf(stderr, "qzkt encode: %s is damaged or cut short: %s. %s holds the %lld frame%s read\n",
                     inputName.c_str(), damage.c_str(), output.c_str(), static_cast<long long>(frames),
                     frames == 1 ? "" : "s");
        return kExitDamagedFrames;
    }
    return kExitOK;
}
