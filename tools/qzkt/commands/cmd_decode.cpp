// qzkt decode: a QZKT movie to raw ARGB, an image sequence or a lossless video.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <vector>

#include "cli/options.h"
#include "cli/progress.h"
#include "cli/report_text.h"
#include "cli/tool_error.h"
#include "codec/codec.h"
#include "codec/frame_check.h"
#include "commands/commands.h"
#include "media/colour_matrix.h"
#include "media/frame_sink.h"
#include "media/increasing_times.h"
#include "media/qzkt_movie.h"
#include "media/stream_copy.h"
#include "media/time_range.h"
#include "output/output_check.h"
#include "pipeline/frame_jobs.h"
#include "pipeline/frame_pipeline.h"

namespace {

const char* kHelp =
    "usage: qzkt decode [OPTIONS] INPUT.mov OUTPUT\n"
    "\n"
    "Decodes every frame of the movie's QZKT track to 32-bit ARGB and writes, by OUTPUT:\n"
    "  -  or  NAME.argb        raw ARGB frames, back to back (- is standard output), e.g.\n"
    "                          qzkt decode in.mov - | ffplay -f rawvideo -pixel_format argb \\\n"
    "                              -video_size 1920x1080 -framerate 30000/1001 -\n"
    "                          (the movie's size and rate, as qzkt info gives them)\n"
    "  a pattern out_%04d.png  one image per frame (the extension picks the format)\n"
    "  one image out.png       when the movie (or the range taken) has one frame; also .tif,\n"
    "                          .tiff, .jpg, .jpeg, .bmp (JPEG: full-range Y'CbCr, no alpha)\n"
    "  any other name          a lossless video: UT Video in .mkv/.avi/.nut (planar RGB, with\n"
    "                          alpha unless every frame is DXT24, so opaque), else FFV1, PNG\n"
    "                          or raw, whichever the container holds first (PNG in .mov),\n"
    "                          with the movie's audio, timecode and metadata copied where\n"
    "                          the container holds them\n"
    "An existing OUTPUT (or the first image of a pattern) is replaced only with -y. At the\n"
    "end a summary line says what was written (frames, size, speed, renderer).\n"
    "Damaged frames are replaced by the previous good frame (black when there is none), so\n"
    "frame count and timing stay intact; the decode then ends with exit status 3, as it does\n"
    "for a movie cut short (the frames it still holds are written). A movie whose frames are\n"
    "all damaged writes nothing (exit status 3).\n"
    "\n"
    "  --gl MODE        where DXT1/DXT5 frames decode: auto (default) on the GPU when there\n"
    "                   is one, otherwise on the CPU decoder; hardware insists on a GPU;\n"
    "                   software on OpenGL, Mesa's software renderer accepted; cpu on the CPU\n"
    "                   decoder always (it gives the same pixels as Mesa's renderer). DXT24\n"
    "                   frames decode on the CPU.\n"
    "  -y, --overwrite  replace an existing OUTPUT\n"
    "  -n, --no-overwrite  never replace an existing OUTPUT (stop with exit status 1)\n"
    "  -ss, --start TIME  start TIME into the movie (1.5, 00:01:02.5: ffmpeg's syntax)\n"
    "  -t, --duration TIME  take at most TIME of the movie\n"
    "  --frames N       take at most N frames\n"
    "  --no-audio       leave the audio out of a video OUTPUT\n"
    "  -c:v, --codec NAME  the lossless encoder of a video OUTPUT instead of the container's\n"
    "                   first: utvideo, ffv1 (smaller, five times slower), ffvhuff, magicyuv,\n"
    "                   png\n"
    "  --jobs N|auto    DXT24 frames decoded at once, each by its own decoder on its own\n"
    "                   thread (default auto: one per hardware thread, at most 16); the\n"
    "                   frames written are the same for every N. DXT1/DXT5 frames take N\n"
    "                   on the CPU decoder, at most 4 on a GPU (more gained nothing) and\n"
    "                   1 on Mesa's software renderer (which already uses every core)\n"
    "  --quiet          no progress line, notes or summary\n"
    "  --prefs-dir DIR  folder of the settings file (not used by this command)\n";

// Opaque black: what a damaged first frame is replaced with.
void FillBlack(FrameBytes& argb) {
    for (size_t i = 0; i < argb.size(); i += 4) {
        argb[i] = 255;
        argb[i + 1] = argb[i + 2] = argb[i + 3] = 0;
    }
}

// The first file the output names: itself, or the first image of a pattern.
std::string FirstOutputFile(const std::string& output) {
    if (!IsImageSequencePattern(output)) return output;
    char name[4096];
    av_get_frame_filename(name, sizeof name, output.c_str(), 1);
    return name;
}

bool IsVideoOutput(const std::string& output) {
    return output != "-" && !IsImageSequencePattern(output) && !IsSingleImageName(output) &&
           !(output.size() >= 5 && output.compare(output.size() - 5, 5, ".argb") == 0);
}

// Opens the output at the first intact frame; a video output gets the movie's audio,
// timecode and metadata, starting with the audio read so far.
std::unique_ptr<FrameSink> OpenSinkCarrying(const std::string& output, VideoCoding coding,
                                            QZKTMovieReader& movie, const FrameWindow& window,
                                            int64_t expectedFrames, const CarryOver& carry,
                                            std::deque<AvPacketPtr>& heldAudio, bool quiet) {
    const bool video = IsVideoOutput(output);
    coding.opaque = video && EveryFrameOpaque(movie);
    std::unique_ptr<FrameSink> sink =
        OpenFrameSink(output, movie.width(), movie.height(), movie.timeBase(), movie.frameRate(),
                      expectedFrames, video ? &carry : nullptr, coding);
    if (!quiet && !sink->Note().empty()) std::fprintf(stderr, "qzkt decode: %s\n", sink->Note().c_str());
    if (StreamCopier* copier = sink->copier()) {
        if (!quiet)
            for (const std::string& note : copier->notes())
                std::fprintf(stderr, "%s\n", note.c_str());
        copier->SetWindow(window.fromMicros(), window.toMicros(), window.shiftMicros());
        if (window.endsByCount()) copier->HoldAll(); // until the last frame says where the range ends
        for (const AvPacketPtr& packet : heldAudio)
            copier->Take(packet.get());
    }
    heldAudio.clear();
    return sink;
}

void PrintSummary(int64_t frames, int width, int height, const std::string& input, const FrameSink& sink,
                  const std::string& output, const std::string& renderer, double seconds) {
    std::string line = "qzkt decode: " + Counted(frames, "frame") + " of " + std::to_string(width) + "x" +
                       std::to_string(height) + " from " + input + " (" + HumanSize(FileSize(input)) +
                       ") as " + sink.Description();
    const int64_t written = output == "-" ? -1 : FileSize(FirstOutputFile(output));
    if (written >= 0 && !IsImageSequencePattern(output)) line += ": " + HumanSize(written);
    char speed[64];
    std::snprintf(speed, sizeof speed, ", %.1f fps", seconds > 0 ? frames / seconds : 0.0);
    line += speed;
    line += renderer.empty() ? "; DXT24 frames, decoded on the CPU"
                             : "; DXT1/DXT5 frames, decoded by " + renderer;
    std::fprintf(stderr, "%s\n", line.c_str());
}

// -c:v's encoder: one of FFmpeg's that codes video losslessly, for a video OUTPUT.
std::string LosslessVideoEncoder(const Options& options, const std::string& output) {
    const std::string name = options.Value("--codec");
    if (name.empty()) return name;
    if (!IsVideoOutput(output)) throw UsageError("-c:v names the codec of a video OUTPUT, not of " + output);
    const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str());
    const AVCodecDescriptor* descriptor = codec != nullptr ? avcodec_descriptor_get(codec->id) : nullptr;
    if (codec == nullptr || codec->type != AVMEDIA_TYPE_VIDEO || descriptor == nullptr ||
        (descriptor->props & AV_CODEC_PROP_LOSSLESS) == 0 || (descriptor->props & AV_CODEC_PROP_LOSSY) != 0)
        throw UsageError(name +
                         " is not a lossless video encoder of this FFmpeg (such as utvideo, ffv1, ffvhuff, "
                         "magicyuv, png)");
    return name;
}

} // namespace

