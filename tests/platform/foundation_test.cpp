// Handles, Core Foundation containers and their callbacks, Core Video buffers, image
// description properties and encoded frames.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/core_foundation.h"
#include "platform/core_video.h"
#include "platform/image_compression.h"
#include "platform/memory_manager.h"

TEST(MemoryManagerTest, HandlesResizeKeepingTheirBytes) {
    Handle handle = NewHandle(4);
    ASSERT_NE(handle, nullptr);
    std::memcpy(*handle, "abcd", 4);
    SetHandleSize(handle, 4096); // forces the block to move
    EXPECT_EQ(MemError(), noErr);
    EXPECT_EQ(GetHandleSize(handle), 4096);
    EXPECT_EQ(0, std::memcmp(*handle, "abcd", 4));
    EXPECT_EQ((*handle)[4095], 0);
    SetHandleSize(handle, 2);
    EXPECT_EQ(0, std::memcmp(*handle, "ab", 2));
    SetHandleSize(handle, -1);
    EXPECT_EQ(MemError(), paramErr);
    EXPECT_EQ(GetHandleSize(handle), 2);
    DisposeHandle(handle);

    SetHandleSize(nullptr, 4);
    EXPECT_EQ(MemError(), nilHandleErr);
    EXPECT_EQ(GetHandleSize(nullptr), 0);
    EXPECT_EQ(NewHandle(-5), nullptr);
    EXPECT_EQ(MemError(), paramErr);
    Handle cleared = NewHandleClear(0);
    ASSERT_NE(cleared, nullptr);
    EXPECT_EQ(GetHandleSize(cleared), 0);
    DisposeHandle(cleared);
}

TEST(CoreFoundationTest, ContainersRetainWithTheStandardCallbacksAndReleaseOnReplace) {
    const int32_t seven = 7;
    CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &seven);
    CFStringRef key = CFStringCreateWithCString(kCFAllocatorDefault, "Width", kCFStringEncodingUTF8);
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(dictionary, key, number);
    EXPECT_EQ(CFGetRetainCount(number), 2);
    EXPECT_EQ(CFGetRetainCount(key), 2);
    // A key equal by text finds the value, including the constant key of the same text.
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("Width")), number);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("Height")), nullptr);

    const void* values[] = {number, number};
    CFArrayRef array = CFArrayCreate(kCFAllocatorDefault, values, 2, &kCFTypeArrayCallBacks);
    EXPECT_EQ(CFGetRetainCount(number), 4);
    CFDictionarySetValue(dictionary, CFSTR("Width"), array); // replaces: the number loses one
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
    EXPECT_EQ(CFGetRetainCount(number), 3);
    CFRelease(array);
    CFRelease(dictionary); // releases key and array, and the array its two numbers
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(CFGetRetainCount(key), 1);

    int16_t small = 0;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberSInt16Type, &small));
    EXPECT_EQ(small, 7);
    const int64_t big = int64_t(1) << 40;
    CFNumberRef large = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &big);
    int32_t narrow = 0;
    EXPECT_FALSE(CFNumberGetValue(large, kCFNumberSInt32Type, &narrow));
    EXPECT_FALSE(CFEqual(large, number));
    CFRelease(large);
    CFRelease(number);
    CFRelease(key);

    // Constant strings are shared and never freed.
    EXPECT_EQ(CFSTR("Width"), kCVPixelBufferWidthKey);
    CFRelease(kCVPixelBufferWidthKey);
    EXPECT_STREQ(CFStringGetCStringPtr(kCVPixelBufferWidthKey, kCFStringEncodingUTF8), "Width");

    // Null callbacks keep plain pointers without retaining.
    CFArrayRef plain = CFArrayCreate(kCFAllocatorDefault, values, 1, nullptr);
    EXPECT_EQ(CFArrayGetValueAtIndex(plain, 0), values[0]);
    EXPECT_EQ(CFArrayGetValueAtIndex(plain, 1), nullptr);
    CFRelease(plain);
}

