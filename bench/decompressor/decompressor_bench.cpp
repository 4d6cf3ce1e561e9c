// Frames per second of a 1920x1080 frame decoded through the decompressor component
// (HostDecompressionDecodeFrame): DXT24 on the CPU and DXT1 through the GL path, each with LZF
// on and off, against a memcpy of the 32-bit ARGB frame measured in the same run. The label
// says whether GL ran on a hardware renderer or on a software one (Mesa's llvmpipe).
//
//   build/bench/decompressor/decompressor_bench
#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

#include "baseline.h"
#include "compressor/compressor_component.h"
#include "decompressor/decompressor_component.h"
#include "host/host_compression.h"
#include "host/host_decompression.h"
#include "pixel/synthetic_image.h"
#include "platform/preferences_directory.h"

namespace {

const int kWidth = 1920, kHeight = 1080, kRowBytes = kWidth * 4;
const size_t kFrameBytes = static_cast<size_t>(kRowBytes) * kHeight;

std::vector<uint8_t>& SharedPicture() {
    static std::vector<uint8_t> picture;
    if (picture.empty()) {
        picture.resize(kFrameBytes);
        FillSyntheticARGB(picture.data(), kWidth, kHeight, kRowBytes, 0);
    }
    return picture;
}

// The picture encoded through the host compression entry; the settings are this session's
// only (the compressor is pointed at a preferences folder that does not exist).
std::vector<uint8_t> EncodedFrame(bool dxt24, bool lzf) {
    SetPreferencesDirectory("/nonexistent/qzkt-decompressor-bench");
    ZQN_CompressorRegister();
    const KELSettingsValues settings = {0, static_cast<uint8_t>(dxt24), static_cast<uint8_t>(!lzf), 2};
    std::vector<uint8_t> frame;
    auto keep = [](void* out, const uint8_t* data, size_t size) {
        static_cast<std::vector<uint8_t>*>(out)->assign(data, data + size);
    };
    HostCompression* compression = nullptr;
    if (HostCompressionCreate(kWidth, kHeight, &settings, keep, &frame, &compression) == noErr)
        HostCompressionEncodeFrame(compression, SharedPicture().data(), 0);
    HostCompressionClose(compression);
    return frame;
}

void BM_MemcpyFrame(benchmark::State& state) {
    std::vector<uint8_t> copy(kFrameBytes);
    BaselineTimer timer;
    timer.Start();
    for (auto _ : state) {
        std::memcpy(copy.data(), SharedPicture().data(), kFrameBytes);
        benchmark::ClobberMemory();
    }
    timer.Finish(state, kFrameBytes);
}

// range(0): 1 DXT24 (CPU), 0 DXT1 (GL); range(1): 1 = LZF on.
void BM_DecodeFrame(benchmark::State& state) {
    const bool dxt24 = state.range(0) != 0;
    const std::vector<uint8_t> frame = EncodedFrame(dxt24, state.range(1) != 0);
    ZQN_CodecRegister();
    HostDecompressionAllowSoftwareRenderer(true);
    if (!dxt24) state.SetLabel(HostDecompressionRendererAvailable(false) ? "hardware GL" : "software GL");
    HostDecompression* decompression = nullptr;
    if (frame.empty() || HostDecompressionCreate(kWidth, kHeight, &decompression) != noErr) {
        state.SkipWithError("frame could not be encoded or decompressor opened");
        return;
    }
    std::vector<uint8_t> argb(kFrameBytes);
    // One frame first, so the GL context, textures, framebuffer and program are in place.
    if (HostDecompressionDecodeFrame(decompression, frame.data(), frame.size(), argb.data(), 0) != noErr) {
        state.SkipWithError("frame did not decode");
        HostDecompressionClose(decompression);
        return;
    }
    BaselineTimer timer;
    timer.Start();
    for (auto _ : state) {
        HostDecompressionDecodeFrame(decompression, frame.data(), frame.size(), argb.data(), 0);
        benchmark::ClobberMemory();
    }
    timer.Finish(state, kFrameBytes);
    state.counters["frame_bytes"] = static_cast<double>(frame.size());
    HostDecompressionClose(decompression);
}

} // namespace

BENCHMARK(BM_MemcpyFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeFrame)
    ->ArgNames({"dxt24", "lzf"})
    ->ArgsProduct({{1, 0}, {1, 0}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
