// DXT24 encode (one thread, and the pool of two workers) and CPU decode of a 1920x1080
// generated frame, each against a memcpy of the 32-bit ARGB frame in the same run; and the
// SIMD walker and decoder of every Highway target this CPU supports against the plain ones,
// also measured in the same run (counter x_plain: how many times faster than plain); and the
// same for the DXT1 walker against stb_dxt one block at a time; and the unpacking of the
// LZF-packed DXT24 payload by LZFUnpackIntoZeroed against liblzf's lzf_decompress (x_liblzf),
// and its packing by LZFPack against lzf_compress (x_liblzf);
// and the S3TC CPU decoder of DXT1 and DXT5 frames of the same picture, plain and per target,
// and of DXT5 frames of the picture with a soft alpha channel (DXT5Alpha: few flat alpha blocks).
//
//   build/bench/blocks/dxt24_bench
//   build/bench/blocks/dxt24_bench --benchmark_filter='Plain|Target'   # per-target speedups
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstring>
#include <string>
#include <time.h>
#include <vector>

#include <hwy/aligned_allocator.h>
#include <hwy/highway.h>
#include <hwy/targets.h>

#include "baseline.h"
#include "blocks/dxt1_image.h"
#include "blocks/dxt24_decode.h"
#include "blocks/dxt24_image.h"
#include "blocks/s3tc_decode.h"
#include "compressor/dxt24_threaded.h"
#include "compressor/frame_encoder.h"
#include "pixel/synthetic_image.h"
#include "stream/lzf_pack.h"
#include "stream/lzf_unpack.h"

#include <lzf.h>

namespace {

const int kWidth = 1920, kHeight = 1080, kRowBytes = kWidth * 4;
const size_t kFrameBytes = static_cast<size_t>(kRowBytes) * kHeight;
const size_t kPayloadBytes = static_cast<size_t>(kWidth / 4) * (kHeight / 4) * 10;

struct Frame {
    std::vector<unsigned char> pixels = std::vector<unsigned char>(kFrameBytes);
    std::vector<unsigned char> payload = std::vector<unsigned char>(kPayloadBytes);
    // The same picture with film-like grain (every channel moved by up to 6): footage, whose
    // payload LZF barely packs, where the synthetic picture's packs well.
    std::vector<unsigned char> grainPayload = std::vector<unsigned char>(kPayloadBytes);
    // Aligned as the tool's and most hosts' frame buffers are (pages), so that the decoders
    // store as they do there: a picture this size goes out with streaming stores.
    hwy::AlignedFreeUniquePtr<unsigned char[]> decoded = hwy::AllocateAligned<unsigned char>(kFrameBytes);
    std::vector<unsigned char> dxt1 = std::vector<unsigned char>(kPayloadBytes / 10 * 8);
    std::vector<unsigned char> s3tcDXT1 = std::vector<unsigned char>(kPayloadBytes / 10 * 8);
    std::vector<unsigned char> s3tcDXT5 = std::vector<unsigned char>(kPayloadBytes / 10 * 16);
    std::vector<unsigned char> s3tcDXT5Alpha = std::vector<unsigned char>(kPayloadBytes / 10 * 16);
    std::vector<unsigned char> packed = std::vector<unsigned char>(kPayloadBytes * 2);
    std::vector<unsigned char> unpacked = std::vector<unsigned char>(kPayloadBytes);
    Frame() {
        FillSyntheticARGB(pixels.data(), kWidth, kHeight, kRowBytes, 0);
        stbCompressARGB32_to24_plain(reinterpret_cast<unsigned short*>(payload.data()), pixels.data(), kWidth,
                                     kHeight, kRowBytes, false);
        packed.resize(lzf_compress(payload.data(), kPayloadBytes, packed.data(), packed.size()));
        std::vector<unsigned char> grain = pixels;
        uint32_t state = 12345;
        for (size_t i = 0; i < grain.size(); ++i) {
            if (i % 4 == 0) continue; // alpha
            state ^= state << 13, state ^= state >> 17, state ^= state << 5;
            grain[i] =
                static_cast<unsigned char>(std::clamp(grain[i] + static_cast<int>(state % 13) - 6, 0, 255));
        }
        stbCompressARGB32_to24_plain(reinterpret_cast<unsigned short*>(grainPayload.data()), grain.data(),
                                     kWidth, kHeight, kRowBytes, false);
        stbCompressARGB32_plain(s3tcDXT1.data(), pixels.data(), kWidth, kHeight, kRowBytes, 0);
        stbCompressARGB32_plain(s3tcDXT5.data(), pixels.data(), kWidth, kHeight, kRowBytes, 1);
        std::vector<unsigned char> withAlpha(kFrameBytes);
        FillSyntheticARGB(withAlpha.data(), kWidth, kHeight, kRowBytes, 0, true);
        stbCompressARGB32_plain(s3tcDXT5Alpha.data(), withAlpha.data(), kWidth, kHeight, kRowBytes, 1);
    }
};

Frame& SharedFrame() {
    static Frame frame;
    return frame;
}

void EncodePlain() {
    Frame& frame = SharedFrame();
    stbCompressARGB32_to24_plain(reinterpret_cast<unsigned short*>(frame.payload.data()), frame.pixels.data(),
                                 kWidth, kHeight, kRowBytes, false);
}

// Whatever target the dispatch currently picks.
void EncodeDispatched() {
    Frame& frame = SharedFrame();
    _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(frame.payload.data()), frame.pixels.data(),
                            kWidth, kHeight, kRowBytes, false);
}

