// The decompressor as a component and through the host entry: codec information, the
// compressed-size answer, preflight, damaged frames, and many instances opened and closed (what
// it passes to the base decompressor is delegation_test.cpp's). glDeleteTextures is defined here
// so the suite can see that closing releases GL objects with the context current; it forwards to
// the GL library.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <dlfcn.h>

#include <memory>

#include "decompressor/decompressor_component.h"
#include "platform/host_decompression.h"
#include "platform/image_compression.h"
#include "platform/memory_manager.h"
#include "reference_decoder.h"
#include "resources/codec_info.h"

namespace {

int gDeletesWithContext = 0, gDeletesWithoutContext = 0;

class DecompressorComponentTest : public testing::Test {
  protected:
    void SetUp() override {
        ZQN_CodecRegister();
        RegisterBaseImageDecompressor();
        HostDecompressionAllowSoftwareRenderer(true);
        ASSERT_EQ(OpenADefaultComponent(decompressorComponentType, kKELCodecType, &instance_), noErr);
    }
    void TearDown() override { CloseComponent(instance_); }

    ComponentInstance instance_ = nullptr;
};

} // namespace

extern "C" void glDeleteTextures(GLsizei count, const GLuint* names) {
    static const auto real =
        reinterpret_cast<void (*)(GLsizei, const GLuint*)>(dlsym(RTLD_NEXT, "glDeleteTextures"));
    static const auto current = reinterpret_cast<void* (*)()>(dlsym(RTLD_DEFAULT, "eglGetCurrentContext"));
    ++(current != nullptr && current() != nullptr ? gDeletesWithContext : gDeletesWithoutContext);
    real(count, names);
}

TEST_F(DecompressorComponentTest, CodecInformationAndCompressedSizeAnswers) {
    CodecInfo info;
    std::memset(&info, 0xEE, sizeof info);
    ASSERT_EQ(ImageCodecGetCodecInfo(instance_, &info), noErr);
    const CodecInfo expected = QZKTCodecInfo();
    EXPECT_EQ(std::memcmp(&info, &expected, 72), 0);
    EXPECT_EQ(ImageCodecGetCodecInfo(instance_, nullptr), paramErr);

    // Bytes 24..27 read big-endian, plus 32: DXT1 written with DXT24 off has 0, 1, 0, 0 there,
    // DXT24 0, 0, 1, 0, and DXT5 written with DXT24 on all zeros. Not the frames' lengths.
    auto answer = [&](uint8_t alpha, uint8_t dxt24, int32_t* size) {
        Bytes frame = EncodedSynthetic(8, 8, {alpha, dxt24, 0, 1});
        return ImageCodecGetCompressedImageSize(instance_, nullptr, reinterpret_cast<Ptr>(frame.data()),
                                                int32_t(frame.size()), nullptr, size);
    };
    int32_t size = -1;
    EXPECT_EQ(answer(0, 0, &size), noErr);
    EXPECT_EQ(size, 65568);
    EXPECT_EQ(answer(0, 1, &size), noErr);
    EXPECT_EQ(size, 288);
    EXPECT_EQ(answer(1, 1, &size), noErr);
    EXPECT_EQ(size, 32);
    EXPECT_EQ(answer(0, 0, nullptr), paramErr);
}

TEST_F(DecompressorComponentTest, PreflightAsksForWholeBlocksOfARGB) {
    ImageDescriptionHandle description = NewImageDescription(kKELCodecType, 1918, 1080);
    CodecCapabilities capabilities = {};
    CodecDecompressParams params = {};
    params.imageDescription = description;
    params.capabilities = &capabilities;
    ASSERT_EQ(ImageCodecPreflight(instance_, &params), noErr);
    EXPECT_EQ(capabilities.extendWidth, 2);
    EXPECT_EQ(capabilities.extendHeight, 0);
    EXPECT_EQ(capabilities.bandMin, 1080); // one band per frame
    EXPECT_EQ((*params.wantedDestinationPixelTypes)[0], k32ARGBPixelFormat);
    EXPECT_EQ((*params.wantedDestinationPixelTypes)[1], 0u);
    DisposeHandle(reinterpret_cast<Handle>(description));
}

