// qzkt encode: any video, image or image sequence (or raw ARGB) to a QZKT movie.
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/options.h"
#include "cli/progress.h"
#include "cli/report_text.h"
#include "cli/tool_error.h"
#include "codec/codec.h"
#include "commands/commands.h"
#include "media/colour_matrix.h"
#include "media/frame_source.h"
#include "media/increasing_times.h"
#include "media/qzkt_movie.h"
#include "media/time_range.h"
#include "output/output_check.h"
#include "pipeline/frame_jobs.h"
#include "pipeline/frame_pipeline.h"

extern "C" {
#include <libavutil/parseutils.h>
}

namespace {

const char* kHelp =
    "usage: qzkt encode [OPTIONS] INPUT OUTPUT.mov\n"
    "       qzkt encode [OPTIONS] INPUT... -o FOLDER\n"
    "\n"
    "Encodes INPUT into a QuickTime movie of QZKT key frames, keeping its frame rate and\n"
    "timing. INPUT is anything FFmpeg reads: a video file, a still image, or an image\n"
    "sequence: a pattern such as frames_%04d.png (from its lowest number there, or from\n"
    "-start_number's), or a quoted glob such as \"shots/*.png\" (in name order); - reads a\n"
    "container from standard input, as ffmpeg reads one from a pipe (Matroska, NUT, MPEG-TS;\n"
    "not an MP4 whose index comes last). With --raw,\n"
    "INPUT is raw 32-bit ARGB frames (a file, or - for standard input), e.g.\n"
    "  ffmpeg -i in.mp4 -f rawvideo -pix_fmt argb - | qzkt encode --raw 1920x1080 - out.mov\n"
    "OUTPUT must end in .mov or .qt. It appears only when the encode succeeded; it is never\n"
    "INPUT itself (under any name) nor anything but a regular file, and an existing OUTPUT is\n"
    "replaced only with -y. An input that is cut short or damaged is encoded as far as it can\n"
    "be read; the encode then says what was wrong and ends with exit status 3.\n"
    "The input's audio streams, timecode and metadata (title, creation time, language,\n"
    "rotation) are copied into the movie unchanged; a stream QuickTime cannot hold is named\n"
    "in a note and left out. Y'CbCr video without colour tags is converted with the BT.709\n"
    "matrix from 720 rows up and BT.601 below, as players do (see --matrix).\n"
    "At the end a summary line says what was written (frames, size, ratio, speed).\n"
    "\n"
    "Without these options the machine-wide settings apply (see qzkt settings):\n"
    "  --alpha           DXT5 blocks that keep the alpha channel\n"
    "  --dxt1            DXT1 blocks instead of DXT24 (opaque; 8 instead of 10 bytes per block)\n"
    "  --no-lzf          store the blocks without LZF packing (larger, faster to decode)\n"
    "  --threads N|auto  DXT24 encoding threads: the nearest of 1, 2, 4, 6, 8, 12, 16, 24;\n"
    "                    auto is one per physical core. Applies with --jobs 1; with several\n"
    "                    jobs every encoder uses one thread, its own\n"
    "\n"
    "  --alpha and --dxt1 contradict each other, as do --threads and --alpha or --dxt1 (only\n"
    "  DXT24 blocks are encoded by several threads).\n"
    "\n"
    "  -y, --overwrite   replace an existing OUTPUT\n"
    "  -n, --no-overwrite  never replace an existing OUTPUT (stop with exit status 1)\n"
    "  -ss, --start TIME  start TIME into the input (1.5, 00:01:02.5: ffmpeg's syntax); the\n"
    "                    movie starts at 0\n"
    "  -t, --duration TIME  take at most TIME of the input\n"
    "  --frames N        take at most N frames\n"
    "  --rate FPS        the input's frame rate: a number or a fraction such as 30000/1001;\n"
    "                    for image sequences and raw input the rate they are read at (as\n"
    "                    ffmpeg's -framerate; raw input defaults to 25), for other inputs\n"
    "                    their frames are retimed to it\n"
    "  --matrix M        bt601, bt709 or auto (default): the Y'CbCr matrix; auto takes the\n"
    "                    input's colour tags, or for untagged input the rule above\n"
    "  -s, --size WxH    scale every frame to this size (ffmpeg's -s; bicubic), which also\n"
    "                    takes an input whose size changes midway\n"
    "  -o, --output-folder FOLDER  encode every INPUT into FOLDER/NAME.mov (NAME: the input's\n"
    "                    name without its extension; FOLDER is made when missing), each with\n"
    "                    its own notes and summary; one that fails does not stop the others,\n"
    "                    and a last line counts them (exit status 1 when any failed)\n"
    "  -start_number N, --start-number N  an image pattern's first number (ffmpeg's\n"
    "                    -start_number; by default the lowest number of its images there)\n"
    "  --no-audio        leave the audio out\n"
    "  --faststart       write the movie's index before its frames (a second pass over the\n"
    "                    file at the end, as ffmpeg's -movflags +faststart): a copy cut short\n"
    "                    or still downloading then opens\n"
    "  --jobs N|auto     frames encoded at once, each by its own encoder on its own thread\n"
    "                    (default auto: one per hardware thread, at most 16; fewer for very\n"
    "                    large frames). The movie is the same, byte for byte, for every N\n"
    "                    and --threads\n"
    "  --raw WxH         INPUT is raw ARGB frames of this size (each side 1..32767, at most\n"
    "                    2^28 pixels)\n"
    "  --quiet           no progress line, notes or summary\n"
    "  --prefs-dir DIR   folder of the settings file\n";

void ParseSize(const std::string& text, int& width, int& height, const std::string& option = "--raw") {
    char x = 0;
    char extra = 0;
    if (std::sscanf(text.c_str(), "%d%c%d%c", &width, &x, &height, &extra) != 3 || (x != 'x' && x != 'X') ||
        width < 1 || height < 1 || width > QZKT_MAX_SIDE || height > QZKT_MAX_SIDE)
        throw UsageError(option + " takes WIDTHxHEIGHT (each 1.." + std::to_string(QZKT_MAX_SIDE) +
                         "), such as 1920x1080, not '" + text + "'");
    if (static_cast<long long>(width) * height > (1LL << 28))
        throw UsageError(option + " " + text + " is more than 2^28 pixels (268435456), the most a" +
                         (option == "--raw" ? " raw" : "") + " frame may have");
}

AVRational ParseRate(const std::string& text) {
    AVRational rate{0, 1};
    if (av_parse_video_rate(&rate, text.c_str()) < 0 || rate.num <= 0 || rate.den <= 0)
        throw UsageError("--rate takes a frame rate such as 25, 29.97 or 30000/1001, not '" + text + "'");
    return rate;
}

// The movie's name says QuickTime: .mov or .qt, whatever the case.
void CheckMovieName(const std::string& output) {
    std::string lower = output;
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const auto endsWith = [&](const std::string& suffix) {
        return lower.size() > suffix.size() &&
               lower.compare(lower.size() - suffix.size(), suffix.size(), suffix) == 0;
    };
    if (!endsWith(".mov") && !endsWith(".qt"))
        throw UsageError(output +
                         " is not a QuickTime movie name: the output of qzkt encode is a .mov (or .qt) "
                         "file; decode it to other formats with qzkt decode");
}

// Settings that cannot all hold are refused rather than resolved in silence.
void CheckContradictions(const Options& options) {
    if (options.Has("--alpha") && options.Has("--dxt1"))
        throw UsageError(
            "--alpha (DXT5 blocks with alpha) and --dxt1 (opaque DXT1 blocks) contradict each other");
    if (options.Has("--threads") && (options.Has("--alpha") || options.Has("--dxt1")))
        throw UsageError(std::string("--threads applies to DXT24 blocks only, not to ") +
                         (options.Has("--alpha") ? "--alpha (DXT5)" : "--dxt1") + " blocks");
    if (options.Has("--matrix") && options.Has("--raw"))
        throw UsageError("--matrix applies to Y'CbCr input, not to --raw ARGB frames");
}

// Says once when --threads N gives another number of workers.
std::string ThreadNote(const std::string& asked, int threadSetting) {
    if (asked == "auto") return "";
    const std::string given = DescribeThreadSetting(threadSetting);
    const std::string wanted = Counted(std::strtol(asked.c_str(), nullptr, 10), "thread");
    if (given == wanted) return "";
    return "--threads " + asked + " uses " + given + " (the settings offer 1, 2, 4, 6, 8, 12, 16 or 24)";
}

void Note(bool quiet, const std::string& line) {
    if (!quiet && !line.empty()) std::fprintf(stderr, "qzkt encode: %s\n", line.c_str());
}

void PrintSummary(const FrameSource& source, int64_t frames, const std::string& settings,
                  const std::string& output, double seconds) {
    const int64_t bytes = FileSize(output);
    const double raw = 4.0 * source.width() * source.height() * static_cast<double>(frames);
    const double ratio = bytes > 0 ? raw / static_cast<double>(bytes) : 0.0;
    std::fprintf(stderr, "qzkt encode: %s of %dx%d (%s) to %s: %s, %.*f:1, %.1f fps\n",
                 Counted(frames, "frame").c_str(), source.width(), source.height(), settings.c_str(),
                 output.c_str(), HumanSize(bytes).c_str(), ratio < 1 ? 2 : 1, ratio,
                 seconds > 0 ? frames / seconds : 0.0);
}

} // namespace