void DXT1EncodePlain() {
    Frame& frame = SharedFrame();
    stbCompressARGB32_plain(frame.dxt1.data(), frame.pixels.data(), kWidth, kHeight, kRowBytes, 0);
}

void DXT1EncodeDispatched() {
    Frame& frame = SharedFrame();
    stbCompressARGB32(frame.dxt1.data(), frame.pixels.data(), kWidth, kHeight, kRowBytes, 0);
}

void DecodePlain() {
    Frame& frame = SharedFrame();
    DecodeDXT24Plain(frame.payload.data(), frame.decoded.get(), kWidth, kHeight, kRowBytes);
}

void DecodeDispatched() {
    Frame& frame = SharedFrame();
    DecodeDXT24(frame.payload.data(), frame.decoded.get(), kWidth, kHeight, kRowBytes);
}

// The S3TC blocks of kind 0 (DXT1), 1 (DXT5) or 2 (DXT5 with soft alpha).
const std::vector<unsigned char>& S3TCBlocks(int kind) {
    Frame& frame = SharedFrame();
    return kind == 0 ? frame.s3tcDXT1 : kind == 1 ? frame.s3tcDXT5 : frame.s3tcDXT5Alpha;
}
void S3TCDecodePlain(int kind) {
    DecodeS3TCPlain(S3TCBlocks(kind).data(), kind != 0, SharedFrame().decoded.get(), kWidth, kHeight,
                    kRowBytes);
}
void S3TCDecodeDispatched(int kind) {
    DecodeS3TC(S3TCBlocks(kind).data(), kind != 0, SharedFrame().decoded.get(), kWidth, kHeight, kRowBytes);
}
void DXT1DecodePlain() {
    S3TCDecodePlain(0);
}
void DXT1DecodeDispatched() {
    S3TCDecodeDispatched(0);
}
void DXT5DecodePlain() {
    S3TCDecodePlain(1);
}
void DXT5DecodeDispatched() {
    S3TCDecodeDispatched(1);
}
void DXT5AlphaDecodePlain() {
    S3TCDecodePlain(2);
}
void DXT5AlphaDecodeDispatched() {
    S3TCDecodeDispatched(2);
}

// CPU seconds of the calling thread: the x_plain ratios compare work on one core, so
// other processes on a shared machine do not skew them.
double ThreadSeconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Median thread seconds of one call of work, measured once per work and cached: the plain
// baselines of the x_plain counters.
double MedianSeconds(void (*work)(), int runs) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const double t0 = ThreadSeconds();
        work();
        benchmark::ClobberMemory();
        times.push_back(ThreadSeconds() - t0);
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    return times[times.size() / 2];
}