TEST_F(DecompressorComponentTest, DamagedFramesAreDeclinedWithoutReadingPastThem) {
    const int w = 37, h = 21;
    HostDecompression* decompression = nullptr;
    ASSERT_EQ(HostDecompressionCreate(w, h, &decompression), noErr);
    const Bytes untouched(static_cast<size_t>(w) * h * 4, 0x5A);
    Bytes destination = untouched;
    // Each frame sits in a heap block of exactly its size, so the sanitizer build catches any
    // read past its end.
    auto decode = [&](const Bytes& frame, size_t size) {
        std::unique_ptr<uint8_t, decltype(&std::free)> exact(static_cast<uint8_t*>(std::malloc(size + !size)),
                                                             &std::free);
        std::copy(frame.begin(), frame.begin() + size, exact.get());
        return HostDecompressionDecodeFrame(decompression, exact.get(), size, destination.data(), 0);
    };
    for (KELSettingsValues settings : {KELSettingsValues{0, 0, 0, 1}, {0, 1, 1, 1}, {1, 0, 0, 1}}) {
        const Bytes frame = EncodedSynthetic(w, h, settings);
        for (size_t size = 0; size < frame.size(); ++size)
            ASSERT_EQ(decode(frame, size), codecBadDataErr) << "cut at " << size;
        ASSERT_EQ(destination, untouched);

        // Header fields that point past the end (or below the header), each alone.
        const uint32_t end = uint32_t(frame.size());
        const std::pair<uint32_t, uint32_t> damage[] = {{0, 27},   {0, end + 1},   {0, ~0u},
                                                        {16, end}, {16, 1u << 31}, {16, ~0u},
                                                        {20, 1},   {20, ~0u},      {8, 0x10000}};
        for (const auto& d : damage) {
            Bytes damaged = frame;
            for (int i = 0; i < 4; ++i)
                damaged[d.first + i] = static_cast<uint8_t>(d.second >> 8 * i);
            if (d.first == 8) damaged[12] = 1; // a 65536 x 1 plane for a 40 x 24 frame
            EXPECT_EQ(decode(damaged, damaged.size()), codecBadDataErr) << d.first << " " << d.second;
        }
        EXPECT_EQ(destination, untouched);

        ASSERT_EQ(decode(frame, frame.size()), noErr);
        if (settings.dxt24) {
            EXPECT_EQ(destination, ExpectedPicture(frame, w, h));
        }
        destination = untouched;
    }
    HostDecompressionClose(decompression);
}

TEST_F(DecompressorComponentTest, ManyInstancesOpenedAndClosedLeaveNothingBehind) {
    const Component decompressor = ZQN_CodecRegister(), base = RegisterBaseImageDecompressor();
    const long decompressors = CountComponentInstances(decompressor), bases = CountComponentInstances(base);
    const Bytes dxt1 = EncodedSynthetic(30, 18, {0, 0, 0, 1}), dxt24 = EncodedSynthetic(30, 18, {0, 1, 0, 1});
    Bytes destination(30 * 18 * 4);
    gDeletesWithContext = gDeletesWithoutContext = 0;
    for (int i = 0; i < 24; ++i) {
        HostDecompression* decompression = nullptr;
        ASSERT_EQ(HostDecompressionCreate(30, 18, &decompression), noErr);
        EXPECT_EQ(CountComponentInstances(decompressor), decompressors + 1);
        // One in three decodes on the CPU, one in three on the GPU, one not at all.
        const Bytes* frame = i % 3 == 0 ? nullptr : i % 3 == 1 ? &dxt24 : &dxt1;
        if (frame != nullptr) {
            EXPECT_EQ(HostDecompressionDecodeFrame(decompression, frame->data(), frame->size(),
                                                   destination.data(), 0),
                      noErr);
        }
        HostDecompressionClose(decompression);
    }
    EXPECT_EQ(CountComponentInstances(decompressor), decompressors);
    EXPECT_EQ(CountComponentInstances(base), bases);
    // Every instance that drew on the GPU deleted its textures while its context was current.
    EXPECT_GE(gDeletesWithContext, 8);
    EXPECT_EQ(gDeletesWithoutContext, 0);
}