// What every input of a run is encoded with, from the options.
struct EncodeRun {
    const Options& options;
    TimeRange range;
    MediaOptions media;
    SettingsChoice choice;
    int jobsAsked = 1;
    bool quiet = false;
};

int EncodeOne(const EncodeRun& run, const std::string& input, const std::string& output);

// The movie each input of a batch (-o DIR) becomes: DIR/NAME.mov, NAME the input's file name
// without its extension (and without a pattern's or glob's special characters).
std::string BatchOutput(const std::string& folder, const std::string& input) {
    std::string name = input.substr(input.rfind('/') == std::string::npos ? 0 : input.rfind('/') + 1);
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0) name.erase(dot);
    std::string clean;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '%') { // %d, %04d
            while (i + 1 < name.size() && std::isdigit(static_cast<unsigned char>(name[i + 1])))
                ++i;
            if (i + 1 < name.size() && name[i + 1] == 'd') ++i;
            continue;
        }
        if (std::strchr("*?[]", name[i]) == nullptr) clean += name[i];
    }
    while (!clean.empty() && (clean.back() == '_' || clean.back() == '-' || clean.back() == '.'))
        clean.pop_back();
    if (clean.empty()) clean = "movie";
    return folder + (folder.empty() || folder.back() == '/' ? "" : "/") + clean + ".mov";
}