double PlainEncodeSeconds() {
    static const double seconds = MedianSeconds(EncodePlain, 9);
    return seconds;
}

double PlainDXT1EncodeSeconds() {
    static const double seconds = MedianSeconds(DXT1EncodePlain, 7);
    return seconds;
}

double PlainDXT1DecodeSeconds() {
    static const double seconds = MedianSeconds(DXT1DecodePlain, 31);
    return seconds;
}

double PlainDXT5DecodeSeconds() {
    static const double seconds = MedianSeconds(DXT5DecodePlain, 31);
    return seconds;
}

double PlainDXT5AlphaDecodeSeconds() {
    static const double seconds = MedianSeconds(DXT5AlphaDecodePlain, 31);
    return seconds;
}

double PlainDecodeSeconds() {
    static const double seconds = MedianSeconds(DecodePlain, 31);
    return seconds;
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

void UnpackLiblzf() {
    Frame& frame = SharedFrame();
    lzf_decompress(frame.packed.data(), frame.packed.size(), frame.unpacked.data(), kPayloadBytes);
}

// What the decoder uses (its buffer is zeroed; here it holds the same bytes from the last run).
void UnpackWide() {
    Frame& frame = SharedFrame();
    LZFUnpackIntoZeroed(frame.packed.data(), frame.packed.size(), frame.unpacked.data(), kPayloadBytes);
}

// Runs work in the benchmark's loop (fps and x_memcpy added) and returns its thread seconds
// per run.
double TimedRuns(benchmark::State& state, void (*work)()) {
    BaselineTimer timer;
    timer.Start();
    const double t0 = ThreadSeconds();
    for (auto _ : state) {
        work();
        benchmark::ClobberMemory();
    }
    const double seconds = (ThreadSeconds() - t0) / static_cast<double>(state.iterations());
    timer.Finish(state, kFrameBytes);
    return seconds;
}

void PackLiblzf() {
    Frame& frame = SharedFrame();
    lzf_compress(frame.payload.data(), kPayloadBytes, frame.unpacked.data(), kPayloadBytes);
}

void PackOurs() {
    Frame& frame = SharedFrame();
    LZFPack(frame.payload.data(), kPayloadBytes, frame.unpacked.data(), kPayloadBytes);
}

void PackGrainLiblzf() {
    Frame& frame = SharedFrame();
    lzf_compress(frame.grainPayload.data(), kPayloadBytes, frame.unpacked.data(), kPayloadBytes);
}

void PackGrainOurs() {
    Frame& frame = SharedFrame();
    LZFPack(frame.grainPayload.data(), kPayloadBytes, frame.unpacked.data(), kPayloadBytes);
}

// The payload's packing (0: liblzf's lzf_compress, 1: LZFPack, the same bytes), with
// x_liblzf: lzf_compress's thread seconds over this one's.
void BM_LZFPack(benchmark::State& state) {
    static const double liblzf = MedianSeconds(PackLiblzf, 15);
    state.counters["x_liblzf"] = liblzf / TimedRuns(state, state.range(0) != 0 ? PackOurs : PackLiblzf);
}

// The same on the grainy picture's payload (0: lzf_compress, 1: LZFPack).
void BM_LZFPackGrain(benchmark::State& state) {
    static const double liblzf = MedianSeconds(PackGrainLiblzf, 15);
    state.counters["x_liblzf"] =
        liblzf / TimedRuns(state, state.range(0) != 0 ? PackGrainOurs : PackGrainLiblzf);
}

// The payload's unpacking, with x_liblzf: lzf_decompress's thread seconds over this one's.
void BM_LZFUnpack(benchmark::State& state) {
    static const double liblzf = MedianSeconds(UnpackLiblzf, 31);
    state.counters["x_liblzf"] = liblzf / TimedRuns(state, state.range(0) != 0 ? UnpackWide : UnpackLiblzf);
}

// The S3TC CPU decoder (0: DXT1, 1: DXT5), dispatched, with fps and x_memcpy.
void BM_S3TCDecodeCPU(benchmark::State& state) {
    TimedRuns(state, state.range(0) != 0 ? DXT5DecodeDispatched : DXT1DecodeDispatched);
}

// The same for DXT5 blocks of the picture with soft alpha.
void BM_S3TCDecodeCPUAlpha(benchmark::State& state) {
    TimedRuns(state, DXT5AlphaDecodeDispatched);
}

void BM_DXT24DecodeCPU(benchmark::State& state) {
    BaselineTimer timer;
    timer.Start();
    for (auto _ : state) {
        DecodeDispatched();
        benchmark::ClobberMemory();
    }
    timer.Finish(state, kFrameBytes);
}

// Runs work for the benchmark with the dispatch limited to target (0: the plain path, which
// needs no dispatch), and adds x_plain: the plain path's thread seconds over this one's.
void RunOnTarget(benchmark::State& state, int64_t target, void (*work)(), double (*plainSeconds)()) {
    const double plain = plainSeconds();
    if (target != 0) hwy::SetSupportedTargetsForTest(target);
    const double seconds = TimedRuns(state, work);
    hwy::SetSupportedTargetsForTest(0);
    state.counters["x_plain"] = plain / seconds;
}

// BM_<name>Plain, then BM_<name>Target/<target> for every target.
void RegisterPlainAndTargets(const std::string& name, void (*plain)(), void (*dispatched)(),
                             double (*plainSeconds)()) {
    benchmark::RegisterBenchmark(("BM_" + name + "Plain").c_str(), [=](benchmark::State& state) {
        RunOnTarget(state, 0, plain, plainSeconds);
    })->Unit(benchmark::kMillisecond);
    for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
        const std::string targetName = "BM_" + name + "Target/" + hwy::TargetName(target);
        benchmark::RegisterBenchmark(targetName.c_str(), [=](benchmark::State& state) {
            RunOnTarget(state, target, dispatched, plainSeconds);
        })->Unit(benchmark::kMillisecond);
    }
}

