// Core Video pixel buffers: 32-bit ARGB images (bytes A, R, G, B per pixel) with a row stride,
// either owned by the buffer or wrapping the caller's memory.
//
// A pixel buffer is a Core Foundation object: CVPixelBufferRelease (or CFRelease) drops the
// creator's reference. Base address, width, height and stride may be read at any time; the
// lock/unlock pair is counted and must balance, as on the original system.
#pragma once

#include <cstddef>

#include "core_foundation.h"
#include "mac_types.h"

typedef int32_t CVReturn;
typedef uint64_t CVOptionFlags;
typedef struct CVPixelBufferObject* CVPixelBufferRef;
typedef void (*CVPixelBufferReleaseBytesCallback)(void* releaseRefCon, const void* baseAddress);

enum : CVReturn {
    kCVReturnSuccess = 0,
    kCVReturnError = -6660,
    kCVReturnInvalidArgument = -6661,
    kCVReturnAllocationFailed = -6662,
    kCVReturnInvalidPixelFormat = -6680,
    kCVReturnInvalidSize = -6681,
};

// The only pixel format offered: 32-bit ARGB, the number 32.
const OSType k32ARGBPixelFormat = 32;
const OSType kCVPixelFormatType_32ARGB = k32ARGBPixelFormat;

// Pixel-buffer attribute keys (constant strings).
extern const CFStringRef kCVPixelBufferPixelFormatTypeKey;
extern const CFStringRef kCVPixelBufferWidthKey;
extern const CFStringRef kCVPixelBufferHeightKey;

// A new zero-filled buffer of width x height pixels whose rows are width * 4 bytes apart.
// kCVReturnInvalidSize for a side below 1, kCVReturnInvalidPixelFormat for any format but 32ARGB,
// kCVReturnInvalidArgument for a null out pointer.
CVReturn CVPixelBufferCreate(CFAllocatorRef allocator, size_t width, size_t height, OSType pixelFormat,
                             CFDictionaryRef attributes, CVPixelBufferRef* pixelBufferOut);

// Wraps the caller's pixels without copying; rows are bytesPerRow apart (at least width * 4).
// The memory must outlive the buffer; releaseCallback (may be null) is called when it goes.
CVReturn CVPixelBufferCreateWithBytes(CFAllocatorRef allocator, size_t width, size_t height,
                                      OSType pixelFormat, void* baseAddress, size_t bytesPerRow,
                                      CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                      CFDictionaryRef attributes, CVPixelBufferRef* pixelBufferOut);

CVPixelBufferRef CVPixelBufferRetain(CVPixelBufferRef buffer);
void CVPixelBufferRelease(CVPixelBufferRef buffer);

CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef buffer, CVOptionFlags lockFlags);
// kCVReturnError when the buffer is not locked.
CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef buffer, CVOptionFlags unlockFlags);
void* CVPixelBufferGetBaseAddress(CVPixelBufferRef buffer);
size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer);
size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer);
size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef buffer);
OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef buffer);
// How many locks are outstanding (for hosts and tests checking that locks balance).
int CVPixelBufferGetLockCount(CVPixelBufferRef buffer);