// qzkt encode IN... -o DIR: each input in turn, with its own notes and summary; a failed one
// does not stop the rest. Exit status: 1 when any failed, else 3 when any was damaged.
int EncodeBatch(const EncodeRun& run, const std::string& folder) {
    const std::vector<std::string>& inputs = run.options.positional();
    if (inputs.empty()) throw UsageError("give the INPUT files to encode into " + folder);
    std::vector<std::string> outputs;
    for (const std::string& input : inputs) {
        if (input == "-") throw UsageError("standard input is not an input of a batch (-o)");
        outputs.push_back(BatchOutput(folder, input));
        for (size_t i = 0; i + 1 < outputs.size(); ++i)
            if (outputs[i] == outputs.back())
                throw UsageError(inputs[i] + " and " + input + " would both be written to " + outputs.back());
    }
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0 && mkdir(folder.c_str(), 0777) != 0)
        throw ToolError("cannot make the folder " + folder + ": " + SystemErrorText(errno));
    if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        throw ToolError(folder + " is not a folder");

    int worst = kExitOK, encoded = 0, damaged = 0;
    std::vector<std::string> failed;
    for (size_t i = 0; i < inputs.size(); ++i) {
        int result = kExitFailure;
        try {
            result = EncodeOne(run, inputs[i], outputs[i]);
        } catch (const UsageError& e) {
            std::fprintf(stderr, "qzkt encode: %s\n", e.what());
        } catch (const ToolError& e) {
            std::fprintf(stderr, "qzkt encode: %s\n", e.what());
        }
        if (result == kExitFailure) failed.push_back(inputs[i]);
        if (result != kExitFailure) ++encoded;
        if (result == kExitDamagedFrames) ++damaged;
        if (result == kExitFailure || (result == kExitDamagedFrames && worst == kExitOK)) worst = result;
    }
    std::string total = "qzkt encode: " + Counted(static_cast<int64_t>(inputs.size()), "input") + ": " +
                        std::to_string(encoded) + " encoded into " + folder;
    if (damaged > 0) total += " (" + std::to_string(damaged) + " of them damaged or cut short)";
    if (!failed.empty()) {
        total += ", " + std::to_string(failed.size()) + " failed:";
        for (const std::string& input : failed)
            total += " " + input;
    }
    if (!run.quiet || !failed.empty()) std::fprintf(stderr, "%s\n", total.c_str());
    return worst;
}

