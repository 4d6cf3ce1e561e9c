// The compressor as a component: bad host input and open/close cycles. (Edge blocks are the
// block coders' suites and the tool's round trips at odd sizes.)
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "compressor/debug_dumps.h"
#include "compressor_fixture.h"
#include "platform/image_compression.h"
#include "platform/memory_manager.h"
#include "stream/kel_header.h"
#include "stream/kel_settings.h"

namespace {

void CountFrame(void* refCon, ICMCompressionSessionRef, OSStatus, ICMEncodedFrameRef frame, void*) {
    *static_cast<size_t*>(refCon) += ICMEncodedFrameGetDataSize(frame);
}

class CompressorComponentTest : public CompressorFixture {
  protected:
    void SetUp() override {
        CompressorFixture::SetUp();
        ASSERT_EQ(OpenADefaultComponent(compressorComponentType, kKELCodecType, &instance_), noErr);
    }
    void TearDown() override {
        if (instance_ != nullptr) CloseComponent(instance_);
        CompressorFixture::TearDown();
    }
    ComponentInstance instance_ = nullptr;
};

} // namespace

TEST_F(CompressorComponentTest, BadHostInputGetsStatusCodesNotCrashes) {
    int32_t size = -1;
    Rect empty = {5, 5, 5, 5};
    EXPECT_EQ(ImageCodecGetMaxCompressionSize(instance_, nullptr, &empty, 32, 0, nullptr), paramErr);
    EXPECT_EQ(ImageCodecGetMaxCompressionSize(instance_, nullptr, nullptr, 32, 0, &size), paramErr);
    EXPECT_EQ(ImageCodecGetMaxCompressionSize(instance_, nullptr, &empty, 32, 0, &size), noErr);
    EXPECT_EQ(size, 28);
    EXPECT_EQ(ImageCodecPrepareToCompressFrames(instance_, nullptr, nullptr, nullptr, nullptr, nullptr),
              paramErr);
    EXPECT_EQ(KEL_CPrepareToCompressFrames(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              internalQuickTimeError);

    // A session prepared for 0x0 frames: its buffers hold only a header, so a real frame is refused.
    size_t emitted = 0;
    ICMEncodedFrameOutputRecord output = {CountFrame, &emitted, kCFAllocatorDefault};
    ICMCompressionSessionRef session = nullptr;
    ASSERT_EQ(ICMCompressionSessionCreate(kCFAllocatorDefault, 8, 8, kKELCodecType, 600, nullptr, nullptr,
                                          &output, &session),
              noErr);
    ComponentInstance compressor = ICMCompressionSessionGetCompressorInstance(session);
    ImageDescriptionHandle zero = NewImageDescription(kKELCodecType, 0, 0);
    ASSERT_EQ(ImageCodecPrepareToCompressFrames(compressor, session, nullptr, zero, nullptr, nullptr), noErr);
    DisposeHandle(reinterpret_cast<Handle>(zero));
    CVPixelBufferRef buffer = nullptr;
    CVPixelBufferCreate(kCFAllocatorDefault, 8, 8, k32ARGBPixelFormat, nullptr, &buffer);
    EXPECT_EQ(ICMCompressionSessionEncodeFrame(session, buffer, 0, 0, 0, nullptr, nullptr, nullptr),
              paramErr);
    EXPECT_EQ(CVPixelBufferGetLockCount(buffer), 0);
    EXPECT_EQ(emitted, 0u);
    CVPixelBufferRelease(buffer);
    // Buffers of another size than the session's never reach the compressor.
    CVPixelBufferCreate(kCFAllocatorDefault, 9, 8, k32ARGBPixelFormat, nullptr, &buffer);
    EXPECT_EQ(ICMCompressionSessionEncodeFrame(session, buffer, 0, 0, 0, nullptr, nullptr, nullptr),
              paramErr);
    EXPECT_EQ(ICMCompressionSessionEncodeFrame(session, nullptr, 0, 0, 0, nullptr, nullptr, nullptr),
              paramErr);
    CVPixelBufferRelease(buffer);
    ICMCompressionSessionRelease(session);
}

TEST_F(CompressorComponentTest, ManyOpenCloseCyclesLeaveNothingBehind) {
    Component component = ZQN_CompressorRegister();
    const long before = CountComponentInstances(component);
    std::vector<uint8_t> pixels(12 * 9 * 4, 0x40);
    for (int cycle = 0; cycle < 150; ++cycle) {
        size_t emitted = 0;
        ICMEncodedFrameOutputRecord output = {CountFrame, &emitted, kCFAllocatorDefault};
        ICMCompressionSessionRef session = nullptr;
        ASSERT_EQ(ICMCompressionSessionCreate(kCFAllocatorDefault, 12, 9, kKELCodecType, 600, nullptr,
                                              nullptr, &output, &session),
                  noErr);
        CVPixelBufferRef buffer = nullptr;
        CVPixelBufferCreateWithBytes(kCFAllocatorDefault, 12, 9, k32ARGBPixelFormat, pixels.data(), 48,
                                     nullptr, nullptr, nullptr, &buffer);
        ASSERT_EQ(ICMCompressionSessionEncodeFrame(session, buffer, 0, 0, 0, nullptr, nullptr, nullptr),
                  noErr);
        EXPECT_GT(emitted, 28u);
        CVPixelBufferRelease(buffer);
        ICMCompressionSessionRelease(session);
    }
    EXPECT_EQ(CountComponentInstances(component), before);
    EXPECT_EQ(ZQN_CompressorRegister(), component); // registered once
}