TEST(CoreVideoTest, BuffersCheckTheirGeometryAndCountLocks) {
    CVPixelBufferRef buffer = nullptr;
    EXPECT_EQ(CVPixelBufferCreate(kCFAllocatorDefault, 0, 4, k32ARGBPixelFormat, nullptr, &buffer),
              kCVReturnInvalidSize);
    EXPECT_EQ(CVPixelBufferCreate(kCFAllocatorDefault, 4, 4, 24, nullptr, &buffer),
              kCVReturnInvalidPixelFormat);
    EXPECT_EQ(CVPixelBufferCreate(kCFAllocatorDefault, 4, 4, k32ARGBPixelFormat, nullptr, nullptr),
              kCVReturnInvalidArgument);
    ASSERT_EQ(CVPixelBufferCreate(kCFAllocatorDefault, 5, 3, k32ARGBPixelFormat, nullptr, &buffer),
              kCVReturnSuccess);
    EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer), 20u);
    EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnError);
    CVPixelBufferLockBaseAddress(buffer, 0);
    EXPECT_EQ(CVPixelBufferGetLockCount(buffer), 1);
    EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnSuccess);
    CVPixelBufferRelease(buffer);

    uint8_t pixels[3 * 64] = {};
    int released = 0;
    auto onRelease = [](void* refCon, const void*) { ++*static_cast<int*>(refCon); };
    EXPECT_EQ(CVPixelBufferCreateWithBytes(kCFAllocatorDefault, 5, 3, k32ARGBPixelFormat, pixels, 19, nullptr,
                                           nullptr, nullptr, &buffer),
              kCVReturnInvalidArgument); // stride shorter than a row
    ASSERT_EQ(CVPixelBufferCreateWithBytes(kCFAllocatorDefault, 5, 3, k32ARGBPixelFormat, pixels, 64,
                                           onRelease, &released, nullptr, &buffer),
              kCVReturnSuccess);
    EXPECT_EQ(CVPixelBufferGetBaseAddress(buffer), pixels);
    CVPixelBufferRetain(buffer);
    CVPixelBufferRelease(buffer);
    EXPECT_EQ(released, 0);
    CVPixelBufferRelease(buffer);
    EXPECT_EQ(released, 1);
}

TEST(ImageCompressionTest, DescriptionPropertiesAndEncodedFrameLimits) {
    ImageDescriptionHandle desc = NewImageDescription(FourCC("QZKT"), 640, 480);
    ASSERT_NE(desc, nullptr);
    EXPECT_EQ((**desc).idSize, 86);
    const Fixed gamma = 0x00018000;
    ASSERT_EQ(
        ICMImageDescriptionSetProperty(desc, kQTPropertyClass_ImageDescription, FourCC("gama"), 4, &gamma),
        noErr);
    const uint32_t other = 0xDEADBEEF;
    ASSERT_EQ(
        ICMImageDescriptionSetProperty(desc, kQTPropertyClass_ImageDescription, FourCC("othr"), 4, &other),
        noErr);
    const Fixed zero = 0;
    ASSERT_EQ(
        ICMImageDescriptionSetProperty(desc, kQTPropertyClass_ImageDescription, FourCC("gama"), 4, &zero),
        noErr);
    EXPECT_EQ((**desc).idSize, 86 + 2 * 12); // replaced, not appended
    EXPECT_EQ((**desc).width, 640);
    Fixed read = 1;
    ByteCount used = 0;
    EXPECT_EQ(ICMImageDescriptionGetProperty(desc, kQTPropertyClass_ImageDescription, FourCC("gama"), 4,
                                             &read, &used),
              noErr);
    EXPECT_EQ(read, 0);
    EXPECT_EQ(used, 4u);
    EXPECT_EQ(ICMImageDescriptionGetProperty(desc, kQTPropertyClass_ImageDescription, FourCC("none"), 4,
                                             &read, nullptr),
              kQTPropertyNotSupportedErr);
    EXPECT_EQ(ICMImageDescriptionSetProperty(desc, FourCC("xxxx"), FourCC("gama"), 4, &zero), paramErr);
    EXPECT_EQ(
        ICMImageDescriptionSetProperty(nullptr, kQTPropertyClass_ImageDescription, FourCC("gama"), 4, &zero),
        paramErr);
    DisposeHandle(reinterpret_cast<Handle>(desc));

    ICMMutableEncodedFrameRef frame = nullptr;
    EXPECT_EQ(ICMEncodedFrameCreateMutable(nullptr, nullptr, 16, &frame), paramErr);
    ICMCompressionSessionOptionsRef options = nullptr;
    ASSERT_EQ(ICMCompressionSessionOptionsCreate(kCFAllocatorDefault, &options), noErr);
    EXPECT_EQ(ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                                      FourCC("nope"), sizeof(Handle), &desc),
              paramErr);
    ICMCompressionSessionOptionsRelease(options);
    // A session needs a size and an output record before it looks for a compressor.
    ICMEncodedFrameOutputRecord output = {};
    ICMCompressionSessionRef session = nullptr;
    EXPECT_EQ(ICMCompressionSessionCreate(kCFAllocatorDefault, 0, 10, FourCC("QZKT"), 600, nullptr, nullptr,
                                          &output, &session),
              paramErr);
    EXPECT_EQ(ICMCompressionSessionCreate(kCFAllocatorDefault, 10, 10, FourCC("none"), 600, nullptr, nullptr,
                                          &output, &session),
              invalidComponentID);
    EXPECT_EQ(session, nullptr);
}
