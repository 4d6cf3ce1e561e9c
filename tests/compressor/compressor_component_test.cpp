// The compressor as a component: selectors served and refused, codec information,
// preparation and its attributes, bad host input, open/close cycles, and debug dumps.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "compressor/debug_dumps.h"
#include "compressor/frame_encoder.h"
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

int32_t NumberValue(CFDictionaryRef dictionary, CFStringRef key) {
    int32_t value = -1;
    CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(dictionary, key)), kCFNumberSInt32Type,
                     &value);
    return value;
}

} // namespace

TEST_F(CompressorComponentTest, ServedAndRefusedSelectors) {
    EXPECT_EQ(CallComponentVersion(instance_), 0x10001);
    for (int16_t selector : {-1, -2, -3, -4, -6, 0, 2, 11, 12, 13, 46, 47, 48, 49, 50, 51, 55, 56, 57})
        EXPECT_EQ(CallComponentCanDo(instance_, selector), 1) << selector;
    for (int16_t selector : {-5, -7, -8, -9, 1, 3, 10, 14, 45, 52, 54, 58, 60, 61, 255, 256, 0x200, -300}) {
        EXPECT_EQ(CallComponentCanDo(instance_, selector), 0) << selector;
        EXPECT_EQ(CallComponentSelector(instance_, selector), badComponentSelector) << selector;
    }
    EXPECT_EQ(ComponentSetTarget(instance_, nullptr), noErr);
    auto* globals = reinterpret_cast<KELCompressorGlobals*>(GetComponentInstanceStorage(instance_));
    EXPECT_EQ(globals->target, nullptr);
    EXPECT_EQ(globals->self, instance_);
    // A call whose parameter count does not match the handler is refused, not misread.
    EXPECT_EQ(CallComponentSelector(instance_, kImageCodecGetSettingsSelector), paramErr);
}

TEST_F(CompressorComponentTest, CodecInformationDescribesTheCodec) {
    CodecInfo info;
    std::memset(&info, 0xFF, sizeof info);
    ASSERT_EQ(ImageCodecGetCodecInfo(instance_, &info), noErr);
    const std::string name(reinterpret_cast<const char*>(info.typeName + 1), info.typeName[0]);
    EXPECT_EQ(name.rfind("QZKT", 0), 0u);
    EXPECT_EQ(info.version, 1);
    EXPECT_EQ(info.revisionLevel, 1);
    EXPECT_EQ(info.compressFlags & codecInfoDoes32, codecInfoDoes32);
    EXPECT_EQ(info.formatFlags, codecInfoDepth24 | codecInfoDepth32);
    EXPECT_EQ(info.minimumWidth, 1);
    EXPECT_EQ(info.privateData, 0);
    EXPECT_EQ(ImageCodecGetCodecInfo(instance_, nullptr), paramErr);
}

TEST_F(CompressorComponentTest, PreparingAsksForARGBBuffersAndReleasesEarlierOptions) {
    ICMCompressionSessionOptionsRef first = nullptr, second = nullptr;
    ICMCompressionSessionOptionsCreate(kCFAllocatorDefault, &first);
    ICMCompressionSessionOptionsCreate(kCFAllocatorDefault, &second);
    ICMCompressionSessionOptionsSetMaxKeyFrameInterval(second, 30);
    ImageDescriptionHandle desc = NewImageDescription(kKELCodecType, 1918, 1080);
    auto* globals = reinterpret_cast<KELCompressorGlobals*>(GetComponentInstanceStorage(instance_));

    CFDictionaryRef attributes = nullptr;
    ASSERT_EQ(ImageCodecPrepareToCompressFrames(instance_, nullptr, first, desc, nullptr, &attributes),
              noErr);
    EXPECT_EQ(CFGetRetainCount(first), 2);
    ASSERT_NE(attributes, nullptr);
    EXPECT_EQ(CFGetRetainCount(attributes), 1); // the host's to release
    CFArrayRef formats =
        static_cast<CFArrayRef>(CFDictionaryGetValue(attributes, kCVPixelBufferPixelFormatTypeKey));
    ASSERT_EQ(CFArrayGetCount(formats), 1);
    int32_t format = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(CFArrayGetValueAtIndex(formats, 0)), kCFNumberSInt32Type,
                     &format);
    EXPECT_EQ(format, 32);
    EXPECT_EQ(NumberValue(attributes, kCVPixelBufferWidthKey), 1918);
    EXPECT_EQ(NumberValue(attributes, kCVPixelBufferHeightKey), 1080);
    CFRelease(attributes);
    EXPECT_EQ(globals->maxFrameSize, CalculateMaxKELDataSize(1918, 1080, false, true));
    EXPECT_EQ(globals->buffers[0].yRowBytes, 1920u);
    Fixed gamma = -1;
    EXPECT_EQ(ICMImageDescriptionGetProperty(desc, kQTPropertyClass_ImageDescription,
                                             kICMImageDescriptionPropertyID_GammaLevel, 4, &gamma, nullptr),
              noErr);
    EXPECT_EQ(gamma, 0);

    // Preparing again releases the first options before keeping the second.
    ASSERT_EQ(ImageCodecPrepareToCompressFrames(instance_, nullptr, second, desc, nullptr, nullptr), noErr);
    EXPECT_EQ(CFGetRetainCount(first), 1);
    EXPECT_EQ(CFGetRetainCount(second), 2);
    EXPECT_EQ(globals->maxKeyFrameInterval, 30);
    CloseComponent(instance_);
    instance_ = nullptr;
    EXPECT_EQ(CFGetRetainCount(second), 1);
    ICMCompressionSessionOptionsRelease(first);
    ICMCompressionSessionOptionsRelease(second);
    DisposeHandle(reinterpret_cast<Handle>(desc));
}

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

