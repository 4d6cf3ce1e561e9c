// qzkt decode: a QZKT movie to raw ARGB, an image sequence or a lossless video.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "codec.h"
#include "commands.h"
#include "frame_check.h"
#include "frame_jobs.h"
#include "frame_pipeline.h"
#include "frame_sink.h"
#include "options.h"
#include "output_check.h"
#include "progress.h"
#include "qzkt_movie.h"
#include "stream/kel_header.h"
#include "tool_error.h"

namespace {

const char* kHelp =
    "usage: qzkt decode [OPTIONS] INPUT.mov OUTPUT\n"
    "\n"
    "Decodes every frame of the movie's QZKT track to 32-bit ARGB and writes, by OUTPUT:\n"
    "  -  or  NAME.argb        raw ARGB frames, back to back (- is standard output), e.g.\n"
    "                          qzkt decode in.mov - | ffplay -f rawvideo -pixel_format argb \\\n"
    "                              -video_size 1920x1080 -\n"
    "  a pattern out_%04d.png  one image per frame (the extension picks the format)\n"
    "  any other name          a lossless video: FFV1 in .mkv/.avi/.nut, PNG or raw in\n"
    "                          containers without FFV1 (the alpha channel is kept)\n"
    "Damaged frames are replaced by the previous good frame (black when there is none), so\n"
    "frame count and timing stay intact; the decode then ends with exit status 3, as it does\n"
    "for a movie cut short (the frames it still holds are written). A movie whose frames are\n"
    "all damaged writes nothing (exit status 3).\n"
    "\n"
    "  --gl MODE        DXT1/DXT5 frames decode on the GPU: auto (default) uses the GPU when\n"
    "                   there is one, otherwise Mesa's software renderer, and says so;\n"
    "                   hardware insists on a GPU; software accepts Mesa's renderer quietly.\n"
    "                   DXT24 frames decode on the CPU.\n"
    "  --jobs N|auto    DXT24 frames decoded at once, each by its own decoder on its own\n"
    "                   thread (default auto: one per hardware thread, at most 16); the\n"
    "                   frames written are the same for every N. DXT1/DXT5 movies decode one\n"
    "                   frame at a time: the GPU path gains nothing from more (Mesa's\n"
    "                   software renderer already uses every core)\n"
    "  --quiet          no progress line or notes\n"
    "  --prefs-dir DIR  folder of the settings file (not used by this command)\n";

// Opaque black: what a damaged first frame is replaced with.
void FillBlack(std::vector<uint8_t>& argb) {
    for (size_t i = 0; i < argb.size(); i += 4) {
        argb[i] = 255;
        argb[i + 1] = argb[i + 2] = argb[i + 3] = 0;
    }
}

} // namespace

int RunDecode(const Args& args) {
    const Options options(args, {"--help", "--quiet"}, {"--gl", "--jobs", "--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (options.positional().size() != 2) throw UsageError("give INPUT.mov and OUTPUT");
    const RendererChoice renderer = ParseRendererChoice(options.Value("--gl", "auto"));
    const bool quiet = options.Has("--quiet");
    const int jobsAsked = ParseJobs(options.Value("--jobs", "auto"));
    ApplyPrefsDir(options.Value("--prefs-dir"));
    RegisterCodecComponents();

    const std::string& input = options.positional()[0];
    const std::string& output = options.positional()[1];
    ProtectInput(input);
    // The output is made at the first intact frame; refuse a forbidden name before any work.
    if (output != "-" && !IsImageSequencePattern(output)) CheckOutputName(output);
    QZKTMovieReader movie(input);
    const int width = movie.width(), height = movie.height();

    // The picture and the output are made at the first intact frame, so that a movie whose
    // frames are all damaged (whatever size its track claims) costs no frame-sized buffer and
    // writes nothing. The damaged frames before it then become black frames at their times.
    std::vector<uint8_t> picture;
    std::unique_ptr<FrameSink> sink;
    std::vector<int64_t> damagedBeforeFirstIntact; // their times
    std::string firstProblem;
    bool rendererReady = false;
    int64_t frames = 0, damaged = 0;
    Progress progress("decoding", movie.frameCount(), quiet);
    // Frames are decoded on the pipeline's workers and written here in order. A damaged frame
    // leaves the picture as it was: the previous good frame in that order, or black.
    std::unique_ptr<FramePipeline<FrameDecoder, DecodeJob>> pipeline;
    const auto writeInOrder = [&](DecodeJob& job) {
        if (job.decoded)
            picture.swap(job.picture);
        else
            ++damaged;
        sink->Write(picture.data(), width * 4, job.pts);
        progress.Update(++frames);
    };
    QZKTSample sample;
    while (movie.Next(sample)) {
        // DXT1/DXT5 frames need the GPU path; set it up at the first one.
        if (!rendererReady && sample.size > kKELBlockKindOffset && sample.data[kKELBlockKindOffset] != 1) {
            const std::string note = PrepareRenderer(renderer);
            if (!note.empty() && !quiet) {
                progress.Done();
                std::fprintf(stderr, "qzkt decode: %s\n", note.c_str());
            }
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
            // DXT1/DXT5 movies keep one decoder: several GL decoders (each with its own context)
            // give the same frames but were no faster on Mesa's renderer, which uses every core.
            const int jobs = sample.data[kKELBlockKindOffset] == 1
                                 ? JobsWithinMemory(jobsAsked, 2 * static_cast<size_t>(width) * height * 4)
                                 : 1;
            pipeline = std::make_unique<FramePipeline<FrameDecoder, DecodeJob>>(
                OpenDecoders(jobs, width, height),
                [width, height](FrameDecoder& decoder, DecodeJob& job) {
                    RunDecodeJob(decoder, job, width, height);
                },
                writeInOrder);
            picture.resize(static_cast<size_t>(width) * height * 4);
            FillBlack(picture);
            sink =
                OpenFrameSink(output, width, height, movie.timeBase(), movie.frameRate(), movie.frameCount());
            for (int64_t pts : damagedBeforeFirstIntact)
                sink->Write(picture.data(), width * 4, pts);
        }
        DecodeJob job = pipeline->Take();
        FillDecodeJob(job, sample.data, sample.size, sample.pts);
        pipeline->Push(std::move(job));
    }
    if (pipeline != nullptr) pipeline->Finish();
    if (frames == 0) throw ToolError(input + " has no frames in its QZKT track");
    if (sink == nullptr) {
        progress.Done();
        std::fprintf(stderr,
                     "qzkt decode: all %lld frames of %s are damaged (the first: %s); nothing was written\n",
                     static_cast<long long>(frames), input.c_str(), firstProblem.c_str());
        return kExitDamagedFrames;
    }
    sink->Finish();
    progress.Done();

    // A movie cut short in its samples still lists the frames it lost.
    const bool cutShort = frames < movie.frameCount();
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