int RunEncode(const Args& args) {
    const Options options(args,
                          {"--help", "--alpha", "--dxt1", "--no-lzf", "--quiet", "--no-audio", "--overwrite",
                           "--no-overwrite", "--faststart"},
                          {"--threads", "--jobs", "--raw", "--rate", "--prefs-dir", "--start", "--duration",
                           "--frames", "--matrix", "--start-number", "--size", "--output-folder"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    const bool batch = options.Has("--output-folder");
    if (!batch && options.positional().size() != 2)
        throw UsageError("give INPUT and OUTPUT.mov (or INPUT... -o FOLDER)");
    if (!batch && options.positional()[1] == "-")
        throw UsageError("the movie needs a file name (it is written with seeks)");
    CheckContradictions(options);
    OverwriteChoice(options); // in force for every output of the run
    EncodeRun run{options, ParseTimeRange(options), {}, {}, 1, false};
    MediaOptions& media = run.media;
    media.matrix = ParseMatrixChoice(options.Value("--matrix", "auto"));
    if (options.Has("--rate")) media.rate = ParseRate(options.Value("--rate"));
    if (options.Has("--size")) {
        if (options.Has("--raw"))
            throw UsageError("--size scales what FFmpeg reads; raw frames keep --raw's size");
        ParseSize(options.Value("--size"), media.width, media.height, "--size");
    }
    if (options.Has("--start-number")) {
        const std::string value = options.Value("--start-number");
        char* end = nullptr;
        const long number = std::strtol(value.c_str(), &end, 10);
        if (value.empty() || *end != 0 || number < 0 || number > 999999999)
            throw UsageError("-start_number takes a number from 0 (got " + value + ")");
        media.startNumber = static_cast<int>(number);
    }
    run.quiet = options.Has("--quiet");

    SettingsChoice& choice = run.choice;
    if (options.Has("--alpha")) choice.alpha = 1;
    if (options.Has("--dxt1")) {
        choice.dxt24 = 0;
        if (choice.alpha < 0) choice.alpha = 0;
    }
    if (options.Has("--no-lzf")) choice.noLZF = 1;
    if (options.Has("--threads")) choice.threadSetting = ThreadSettingFor(options.Value("--threads"));
    run.jobsAsked = ParseJobs(options.Value("--jobs", "auto"));
    ApplyPrefsDir(options.Value("--prefs-dir"));
    if (batch) return EncodeBatch(run, options.Value("--output-folder"));
    return EncodeOne(run, options.positional()[0], options.positional()[1]);
}

int EncodeOne(const EncodeRun& run, const std::string& input, const std::string& output) {
    const Options& options = run.options;
    const TimeRange& range = run.range;
    const MediaOptions& media = run.media;
    const SettingsChoice& choice = run.choice;
    const int jobsAsked = run.jobsAsked;
    const bool quiet = run.quiet;

    // Refused before any work: an output that is an input or not a file, then a name that is not
    // a movie's, then an existing file.
    ProtectInput(input);
    CheckOutputName(output);

    std::unique_ptr<FrameSource> source;
    if (options.Has("--raw")) {
        int width = 0, height = 0;
        ParseSize(options.Value("--raw"), width, height);
        source = OpenRawSource(input, width, height, ParseRate(options.Value("--rate", "25")));
    } else {
        // A container on standard input, as ffmpeg reads one from a pipe (formats that need
        // seeking, such as an MP4 with its index at the end, cannot be read so).
        if (input != "-") {
            source = OpenMediaSource(input, media);
        } else {
            try {
                source = OpenMediaSource("pipe:0", media);
            } catch (const ToolError& error) {
                std::string text = error.what();
                const size_t at = text.find("pipe:0");
                if (at != std::string::npos) text.replace(at, 6, "standard input");
                throw ToolError(text);
            }
        }
    }
    for (const std::string& file : source->files())
        ProtectInput(file);
    CheckOutputName(output); // also against every image of a sequence
    CheckMovieName(output);
    CheckOverwrite(output);
    if (source->width() > QZKT_MAX_SIDE || source->height() > QZKT_MAX_SIDE)
        throw ToolError(input + " is too large for a QZKT movie");
    source = SelectRange(std::move(source), range);

    // Without options the compressor reads the machine-wide settings itself, as for any host.
    const qzkt_settings settings = ResolveSettings(choice);
    const std::string unreadable = SettingsFileProblem();
    if (!unreadable.empty() && !choice.All())
        Note(quiet, unreadable + "; encoding with the default settings where no option sets them");
    if (options.Has("--threads") && (settings.alpha || !settings.dxt24))
        Note(quiet, "--threads has no effect: the machine-wide settings give " + DescribeSettings(settings) +
                        ", and only DXT24 blocks are encoded by several threads");
    else if (options.Has("--threads"))
        Note(quiet, ThreadNote(options.Value("--threads"), choice.threadSetting));
    if (source->hasAlpha() && !settings.alpha)
        Note(quiet, input + " has an alpha channel, which these settings drop (" +
                        DescribeSettings(settings) + "); --alpha keeps it");
    const int width = source->width(), height = source->height();
    const int jobs = JobsWithinMemory(jobsAsked, 8 * static_cast<size_t>(width) * height);
    auto encoders = OpenEncoders(jobs, width, height, choice);
    CarryOver carry;
    carry.input = source->format();
    carry.videoIndex = source->videoIndex();
    carry.keepAudio = !options.Has("--no-audio");
    carry.who = "qzkt encode";
    carry.startMicros = range.start;
    QZKTMovieWriter movie(output, source->width(), source->height(), source->timeBase(), source->frameRate(),
                          carry.input != nullptr ? &carry : nullptr, options.Has("--faststart"));
    for (const std::string& note : movie.copier().notes())
        if (!quiet) std::fprintf(stderr, "%s\n", note.c_str());
    if (source->retimed() && movie.copier().CopiesAny())
        Note(quiet, "--rate retimes the pictures only: the audio keeps its own timing, so the two drift "
                    "apart (--no-audio leaves the audio out)");
    source->CopyOthersTo(&movie.copier());

    Progress progress("encoding", source->expectedFrames(), quiet);
    int64_t frames = 0;
    // Frames are read and converted here, encoded on the pipeline's workers, written in order.
    FramePipeline<FrameEncoder, EncodeJob> pipeline(
        std::move(encoders),
        [width](FrameEncoder& encoder, EncodeJob& job) { RunEncodeJob(encoder, job, width); },
        [&](EncodeJob& job) {
            movie.WriteFrame(job.encoded.data(), job.encoded.size(), job.pts);
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
        throw ToolError(inputName + " holds no frames" + (range.Any() ? " in the range given" : "") +
                        (damage.empty() ? "" : " that can be read: " + damage));
    movie.Finish();
    progress.Done();
    Note(quiet, RepairedTimesNote(movie.copier().repairedTimes(), "audio packet"));
    Note(quiet, movie.copier().RefusedNote());

    if (!quiet) PrintSummary(*source, frames, DescribeSettings(settings), output, progress.Elapsed());
    if (!damage.empty()) {
        std::fprintf(stderr, "qzkt encode: %s is damaged or cut short: %s. %s holds the %lld frame%s read\n",
                     inputName.c_str(), damage.c_str(), output.c_str(), static_cast<long long>(frames),
                     frames == 1 ? "" : "s");
        return kExitDamagedFrames;
    }
    return kExitOK;
}