TEST_F(CompressorComponentTest, EdgeBlocksRepeatTheLastRowAndColumn) {
    // 5x3: two DXT1 blocks. A picture where column 4 and row 2 are unique colours must encode
    // like the same picture padded to 8x4 by repeating them.
    std::vector<uint8_t> small(5 * 3 * 4), padded(8 * 4 * 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x) {
            const int sx = std::min(x, 4), sy = std::min(y, 2);
            const uint8_t pixel[4] = {255, static_cast<uint8_t>(sx * 60), static_cast<uint8_t>(sy * 100),
                                      static_cast<uint8_t>(sx == 4 ? 250 : 10)};
            std::memcpy(&padded[(y * 8 + x) * 4], pixel, 4);
            if (x < 5 && y < 3) std::memcpy(&small[(y * 5 + x) * 4], pixel, 4);
        }
    uint8_t fromSmall[16], fromPadded[16];
    stbCompressARGB32(fromSmall, small.data(), 5, 3, 20, 0);
    stbCompressARGB32(fromPadded, padded.data(), 8, 4, 32, 0);
    EXPECT_EQ(0, std::memcmp(fromSmall, fromPadded, 16));
    uint8_t untouched[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    stbCompressARGB32(untouched, small.data(), 0, 3, 20, 0);
    EXPECT_EQ(untouched[0], 1);
    EXPECT_EQ(DXT24ThreadCount(1), CachedPhysicalCoreCount());
    EXPECT_GE(CachedPhysicalCoreCount(), 1);
}

TEST_F(CompressorComponentTest, DebugDumpsNeverOverwriteAndWriteStandardBMPs) {
    const uint8_t bgra[2 * 4] = {10, 20, 30, 255, 40, 50, 60, 0}; // 2x1
    const std::string name = directory_ + "/frame.bmp";
    for (int i = 0; i < 3; ++i)
        WriteUInt8Bitmap32BGRA(bgra, 2, 1, name.c_str());
    for (const char* file : {"/frame.bmp", "/frame_1.bmp", "/frame_2.bmp"}) {
        std::ifstream in(directory_ + file, std::ios::binary);
        const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                         std::istreambuf_iterator<char>());
        ASSERT_EQ(bytes.size(), 54u + 8u) << file; // header, one row of 2 pixels padded to 8 bytes
        EXPECT_EQ(bytes[0], 'B');
        EXPECT_EQ(bytes[1], 'M');
        EXPECT_EQ(bytes[18], 2);                         // width
        EXPECT_EQ(bytes[22], 1);                         // height
        EXPECT_EQ(bytes[28], 24);                        // bits per pixel
        const uint8_t row[6] = {10, 20, 30, 40, 50, 60}; // stored B, G, R as the source had them
        EXPECT_EQ(0, std::memcmp(&bytes[54], row, 6));
    }
    const std::string plain = directory_ + "/noext";
    const uint8_t rgb[3] = {1, 2, 3};
    WriteUInt8Bitmap24(rgb, 1, 1, plain.c_str());
    WriteUInt8Bitmap24(rgb, 1, 1, plain.c_str());
    EXPECT_TRUE(std::ifstream(plain + "_1").good());
    WriteUInt8Bitmap24(rgb, 0, 1, (directory_ + "/empty.bmp").c_str());
    EXPECT_FALSE(std::ifstream(directory_ + "/empty.bmp").good());
}