int RunDecode(const Args& args) {
    const Options options(args, {"--help", "--quiet", "--overwrite", "--no-overwrite", "--no-audio"},
                          {"--gl", "--jobs", "--prefs-dir", "--start", "--duration", "--frames", "--codec"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (options.positional().size() != 2) throw UsageError("give INPUT.mov and OUTPUT");
    const qzkt_renderer renderer = ParseRendererChoice(options.Value("--gl", "auto"));
    const bool quiet = options.Has("--quiet");
    OverwriteChoice(options); // in force for every output of the run
    const TimeRange range = ParseTimeRange(options);
    const int jobsAsked = ParseJobs(options.Value("--jobs", "auto"));
    ApplyPrefsDir(options.Value("--prefs-dir"));

    const std::string& input = options.positional()[0];
    const std::string& output = options.positional()[1];
    VideoCoding coding;
    coding.codec = LosslessVideoEncoder(options, output);
    ProtectInput(input);
    // The output is made at the first intact frame; refuse a forbidden name before any work.
    if (output != "-" && !IsImageSequencePattern(output)) CheckOutputName(output);
    if (output != "-") CheckOverwrite(FirstOutputFile(output));
    QZKTMovieReader movie(input);
    const int width = movie.width(), height = movie.height();
    const FrameWindow window(range, movie.timeBase(), 0);
    movie.SetWindow(window);
    const int64_t expectedFrames = window.Expected(movie.frameCount());
    if (IsSingleImageName(output) && expectedFrames != 1)
        throw ToolError(SingleImageRefusal(output, expectedFrames));
    CarryOver carry;
    carry.input = movie.format();
    carry.videoIndex = movie.streamIndex();
    carry.keepAudio = !options.Has("--no-audio");
    carry.who = "qzkt decode";
    carry.startMicros = range.start;
    // Audio read before the output exists waits for it.
    std::deque<AvPacketPtr> heldAudio;
    std::unique_ptr<FrameSink> sink;
    if (carry.keepAudio && IsVideoOutput(output))
        movie.ReadAudio([&](const AVPacket* packet) {
            if (sink != nullptr) {
                if (sink->copier() != nullptr) sink->copier()->Take(packet);
            } else {
                heldAudio.emplace_back(av_packet_clone(packet));
                if (!heldAudio.back()) throw ToolError("out of memory");
            }
        });

    // The output is made at the first intact frame, so that a movie whose frames are all
    // damaged (whatever size its track claims) costs no frame-sized buffer and writes nothing.
    // The damaged frames before it then become black frames at their times.
    std::vector<int64_t> damagedBeforeFirstIntact; // their times
    std::string firstProblem;
    bool rendererReady = false;
    std::string rendererUsed; // for the summary
    int64_t frames = 0, damaged = 0;
    Progress progress("decoding", expectedFrames, quiet);
    // Frames are decoded on the pipeline's workers and written here in order, each from its
    // job's picture. A damaged frame is replaced by the previous good frame in that order, or
    // by black. The good frame is kept as its sample (a reference, not a copy) and decoded
    // again into the damaged job's picture: keeping its picture instead took one frame-sized
    // buffer more than the jobs hold, for every decode (8 MB at 1080p, which the kernel
    // clears at its first touch), to serve damaged frames that few movies have.
    std::unique_ptr<FramePipeline<FrameDecoder, DecodeJob>> pipeline;
    // A movie's frame times need not increase; the output's must.
    IncreasingTimes times;
    AvPacketPtr lastGood = NewPacket(); // empty until the first good frame
    std::unique_ptr<FrameDecoder> repairer;
    const auto replaceDamaged = [&](FrameBytes& picture) {
        if (lastGood->size == 0) {
            FillBlack(picture);
            return;
        }
        if (repairer == nullptr) repairer = std::make_unique<FrameDecoder>(width, height, renderer);
        // A sample that decoded once decodes again, to the same pixels on the same path.
        if (!repairer->Decode(lastGood->data, static_cast<size_t>(lastGood->size), picture.data(), width * 4))
            throw ToolError("cannot decode again the frame that replaces a damaged one");
    };
    const auto writeInOrder = [&](DecodeJob& job) {
        if (job.decoded) {
            av_packet_unref(lastGood.get());
            if (av_packet_ref(lastGood.get(), job.sample.get()) < 0) throw ToolError("out of memory");
        } else {
            ++damaged;
            replaceDamaged(job.picture);
        }
        sink->Write(job.picture.data(), width * 4, times.Next(job.pts));
        progress.Update(++frames);
    };
    QZKTSample sample;
    while (movie.Next(sample)) {
        // DXT1/DXT5 frames need the CPU decoder or the GPU path; check at the first one.
        if (!rendererReady && NeedsRenderer(sample.data, sample.size, width, height)) {
            rendererUsed = PrepareRenderer(renderer);
            rendererReady = true;
        }
        if (sink == nullptr) {
            const FrameLayout layout = CheckFrame(sample.data, sample.size, width, height);
            if (!layout.intact) {
                if (firstProblem.empty()) firstProblem = layout.problem;
                damagedBeforeFirstIntact.push_back(sample.pts);
                ++damaged;
                progress.Update(++frames);
                continue;
            }
            // DXT1/DXT5 movies take as many decoders as their path gains from (S3TCDecodeJobs).
            const int jobsFitting = JobsWithinMemory(jobsAsked, 2 * static_cast<size_t>(width) * height * 4);
            const int jobs = NeedsRenderer(sample.data, sample.size, width, height)
                                 ? S3TCDecodeJobs(renderer, jobsFitting)
                                 : jobsFitting;
            pipeline = std::make_unique<FramePipeline<FrameDecoder, DecodeJob>>(
                OpenDecoders(jobs, width, height, renderer),
                [width, height](FrameDecoder& decoder, DecodeJob& job) {
                    RunDecodeJob(decoder, job, width, height);
                },
                writeInOrder);
            sink = OpenSinkCarrying(output, coding, movie, window, expectedFrames, carry, heldAudio, quiet);
            if (!damagedBeforeFirstIntact.empty()) {
                // Made only when needed: clearing a picture nobody reads cost a short 1080p
                // decode a twentieth of its time, on the thread that feeds the workers.
                FrameBytes black(static_cast<size_t>(width) * height * 4);
                FillBlack(black);
                for (int64_t pts : damagedBeforeFirstIntact)
                    sink->Write(black.data(), width * 4, times.Next(pts));
            }
        }
        DecodeJob job = pipeline->Take();
        FillDecodeJob(job, sample);
        pipeline->Push(std::move(job));
    }
    if (pipeline != nullptr) pipeline->Finish();
    if (frames == 0)
        throw ToolError(
            input + (range.Any() ? " has no frames in the range given" : " has no frames in its QZKT track"));
    if (sink == nullptr) {
        progress.Done();
        std::fprintf(stderr,
                     "qzkt decode: all %lld frames of %s are damaged (the first: %s); nothing was written\n",
                     static_cast<long long>(frames), input.c_str(), firstProblem.c_str());
        return kExitDamagedFrames;
    }
    if (sink->copier() != nullptr && movie.window().endsByCount())
        sink->copier()->EndAt(movie.window().TakenEndMicros(movie.frameRate()));
    sink->Finish();
    progress.Done();
    if (!quiet) {
        const StreamCopier* copier = sink->copier();
        std::string notes[3] = {RepairedTimesNote(times.repaired(), "frame"),
                                copier != nullptr ? RepairedTimesNote(copier->repairedTimes(), "audio packet")
                                                  : "",
                                copier != nullptr ? copier->RefusedNote() : ""};
        for (const std::string& note : notes)
            if (!note.empty()) std::fprintf(stderr, "qzkt decode: %s\n", note.c_str());
    }
    if (!quiet) PrintSummary(frames, width, height, input, *sink, output, rendererUsed, progress.Elapsed());

    // A movie cut short in its samples still lists the frames it lost.
    const bool cutShort = !movie.stoppedByWindow() && movie.samplesRead() < movie.frameCount();
    if (cutShort)
        std::fprintf(stderr, "qzkt decode: %s is cut short: it ends after %lld of its %lld frames\n",
                     input.c_str(), static_cast<long long>(frames),
                     static_cast<long long>(movie.frameCount()));
    if (damaged > 0) {
        std::fprintf(
            stderr, "qzkt decode: %lld of %lld frames were damaged and replaced by the previous good frame\n",
            static_cast<long long>(damaged), static_cast<long long>(frames));
        return kExitDamagedFrames;
    }
    return cutShort ? kExitDamagedFrames : kExitOK;
}
