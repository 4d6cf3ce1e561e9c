// Frames encoded through the Component Manager and a compression session, as a host makes
// them: exact header bytes, payloads equal to the block coders' output, LZF that unpacks
// exactly, and the raw fall-back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <lzf.h>
#include <random>
#include <stb/stb_dxt.h>
#include <sys/wait.h>
#include <unistd.h>

#include "blocks/dxt24_image.h"
#include "compressor_fixture.h"
#include "host/host_compression.h"
#include "pixel/synthetic_image.h"
#include "platform/image_compression.h"
#include "platform/memory_manager.h"
#include "stream/kel_header.h"
#include "stream/kel_settings.h"

namespace {

struct EmittedFrame {
    std::vector<uint8_t> bytes;
    MediaSampleFlags flags;
    ICMFrameType type;
};

void CollectFrame(void* refCon, ICMCompressionSessionRef, OSStatus error, ICMEncodedFrameRef frame, void*) {
    ASSERT_EQ(error, noErr);
    const uint8_t* data = ICMEncodedFrameGetDataPtr(frame);
    static_cast<std::vector<EmittedFrame>*>(refCon)->push_back(
        {std::vector<uint8_t>(data, data + ICMEncodedFrameGetDataSize(frame)),
         ICMEncodedFrameGetMediaSampleFlags(frame), ICMEncodedFrameGetFrameType(frame)});
}

struct Image {
    int width, height, rowBytes;
    std::vector<uint8_t> pixels;
};

// A synthetic picture in rows padded past their width, so the stride is honoured.
Image MakeImage(int width, int height, bool alpha) {
    Image image{width, height, width * 4 + 12, {}};
    image.pixels.assign(static_cast<size_t>(image.rowBytes) * height, 0xEE);
    FillSyntheticARGB(image.pixels.data(), width, height, image.rowBytes, 3, alpha);
    return image;
}

// DXT1/DXT5 blocks straight from stb_dxt, gathering each block with clamped coordinates.
std::vector<uint8_t> ReferenceDXT(const Image& image, bool alpha) {
    std::vector<uint8_t> out;
    uint8_t block[64], result[16];
    for (int by = 0; by < (image.height + 3) / 4; ++by)
        for (int bx = 0; bx < (image.width + 3) / 4; ++bx) {
            for (int i = 0; i < 16; ++i) {
                const int x = std::min(bx * 4 + i % 4, image.width - 1);
                const int y = std::min(by * 4 + i / 4, image.height - 1);
                const uint8_t* p = &image.pixels[static_cast<size_t>(y) * image.rowBytes + x * 4];
                block[i * 4] = p[1];
                block[i * 4 + 1] = p[2];
                block[i * 4 + 2] = p[3];
                block[i * 4 + 3] = p[0];
            }
            stb_compress_dxt_block(result, block, alpha, STB_DXT_HIGHQUAL);
            out.insert(out.end(), result, result + (alpha ? 16 : 8));
        }
    return out;
}

std::vector<uint8_t> ReferenceDXT24(Image image) {
    std::vector<uint8_t> out(static_cast<size_t>(KELBlockCount(image.width, image.height)) * 10 + 2);
    _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(out.data()), image.pixels.data(), image.width,
                            image.height, image.rowBytes, false);
    out.resize(out.size() - 2);
    return out;
}

// Encodes frames of image through a new session with these settings.
std::vector<EmittedFrame> EncodeThroughSession(const Image& image, const KELSettingsValues& settings,
                                               int frames = 1) {
    std::vector<EmittedFrame> emitted;
    ICMCompressionSessionOptionsRef options = nullptr;
    EXPECT_EQ(ICMCompressionSessionOptionsCreate(kCFAllocatorDefault, &options), noErr);
    Handle handle = NewHandle(12);
    WriteKELSettingsRecord(reinterpret_cast<uint8_t*>(*handle), settings);
    EXPECT_EQ(ICMCompressionSessionOptionsSetProperty(
                  options, kQTPropertyClass_ICMCompressionSessionOptions,
                  kICMCompressionSessionOptionsPropertyID_CompressorSettings, sizeof handle, &handle),
              noErr);
    DisposeHandle(handle);
    ICMEncodedFrameOutputRecord output = {CollectFrame, &emitted, kCFAllocatorDefault};
    ICMCompressionSessionRef session = nullptr;
    EXPECT_EQ(ICMCompressionSessionCreate(kCFAllocatorDefault, image.width, image.height, kKELCodecType, 600,
                                          options, nullptr, &output, &session),
              noErr);
    ICMCompressionSessionOptionsRelease(options);
    CVPixelBufferRef buffer = nullptr;
    EXPECT_EQ(CVPixelBufferCreateWithBytes(kCFAllocatorDefault, image.width, image.height, k32ARGBPixelFormat,
                                           const_cast<uint8_t*>(image.pixels.data()), image.rowBytes, nullptr,
                                           nullptr, nullptr, &buffer),
              kCVReturnSuccess);
    for (int i = 0; i < frames; ++i)
        EXPECT_EQ(ICMCompressionSessionEncodeFrame(session, buffer, i, 1, 0, nullptr, nullptr, nullptr),
                  noErr);
    EXPECT_EQ(CVPixelBufferGetLockCount(buffer), 0);
    EXPECT_EQ(ICMCompressionSessionCompleteFrames(session, true, 0, 0), noErr);
    CVPixelBufferRelease(buffer);
    ICMCompressionSessionRelease(session);
    return emitted;
}

