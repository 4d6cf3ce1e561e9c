// The decompressor as a component: damaged frames, and many instances opened and closed.
// glDeleteTextures is defined here so the suite can see that closing releases GL objects with
// the context current; it forwards to the GL library.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <dlfcn.h>

#include <memory>

#include "decompressor/decompressor_component.h"
#include "host/host_decompression.h"
#include "platform/image_compression.h"
#include "platform/memory_manager.h"
#include "resources/codec_info.h"
#include "support/frame_builders.h"
#include "support/host_frames.h"
#include "support/reference_pictures.h"

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
        const Bytes frame = EncodedFrame(w, h, settings, 1);
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
    const Bytes dxt1 = EncodedFrame(30, 18, {0, 0, 0, 1}, 1), dxt24 = EncodedFrame(30, 18, {0, 1, 0, 1}, 1);
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