// The encoders and the decoder on the plain path and on each target.
bool RegisterPerTargetBenchmarks() {
    RegisterPlainAndTargets("DXT24Encode", EncodePlain, EncodeDispatched, PlainEncodeSeconds);
    RegisterPlainAndTargets("DXT24Decode", DecodePlain, DecodeDispatched, PlainDecodeSeconds);
    RegisterPlainAndTargets("DXT1Encode", DXT1EncodePlain, DXT1EncodeDispatched, PlainDXT1EncodeSeconds);
    RegisterPlainAndTargets("DXT1Decode", DXT1DecodePlain, DXT1DecodeDispatched, PlainDXT1DecodeSeconds);
    RegisterPlainAndTargets("DXT5Decode", DXT5DecodePlain, DXT5DecodeDispatched, PlainDXT5DecodeSeconds);
    RegisterPlainAndTargets("DXT5AlphaDecode", DXT5AlphaDecodePlain, DXT5AlphaDecodeDispatched,
                            PlainDXT5AlphaDecodeSeconds);
    return true;
}

const bool registered = RegisterPerTargetBenchmarks();

} // namespace

BENCHMARK(BM_MemcpyFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DXT24Encode)->Arg(1)->Arg(2)->ArgName("threads")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DXT24DecodeCPU)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_S3TCDecodeCPU)->Arg(0)->Arg(1)->ArgName("dxt5")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_S3TCDecodeCPUAlpha)->Unit(benchmark::kMillisecond);
// 0: liblzf's lzf_decompress, 1: LZFUnpackIntoZeroed.
BENCHMARK(BM_LZFUnpack)->Arg(0)->Arg(1)->ArgName("wide")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LZFPack)->Arg(0)->Arg(1)->ArgName("ours")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LZFPackGrain)->Arg(0)->Arg(1)->ArgName("ours")->Unit(benchmark::kMillisecond);