// The payload as stored: unpacked with LZF when the header says so.
std::vector<uint8_t> UnpackPayload(const std::vector<uint8_t>& frame, size_t expectedSize) {
    const KELHeader header = ReadKELHeader(frame.data());
    EXPECT_EQ(frame.size(), kKELHeaderSize + header.storedSize);
    if (header.packing != kKELPackingLZF) return {frame.begin() + kKELHeaderSize, frame.end()};
    std::vector<uint8_t> payload(expectedSize + 64);
    const unsigned int got = lzf_decompress(frame.data() + kKELHeaderSize, header.storedSize, payload.data(),
                                            static_cast<unsigned int>(payload.size()));
    payload.resize(got);
    return payload;
}

void ExpectHeader(const std::vector<uint8_t>& frame, uint8_t alpha, uint8_t dxt24, bool blocksDXT24,
                  bool packed) {
    ASSERT_GE(frame.size(), kKELHeaderSize);
    const uint32_t stored = static_cast<uint32_t>(frame.size() - kKELHeaderSize);
    const std::vector<uint8_t> expected = {28,
                                           0,
                                           0,
                                           0,
                                           1,
                                           alpha,
                                           static_cast<uint8_t>(packed ? 1 : 0),
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           static_cast<uint8_t>(stored),
                                           static_cast<uint8_t>(stored >> 8),
                                           static_cast<uint8_t>(stored >> 16),
                                           static_cast<uint8_t>(stored >> 24),
                                           0,
                                           0,
                                           0,
                                           0,
                                           0,
                                           static_cast<uint8_t>(dxt24 ^ 1),
                                           static_cast<uint8_t>(blocksDXT24 ? 1 : 0),
                                           0};
    EXPECT_EQ(std::vector<uint8_t>(frame.begin(), frame.begin() + kKELHeaderSize), expected);
}

} // namespace

class CompressorEncodeTest : public CompressorFixture {};

TEST_F(CompressorEncodeTest, EverySettingCombinationAndSizeMatchesTheBlockCoders) {
    const int sizes[][2] = {{1, 1}, {5, 3}, {16, 8}, {33, 17}};
    for (uint8_t alpha : {0, 1})
        for (uint8_t dxt24 : {0, 1})
            for (uint8_t noLZF : {0, 1})
                for (const auto& size : sizes) {
                    SCOPED_TRACE(testing::Message()
                                 << "alpha " << int(alpha) << " dxt24 " << int(dxt24) << " noLZF "
                                 << int(noLZF) << " " << size[0] << "x" << size[1]);
                    const Image image = MakeImage(size[0], size[1], alpha);
                    const std::vector<EmittedFrame> frames =
                        EncodeThroughSession(image, {alpha, dxt24, noLZF, 2}, 2);
                    ASSERT_EQ(frames.size(), 2u);
                    EXPECT_EQ(frames[0].bytes, frames[1].bytes);
                    EXPECT_EQ(frames[0].flags, mediaSampleDoesNotDependOnOthers);
                    EXPECT_EQ(frames[0].type, 'I');
                    EXPECT_LE(frames[0].bytes.size(),
                              CalculateMaxKELDataSize(size[0], size[1], alpha, dxt24));

                    // Alpha wins over DXT24: such frames are DXT5.
                    const bool blocksDXT24 = dxt24 && !alpha;
                    const std::vector<uint8_t> reference =
                        blocksDXT24 ? ReferenceDXT24(image) : ReferenceDXT(image, alpha);
                    const bool packed = frames[0].bytes[kKELPackingOffset] == 1;
                    if (noLZF) {
                        EXPECT_FALSE(packed);
                    }
                    ExpectHeader(frames[0].bytes, alpha, dxt24, blocksDXT24, packed);
                    EXPECT_EQ(UnpackPayload(frames[0].bytes, reference.size()), reference);
                }
}

