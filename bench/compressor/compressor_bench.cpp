// Frames per second of KEL_CEncodeFrame reached through the Component Manager and a
// compression session, for a 1920x1080 generated frame: DXT1, DXT5, and DXT24 on one thread
// and on the worker pool (one thread per physical core), each with LZF on and off, against a
// memcpy of the 32-bit ARGB frame measured in the same run.
//
//   build/bench/compressor/compressor_bench
#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

#include "baseline.h"
#include "compressor/compressor_component.h"
#include "compressor/frame_encoder.h"
#include "pixel/synthetic_image.h"
#include "platform/image_compression.h"
#include "platform/memory_manager.h"
#include "stream/kel_settings.h"

namespace {

const int kWidth = 1920, kHeight = 1080, kRowBytes = kWidth * 4;
const size_t kFrameBytes = static_cast<size_t>(kRowBytes) * kHeight;

std::vector<uint8_t>& SharedFrame(bool alpha) {
    static std::vector<uint8_t> frames[2];
    std::vector<uint8_t>& frame = frames[alpha ? 1 : 0];
    if (frame.empty()) {
        frame.resize(kFrameBytes);
        FillSyntheticARGB(frame.data(), kWidth, kHeight, kRowBytes, 0, alpha);
    }
    return frame;
}

void AddFrameSize(void* refCon, ICMCompressionSessionRef, OSStatus, ICMEncodedFrameRef frame, void*) {
    *static_cast<size_t*>(refCon) += ICMEncodedFrameGetDataSize(frame);
}

void BM_MemcpyFrame(benchmark::State& state) {
    std::vector<uint8_t> copy(kFrameBytes);
    BaselineTimer timer;
    timer.Start();
    for (auto _ : state) {
        std::memcpy(copy.data(), SharedFrame(false).data(), kFrameBytes);
        benchmark::ClobberMemory();
    }
    timer.Finish(state, kFrameBytes);
}

// range(0): 0 DXT1, 1 DXT5, 2 DXT24 one thread, 3 DXT24 pool; range(1): 1 = LZF on.
void BM_EncodeFrame(benchmark::State& state) {
    ZQN_CompressorRegister();
    const int kind = static_cast<int>(state.range(0));
    const uint8_t alpha = kind == 1 ? 1 : 0;
    const KELSettingsValues settings = {alpha, static_cast<uint8_t>(kind >= 2 ? 1 : 0),
                                        static_cast<uint8_t>(state.range(1) ? 0 : 1), kind == 3 ? 1 : 2};

    ICMCompressionSessionOptionsRef options = nullptr;
    ICMCompressionSessionOptionsCreate(kCFAllocatorDefault, &options);
    Handle handle = NewHandle(static_cast<Size>(kKELSettingsHandleSize));
    WriteKELSettingsRecord(reinterpret_cast<uint8_t*>(*handle), settings);
    ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                            kICMCompressionSessionOptionsPropertyID_CompressorSettings,
                                            sizeof handle, &handle);
    DisposeHandle(handle);
    size_t encodedBytes = 0;
    ICMEncodedFrameOutputRecord output = {AddFrameSize, &encodedBytes, kCFAllocatorDefault};
    ICMCompressionSessionRef session = nullptr;
    if (ICMCompressionSessionCreate(kCFAllocatorDefault, kWidth, kHeight, kKELCodecType, 600, options,
                                    nullptr, &output, &session) != noErr) {
        state.SkipWithError("compression session could not be created");
        return;
    }
    ICMCompressionSessionOptionsRelease(options);
    CVPixelBufferRef buffer = nullptr;
    CVPixelBufferCreateWithBytes(kCFAllocatorDefault, kWidth, kHeight, k32ARGBPixelFormat,
                                 SharedFrame(alpha).data(), kRowBytes, nullptr, nullptr, nullptr, &buffer);
    // One frame first so the worker pool and any first-use tables are in place.
    ICMCompressionSessionEncodeFrame(session, buffer, 0, 0, 0, nullptr, nullptr, nullptr);
    encodedBytes = 0;

    BaselineTimer timer;
    timer.Start();
    for (auto _ : state)
        ICMCompressionSessionEncodeFrame(session, buffer, 0, 0, 0, nullptr, nullptr, nullptr);
    timer.Finish(state, kFrameBytes);
    state.counters["threads"] = kind == 3 ? DXT24ThreadCount(1) : 1;
    state.counters["ratio"] = static_cast<double>(kFrameBytes) * static_cast<double>(state.iterations()) /
                              static_cast<double>(encodedBytes > 0 ? encodedBytes : 1);
    CVPixelBufferRelease(buffer);
    ICMCompressionSessionRelease(session);
}

} // namespace

BENCHMARK(BM_MemcpyFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EncodeFrame)
    ->ArgNames({"kind", "lzf"})
    ->ArgsProduct({{0, 1, 2, 3}, {1, 0}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
