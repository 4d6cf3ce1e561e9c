// The host compression entry over the Image Compression Manager's session.
#include "host_compression.h"

#include "host_checks.h"

#include <new>

#include "platform/component_manager.h"
#include "platform/image_compression.h"
#include "platform/memory_manager.h"
#include "stream/kel_header.h"

struct HostCompression {
    ICMCompressionSessionRef session = nullptr;
    int width = 0;
    int height = 0;
    HostEncodedFrameCallback onFrame = nullptr;
    void* refCon = nullptr;
    size_t maxFrameSize = 0;
};

namespace {

void DeliverFrame(void* refCon, ICMCompressionSessionRef, OSStatus error, ICMEncodedFrameRef frame, void*) {
    auto* compression = static_cast<HostCompression*>(refCon);
    if (error != noErr || frame == nullptr) return;
    compression->onFrame(compression->refCon, ICMEncodedFrameGetDataPtr(frame),
                         ICMEncodedFrameGetDataSize(frame));
}

Handle NewSettingsHandle(const KELSettingsValues& values) {
    Handle handle = NewHandle(static_cast<Size>(kKELSettingsHandleSize));
    if (handle != nullptr) WriteKELSettingsRecord(reinterpret_cast<uint8_t*>(*handle), values);
    return handle;
}

bool ReadSettingsHandle(Handle handle, KELSettingsValues* values) {
    return ReadKELSettingsRecord(reinterpret_cast<const uint8_t*>(*handle),
                                 static_cast<size_t>(GetHandleSize(handle)), values);
}

// Opens a compressor instance, runs use on it with a fresh empty handle, and closes both.
template <typename Use> OSStatus WithCompressor(Use use) {
    ComponentInstance compressor = nullptr;
    OSStatus status = OpenADefaultComponent(compressorComponentType, kKELCodecType, &compressor);
    if (status != noErr) return status;
    Handle handle = NewHandle(0);
    status = handle == nullptr ? memFullErr : use(compressor, handle);
    DisposeHandle(handle);
    CloseComponent(compressor);
    return status;
}

} // namespace

OSStatus HostCompressionCreate(int width, int height, const KELSettingsValues* settings,
                               HostEncodedFrameCallback onFrame, void* refCon,
                               HostCompression** compressionOut) {
    if (compressionOut == nullptr) return paramErr;
    *compressionOut = nullptr;
    if (onFrame == nullptr || !IsHostFrameSide(width) || !IsHostFrameSide(height)) return paramErr;
    auto* compression = new (std::nothrow) HostCompression();
    if (compression == nullptr) return memFullErr;
    compression->width = width;
    compression->height = height;
    compression->onFrame = onFrame;
    compression->refCon = refCon;

    ICMCompressionSessionOptionsRef options = nullptr;
    OSStatus status = ICMCompressionSessionOptionsCreate(kCFAllocatorDefault, &options);
    if (status == noErr && settings != nullptr) {
        Handle handle = NewSettingsHandle(*settings);
        status = handle == nullptr ? memFullErr
                                   : ICMCompressionSessionOptionsSetProperty(
                                         options, kQTPropertyClass_ICMCompressionSessionOptions,
                                         kICMCompressionSessionOptionsPropertyID_CompressorSettings,
                                         sizeof handle, &handle);
        DisposeHandle(handle);
    }
    if (status == noErr) {
        ICMEncodedFrameOutputRecord output = {DeliverFrame, compression, kCFAllocatorDefault};
        status = ICMCompressionSessionCreate(kCFAllocatorDefault, width, height, kKELCodecType, 600, options,
                                             nullptr, &output, &compression->session);
    }
    ICMCompressionSessionOptionsRelease(options);
    if (status == noErr) {
        // The bound the compressor sized its frames with, asked of the same instance.
        Rect bounds = {0, 0, static_cast<int16_t>(height), static_cast<int16_t>(width)};
        int32_t maxSize = 0;
        status =
            ImageCodecGetMaxCompressionSize(ICMCompressionSessionGetCompressorInstance(compression->session),
                                            nullptr, &bounds, 32, 0, &maxSize);
        compression->maxFrameSize = static_cast<size_t>(maxSize);
    }
    if (status != noErr) {
        HostCompressionClose(compression);
        return status;
    }
    *compressionOut = compression;
    return noErr;
}

OSStatus HostCompressionEncodeFrame(HostCompression* compression, const uint8_t* argb, size_t rowBytes) {
    if (compression == nullptr || argb == nullptr) return paramErr;
    rowBytes = HostRowBytes(rowBytes, compression->width);
    if (rowBytes == 0) return paramErr;
    CVPixelBufferRef pixelBuffer = nullptr;
    // The encoder only reads the pixels; the buffer wraps them without a copy.
    OSStatus status = CVPixelBufferCreateWithBytes(
        kCFAllocatorDefault, static_cast<size_t>(compression->width),
        static_cast<size_t>(compression->height), k32ARGBPixelFormat, const_cast<uint8_t*>(argb), rowBytes,
        nullptr, nullptr, nullptr, &pixelBuffer);
    if (status != kCVReturnSuccess) return status;
    status = ICMCompressionSessionEncodeFrame(compression->session, pixelBuffer, 0, 0, 0, nullptr, nullptr,
                                              nullptr);
    CVPixelBufferRelease(pixelBuffer);
    return status;
}

size_t HostCompressionMaxFrameSize(const HostCompression* compression) {
    return compression == nullptr ? 0 : compression->maxFrameSize;
}

void HostCompressionClose(HostCompression* compression) {
    if (compression == nullptr) return;
    ICMCompressionSessionRelease(compression->session);
    delete compression;
}

OSStatus HostReadCompressorSettings(KELSettingsValues* settings) {
    if (settings == nullptr) return paramErr;
    return WithCompressor([settings](ComponentInstance compressor, Handle handle) {
        // The compressor reads its preferences file on the first query that needs settings.
        Rect bounds = {0, 0, 4, 4};
        int32_t size = 0;
        OSStatus status = ImageCodecGetMaxCompressionSize(compressor, nullptr, &bounds, 32, 0, &size);
        if (status == noErr) status = ImageCodecGetSettings(compressor, handle);
        if (status == noErr && !ReadSettingsHandle(handle, settings)) status = paramErr;
        return status;
    });
}

OSStatus HostRequestCompressorSettings(KELSettingsValues* settings, bool* confirmed) {
    if (settings == nullptr || confirmed == nullptr) return paramErr;
    *confirmed = false;
    OSStatus status = WithCompressor([confirmed, settings](ComponentInstance compressor, Handle handle) {
        const OSStatus result = ImageCodecRequestSettings(compressor, handle, nullptr, nullptr);
        // The compressor fills the handle only on OK.
        if (result == noErr) *confirmed = ReadSettingsHandle(handle, settings);
        return result;
    });
    if (status == noErr && !*confirmed) status = HostReadCompressorSettings(settings);
    return status;
}