TEST_F(CompressorEncodeTest, UniformFramesPackAndNoiseFallsBackToRaw) {
    Image flat{64, 64, 256, std::vector<uint8_t>(64 * 256)};
    for (size_t i = 0; i < flat.pixels.size(); i += 4)
        std::memcpy(&flat.pixels[i], "\xFF\x20\x80\xC0", 4);
    Image noise = flat;
    std::mt19937 random(7);
    for (uint8_t& byte : noise.pixels)
        byte = static_cast<uint8_t>(random());

    for (uint8_t dxt24 : {0, 1}) {
        const size_t payload = 256u * (dxt24 ? 10 : 8);
        const std::vector<uint8_t> packed = EncodeThroughSession(flat, {0, dxt24, 0, 2})[0].bytes;
        EXPECT_EQ(packed[kKELPackingOffset], 1);
        EXPECT_LT(packed.size(), 28 + payload / 4);
        EXPECT_EQ(UnpackPayload(packed, payload).size(), payload);

        const std::vector<uint8_t> raw = EncodeThroughSession(noise, {0, dxt24, 0, 2})[0].bytes;
        EXPECT_EQ(raw[kKELPackingOffset], 0);
        EXPECT_EQ(ReadKELHeader(raw.data()).storedSize, payload);
        EXPECT_EQ(std::vector<uint8_t>(raw.begin() + 28, raw.end()),
                  dxt24 ? ReferenceDXT24(noise) : ReferenceDXT(noise, false));
    }
}

namespace {
void AppendFrame(void* refCon, const uint8_t* data, size_t size) {
    static_cast<std::vector<std::vector<uint8_t>>*>(refCon)->emplace_back(data, data + size);
}
} // namespace

TEST_F(CompressorEncodeTest, HostEntryUsesTheMachineWideSettingsAndAnyRowStride) {
    // DXT1 without LZF from the preferences file.
    WritePreferencesFile(FileBytes({0, 0, 1, 2}));
    const Image image = MakeImage(21, 11, false);
    std::vector<std::vector<uint8_t>> frames;
    HostCompression* compression = nullptr;
    ASSERT_EQ(HostCompressionCreate(21, 11, nullptr, AppendFrame, &frames, &compression), noErr);
    EXPECT_EQ(HostCompressionMaxFrameSize(compression), CalculateMaxKELDataSize(21, 11, false, false));
    EXPECT_EQ(HostCompressionEncodeFrame(compression, image.pixels.data(), image.rowBytes), noErr);
    EXPECT_EQ(HostCompressionEncodeFrame(compression, image.pixels.data(), 21 * 4 - 1), paramErr);
    EXPECT_EQ(HostCompressionEncodeFrame(compression, nullptr, 0), paramErr);
    HostCompressionClose(compression);
    ASSERT_EQ(frames.size(), 1u);
    ExpectHeader(frames[0], 0, 0, false, false);
    EXPECT_EQ(std::vector<uint8_t>(frames[0].begin() + 28, frames[0].end()), ReferenceDXT(image, false));

    // Settings handed in for the session override the file; tight rows (stride 0).
    Image tight = image;
    tight.rowBytes = 21 * 4;
    tight.pixels.assign(static_cast<size_t>(21 * 4 * 11), 0);
    for (int y = 0; y < 11; ++y)
        std::memcpy(&tight.pixels[static_cast<size_t>(y) * 84],
                    &image.pixels[static_cast<size_t>(y) * image.rowBytes], 84);
    const KELSettingsValues settings = {0, 1, 1, 2};
    ASSERT_EQ(HostCompressionCreate(21, 11, &settings, AppendFrame, &frames, &compression), noErr);
    EXPECT_EQ(HostCompressionEncodeFrame(compression, tight.pixels.data(), 0), noErr);
    HostCompressionClose(compression);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(std::vector<uint8_t>(frames[1].begin() + 28, frames[1].end()), ReferenceDXT24(image));

    EXPECT_EQ(HostCompressionCreate(0, 11, nullptr, AppendFrame, &frames, &compression), paramErr);
    EXPECT_EQ(HostCompressionCreate(40000, 11, nullptr, AppendFrame, &frames, &compression), paramErr);
    EXPECT_EQ(HostCompressionCreate(4, 4, nullptr, nullptr, &frames, &compression), paramErr);
    EXPECT_EQ(compression, nullptr);
}
