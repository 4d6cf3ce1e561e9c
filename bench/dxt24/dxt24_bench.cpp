// DXT24 encode (one thread, and the pool of two workers) and CPU decode of a 1920x1080
// generated frame, each against a memcpy of the 32-bit ARGB frame in the same run.
//
//   build/bench/dxt24/dxt24_bench
#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

#include "baseline.h"
#include "dxt24/dxt24_decode.h"
#include "dxt24/dxt24_threaded.h"
#include "pixel/synthetic_image.h"

namespace {

const int kWidth = 1920, kHeight = 1080, kRowBytes = kWidth * 4;
const size_t kFrameBytes = static_cast<size_t>(kRowBytes) * kHeight;
const size_t kPayloadBytes = static_cast<size_t>(kWidth / 4) * (kHeight / 4) * 10;

struct Frame {
    std::vector<unsigned char> pixels = std::vector<unsigned char>(kFrameBytes);
    std::vector<unsigned char> payload = std::vector<unsigned char>(kPayloadBytes);
    Frame() { FillSyntheticARGB(pixels.data(), kWidth, kHeight, kRowBytes, 0); }
};

Frame& SharedFrame() {
    static Frame frame;
    return frame;
}

void BM_MemcpyFrame(benchmark::State& state) {
    std::vector<unsigned char> copy(kFrameBytes);
    BaselineTimer timer;
    timer.Start();
    for (auto _ : state) {
        std::memcpy(copy.data(), SharedFrame().pixels.data(), kFrameBytes);
        benchmark::ClobberMemory();
    }
    timer.Finish(state, kFrameBytes);
}

void BM_DXT24Encode(benchmark::State& state) {
    Frame& frame = SharedFrame();
    const int threads = static_cast<int>(state.range(0));
    BaselineTimer timer;
    timer.Start();
    for (auto _ : state)
        stbCompressARGB32_to24_threaded(threads, reinterpret_cast<unsigned short*>(frame.payload.data()),
                                        frame.pixels.data(), kWidth, kHeight, kRowBytes, false);
    timer.Finish(state, kFrameBytes);
}

void BM_DXT24DecodeCPU(benchmark::State& state) {
    Frame& frame = SharedFrame();
    stbCompressARGB32_to24_threaded(1, reinterpret_cast<unsigned short*>(frame.payload.data()), frame.pixels.data(),
                                    kWidth, kHeight, kRowBytes, false);
    std::vector<unsigned char> decoded(kFrameBytes);
    BaselineTimer timer;
    timer.Start();
    for (auto _ : state) {
        DecodeDXT24(frame.payload.data(), decoded.data(), kWidth, kHeight, kRowBytes);
        benchmark::ClobberMemory();
    }
    timer.Finish(state, kFrameBytes);
}

} // namespace

BENCHMARK(BM_MemcpyFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DXT24Encode)->Arg(1)->Arg(2)->ArgName("threads")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DXT24DecodeCPU)->Unit(benchmark::kMillisecond);
