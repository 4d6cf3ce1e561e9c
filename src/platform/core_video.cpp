// Core Video 32-bit ARGB pixel buffers.
#include "core_video.h"

#include <cstdlib>
#include <new>

struct CVPixelBufferObject : CFObject {
    CVPixelBufferObject() : CFObject(kCVPixelBufferTypeIDValue) {}
    ~CVPixelBufferObject() override {
        if (releaseCallback != nullptr) releaseCallback(releaseRefCon, base);
        if (ownsPixels) std::free(base);
    }
    void* base = nullptr;
    size_t width = 0;
    size_t height = 0;
    size_t bytesPerRow = 0;
    bool ownsPixels = false;
    CVPixelBufferReleaseBytesCallback releaseCallback = nullptr;
    void* releaseRefCon = nullptr;
    std::atomic<int> lockCount{0};
};

const CFStringRef kCVPixelBufferPixelFormatTypeKey = CFSTR("PixelFormatType");
const CFStringRef kCVPixelBufferWidthKey = CFSTR("Width");
const CFStringRef kCVPixelBufferHeightKey = CFSTR("Height");

namespace {

CVReturn CheckGeometry(size_t width, size_t height, OSType pixelFormat, CVPixelBufferRef* out) {
    if (out == nullptr) return kCVReturnInvalidArgument;
    *out = nullptr;
    if (pixelFormat != k32ARGBPixelFormat) return kCVReturnInvalidPixelFormat;
    // Both sides must be at least 1 and fit the codec's signed 32-bit sizes and row strides.
    if (width < 1 || height < 1 || width > 0x1FFFFFFF || height > 0x7FFFFFFF) return kCVReturnInvalidSize;
    return kCVReturnSuccess;
}

} // namespace

CVReturn CVPixelBufferCreate(CFAllocatorRef, size_t width, size_t height, OSType pixelFormat, CFDictionaryRef,
                             CVPixelBufferRef* pixelBufferOut) {
    const CVReturn status = CheckGeometry(width, height, pixelFormat, pixelBufferOut);
    if (status != kCVReturnSuccess) return status;
    auto* buffer = new (std::nothrow) CVPixelBufferObject();
    if (buffer == nullptr) return kCVReturnAllocationFailed;
    buffer->bytesPerRow = width * 4;
    if (height > SIZE_MAX / buffer->bytesPerRow) {
        delete buffer;
        return kCVReturnInvalidSize;
    }
    buffer->base = std::calloc(height, buffer->bytesPerRow);
    if (buffer->base == nullptr) {
        delete buffer;
        return kCVReturnAllocationFailed;
    }
    buffer->ownsPixels = true;
    buffer->width = width;
    buffer->height = height;
    *pixelBufferOut = buffer;
    return kCVReturnSuccess;
}

CVReturn CVPixelBufferCreateWithBytes(CFAllocatorRef, size_t width, size_t height, OSType pixelFormat,
                                      void* baseAddress, size_t bytesPerRow,
                                      CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                      CFDictionaryRef, CVPixelBufferRef* pixelBufferOut) {
    const CVReturn status = CheckGeometry(width, height, pixelFormat, pixelBufferOut);
    if (status != kCVReturnSuccess) return status;
    if (baseAddress == nullptr || bytesPerRow < width * 4) return kCVReturnInvalidArgument;
    auto* buffer = new (std::nothrow) CVPixelBufferObject();
    if (buffer == nullptr) return kCVReturnAllocationFailed;
    buffer->base = baseAddress;
    buffer->width = width;
    buffer->height = height;
    buffer->bytesPerRow = bytesPerRow;
    buffer->releaseCallback = releaseCallback;
    buffer->releaseRefCon = releaseRefCon;
    *pixelBufferOut = buffer;
    return kCVReturnSuccess;
}

CVPixelBufferRef CVPixelBufferRetain(CVPixelBufferRef buffer) {
    RetainObject(buffer);
    return buffer;
}

void CVPixelBufferRelease(CVPixelBufferRef buffer) {
    ReleaseObject(buffer);
}

CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef buffer, CVOptionFlags) {
    if (buffer == nullptr) return kCVReturnInvalidArgument;
    buffer->lockCount.fetch_add(1);
    return kCVReturnSuccess;
}

CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef buffer, CVOptionFlags) {
    if (buffer == nullptr) return kCVReturnInvalidArgument;
    int locks = buffer->lockCount.load();
    while (locks > 0 && !buffer->lockCount.compare_exchange_weak(locks, locks - 1)) {
    }
    return locks > 0 ? kCVReturnSuccess : kCVReturnError;
}

void* CVPixelBufferGetBaseAddress(CVPixelBufferRef buffer) {
    return buffer == nullptr ? nullptr : buffer->base;
}
size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer) {
    return buffer == nullptr ? 0 : buffer->width;
}
size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer) {
    return buffer == nullptr ? 0 : buffer->height;
}
size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef buffer) {
    return buffer == nullptr ? 0 : buffer->bytesPerRow;
}
OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef buffer) {
    return buffer == nullptr ? 0 : k32ARGBPixelFormat;
}
int CVPixelBufferGetLockCount(CVPixelBufferRef buffer) {
    return buffer == nullptr ? 0 : buffer->lockCount.load();
}
