// A fuzz input through the tool's movie reader, frame check and frame decoder.
#include "movie_input.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "cli/tool_error.h"
#include "codec/codec.h"
#include "codec/frame_check.h"
#include "fuzz_common.h"
#include "input_file.h"
#include "media/qzkt_movie.h"

namespace {

const uint8_t kGuard = 0xA5;

// Decodes one sample into picture (filled with the guard first); false when declined.
bool DecodeSample(FrameDecoder& decoder, const QZKTSample& sample, std::vector<uint8_t>& picture, int width,
                  MovieRun& run) {
    std::fill(picture.begin(), picture.end(), kGuard);
    const bool decoded = decoder.Decode(sample.data, sample.size, picture.data(), width * 4);
    if (!decoded && std::any_of(picture.begin(), picture.end(), [](uint8_t b) { return b != kGuard; }))
        run.fault = "a declined sample changed the picture";
    return decoded;
}

} // namespace

void PrepareMovieInputs() {
    QuietFFmpegLogging();
}

MovieRun RunMovieInput(const uint8_t* data, size_t size) {
    MovieRun run;
    const InputFile file(data, size);
    try {
        QZKTMovieReader movie(file.path());
        run.width = movie.width();
        run.height = movie.height();
        run.decoded = static_cast<int64_t>(run.width) * run.height <= kMaxFuzzPixels;
        std::unique_ptr<FrameDecoder> decoder;
        std::vector<uint8_t> picture;
        QZKTSample sample;
        while (run.frames < kMaxFuzzSamples && run.fault.empty() && movie.Next(sample)) {
            ++run.frames;
            const bool intact = CheckFrame(sample.data, sample.size, run.width, run.height).intact;
            run.damaged += intact ? 0 : 1;
            if (!run.decoded) continue;
            if (decoder == nullptr) {
                decoder = std::make_unique<FrameDecoder>(run.width, run.height, QZKT_RENDERER_SOFTWARE);
                picture.resize(static_cast<size_t>(run.width) * run.height * 4);
            }
            if (!DecodeSample(*decoder, sample, picture, run.width, run))
                ++run.declined;
            else if (!intact)
                run.fault = "a sample that CheckFrame calls damaged was decoded";
        }
    } catch (const ToolError& e) {
        run.error = e.what();
    }
    return run;
}

std::string MovieOutcome(const MovieRun& run) {
    if (!run.error.empty()) return "error";
    return "frames=" + std::to_string(run.frames) + " damaged=" + std::to_string(run.damaged) +
           " declined=" + (run.decoded ? std::to_string(run.declined) : "-");
}
