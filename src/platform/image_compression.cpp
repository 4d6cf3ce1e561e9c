// Compression session options, image description properties, sessions and encoded frames.
#include "image_compression.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "component_manager.h"
#include "little_endian.h"
#include "memory_manager.h"

struct ICMCompressionSessionOptionsObject : CFObject {
    ICMCompressionSessionOptionsObject() : CFObject(kICMCompressionSessionOptionsTypeIDValue) {}
    ~ICMCompressionSessionOptionsObject() override { DisposeHandle(settings); }
    int32_t maxKeyFrameInterval = 0;
    Handle settings = nullptr;
};

struct ICMCompressionSessionObject : CFObject {
    ICMCompressionSessionObject() : CFObject(kICMCompressionSessionTypeIDValue) {}
    ~ICMCompressionSessionObject() override {
        if (compressor != nullptr) CloseComponent(compressor);
        if (attributes != nullptr) CFRelease(attributes);
        ReleaseObject(options);
    }
    ComponentInstance compressor = nullptr;
    int32_t width = 0;
    int32_t height = 0;
    ICMEncodedFrameOutputRecord output{};
    CFDictionaryRef attributes = nullptr;
    ICMCompressionSessionOptionsRef options = nullptr;
    long framesEncoded = 0;
};

struct ICMCompressorSourceFrameObject : CFObject {
    ICMCompressorSourceFrameObject() : CFObject(kICMCompressorSourceFrameTypeIDValue) {}
    ~ICMCompressorSourceFrameObject() override { CVPixelBufferRelease(pixelBuffer); }
    CVPixelBufferRef pixelBuffer = nullptr;
    long frameNumber = 0;
    void* refCon = nullptr;
};

struct ICMEncodedFrameObject : CFObject {
    ICMEncodedFrameObject() : CFObject(kICMEncodedFrameTypeIDValue) {}
    ~ICMEncodedFrameObject() override { std::free(data); }
    uint8_t* data = nullptr;
    ByteCount bufferSize = 0;
    ByteCount dataSize = 0;
    MediaSampleFlags sampleFlags = 0;
    ICMFrameType frameType = kICMFrameType_Unknown;
};

namespace {

const uint32_t kAtomHeaderSize = 8;

Handle CopyHandle(Handle source) {
    if (source == nullptr) return nullptr;
    const Size size = GetHandleSize(source);
    Handle copy = NewHandle(size);
    if (copy != nullptr) std::memcpy(*copy, *source, static_cast<size_t>(size));
    return copy;
}

// The extension atoms of a description, as (type, data) pairs; stops at the first atom that
// does not fit the handle.
struct Atom {
    uint32_t type;
    std::vector<uint8_t> data;
};

std::vector<Atom> ReadAtoms(ImageDescriptionHandle desc) {
    std::vector<Atom> atoms;
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(*desc);
    const size_t handleSize = static_cast<size_t>(GetHandleSize(reinterpret_cast<Handle>(desc)));
    const size_t end = std::min(handleSize, static_cast<size_t>(std::max<int32_t>((*desc)->idSize, 0)));
    size_t at = sizeof(ImageDescription);
    while (at < end && end - at >= kAtomHeaderSize) {
        const uint32_t size = ReadLE32(bytes + at);
        if (size < kAtomHeaderSize || size > end - at) break;
        atoms.push_back({ReadLE32(bytes + at + 4),
                         std::vector<uint8_t>(bytes + at + kAtomHeaderSize, bytes + at + size)});
        at += size;
    }
    return atoms;
}

OSStatus WriteAtoms(ImageDescriptionHandle desc, const std::vector<Atom>& atoms) {
    size_t total = sizeof(ImageDescription);
    for (const Atom& atom : atoms)
        total += kAtomHeaderSize + atom.data.size();
    if (total > INT32_MAX) return paramErr;
    SetHandleSize(reinterpret_cast<Handle>(desc), static_cast<Size>(total));
    if (MemError() != noErr) return MemError();
    uint8_t* bytes = reinterpret_cast<uint8_t*>(*desc);
    size_t at = sizeof(ImageDescription);
    for (const Atom& atom : atoms) {
        WriteLE32(bytes + at, static_cast<uint32_t>(kAtomHeaderSize + atom.data.size()));
        WriteLE32(bytes + at + 4, atom.type);
        if (!atom.data.empty()) std::memcpy(bytes + at + kAtomHeaderSize, atom.data.data(), atom.data.size());
        at += kAtomHeaderSize + atom.data.size();
    }
    (*desc)->idSize = static_cast<int32_t>(total);
    return noErr;
}

} // namespace

// ---- Session options -----------------------------------------------------------------------

OSStatus ICMCompressionSessionOptionsCreate(CFAllocatorRef, ICMCompressionSessionOptionsRef* options) {
    if (options == nullptr) return paramErr;
    *options = new (std::nothrow) ICMCompressionSessionOptionsObject();
    return *options == nullptr ? memFullErr : noErr;
}

ICMCompressionSessionOptionsRef ICMCompressionSessionOptionsRetain(ICMCompressionSessionOptionsRef options) {
    RetainObject(options);
    return options;
}

void ICMCompressionSessionOptionsRelease(ICMCompressionSessionOptionsRef options) {
    ReleaseObject(options);
}

OSStatus ICMCompressionSessionOptionsSetMaxKeyFrameInterval(ICMCompressionSessionOptionsRef options,
                                                            int32_t interval) {
    if (options == nullptr) return paramErr;
    options->maxKeyFrameInterval = interval;
    return noErr;
}

int32_t ICMCompressionSessionOptionsGetMaxKeyFrameInterval(ICMCompressionSessionOptionsRef options) {
    return options == nullptr ? 0 : options->maxKeyFrameInterval;
}

OSStatus ICMCompressionSessionOptionsSetProperty(ICMCompressionSessionOptionsRef options,
                                                 ComponentPropertyClass propClass, ComponentPropertyID propID,
                                                 ByteCount size, const void* value) {
    if (options == nullptr || value == nullptr ||
        propClass != kQTPropertyClass_ICMCompressionSessionOptions ||
        propID != kICMCompressionSessionOptionsPropertyID_CompressorSettings || size != sizeof(Handle))
        return paramErr;
    Handle copy = CopyHandle(*static_cast<const Handle*>(value));
    if (copy == nullptr && *static_cast<const Handle*>(value) != nullptr) return memFullErr;
    DisposeHandle(options->settings);
    options->settings = copy;
    return noErr;
}

// ---- Image descriptions --------------------------------------------------------------------

ImageDescriptionHandle NewImageDescription(CodecType cType, int16_t width, int16_t height) {
    auto desc = reinterpret_cast<ImageDescriptionHandle>(NewHandleClear(sizeof(ImageDescription)));
    if (desc == nullptr) return nullptr;
    ImageDescription& d = **desc;
    d.idSize = sizeof(ImageDescription);
    d.cType = cType;
    d.width = width;
    d.height = height;
    d.hRes = d.vRes = 72 << 16;
    d.frameCount = 1;
    d.depth = 32;
    d.clutID = -1;
    return desc;
}

OSStatus ICMImageDescriptionSetProperty(ImageDescriptionHandle desc, ComponentPropertyClass propClass,
                                        ComponentPropertyID propID, ByteCount size, const void* value) {
    if (desc == nullptr || (value == nullptr && size > 0) || propClass != kQTPropertyClass_ImageDescription)
        return paramErr;
    std::vector<Atom> atoms = ReadAtoms(desc);
    const auto* bytes = static_cast<const uint8_t*>(value);
    Atom* existing = nullptr;
    for (Atom& atom : atoms)
        if (atom.type == propID) existing = &atom;
    if (existing == nullptr) {
        atoms.push_back({propID, {}});
        existing = &atoms.back();
    }
    existing->data.assign(bytes, bytes + size);
    return WriteAtoms(desc, atoms);
}

OSStatus ICMImageDescriptionGetProperty(ImageDescriptionHandle desc, ComponentPropertyClass propClass,
                                        ComponentPropertyID propID, ByteCount size, void* value,
                                        ByteCount* sizeUsed) {
    if (desc == nullptr || value == nullptr || propClass != kQTPropertyClass_ImageDescription)
        return paramErr;
    for (const Atom& atom : ReadAtoms(desc)) {
        if (atom.type != propID) continue;
        const size_t copied = std::min<size_t>(size, atom.data.size());
        if (copied > 0) std::memcpy(value, atom.data.data(), copied);
        if (sizeUsed != nullptr) *sizeUsed = static_cast<ByteCount>(atom.data.size());
        return noErr;
    }
    return kQTPropertyNotSupportedErr;
}

// ---- Sessions ------------------------------------------------------------------------------

OSStatus ICMCompressionSessionCreate(CFAllocatorRef, int32_t width, int32_t height, CodecType codecType,
                                     int32_t, ICMCompressionSessionOptionsRef options, CFDictionaryRef,
                                     ICMEncodedFrameOutputRecord* encodedFrameOutputRecord,
                                     ICMCompressionSessionRef* sessionOut) {
    if (sessionOut == nullptr) return paramErr;
    *sessionOut = nullptr;
    if (encodedFrameOutputRecord == nullptr || width < 1 || height < 1 || width > INT16_MAX ||
        height > INT16_MAX)
        return paramErr;
    auto* session = new (std::nothrow) ICMCompressionSessionObject();
    if (session == nullptr) return memFullErr;
    session->width = width;
    session->height = height;
    session->output = *encodedFrameOutputRecord;
    session->options = ICMCompressionSessionOptionsRetain(options);

    OSStatus status = OpenADefaultComponent(compressorComponentType, codecType, &session->compressor);
    if (status == noErr && options != nullptr && options->settings != nullptr)
        status = ImageCodecSetSettings(session->compressor, options->settings);
    if (status == noErr) {
        ImageDescriptionHandle desc =
            NewImageDescription(codecType, static_cast<int16_t>(width), static_cast<int16_t>(height));
        if (desc == nullptr) {
            status = memFullErr;
        } else {
            status = ImageCodecPrepareToCompressFrames(session->compressor, session, options, desc, nullptr,
                                                       &session->attributes);
            DisposeHandle(reinterpret_cast<Handle>(desc));
        }
    }
    if (status != noErr) {
        ICMCompressionSessionRelease(session);
        return status;
    }
    *sessionOut = session;
    return noErr;
}

ICMCompressionSessionRef ICMCompressionSessionRetain(ICMCompressionSessionRef session) {
    RetainObject(session);
    return session;
}

void ICMCompressionSessionRelease(ICMCompressionSessionRef session) {
    ReleaseObject(session);
}

OSStatus ICMCompressionSessionEncodeFrame(ICMCompressionSessionRef session, CVPixelBufferRef pixelBuffer,
                                          TimeValue64, TimeValue64, uint32_t, void*, void*,
                                          void* sourceFrameRefCon) {
    if (session == nullptr || pixelBuffer == nullptr) return paramErr;
    // The compressor sized its frame buffers for the prepared size: anything else is refused.
    if (CVPixelBufferGetPixelFormatType(pixelBuffer) != k32ARGBPixelFormat ||
        CVPixelBufferGetWidth(pixelBuffer) != static_cast<size_t>(session->width) ||
        CVPixelBufferGetHeight(pixelBuffer) != static_cast<size_t>(session->height))
        return paramErr;
    auto* sourceFrame = new (std::nothrow) ICMCompressorSourceFrameObject();
    if (sourceFrame == nullptr) return memFullErr;
    sourceFrame->pixelBuffer = CVPixelBufferRetain(pixelBuffer);
    sourceFrame->frameNumber = session->framesEncoded++;
    sourceFrame->refCon = sourceFrameRefCon;
    const OSStatus status = ImageCodecEncodeFrame(session->compressor, sourceFrame, 0);
    ReleaseObject(sourceFrame);
    return status;
}

OSStatus ICMCompressionSessionCompleteFrames(ICMCompressionSessionRef session, Boolean, TimeValue64,
                                             TimeValue64) {
    if (session == nullptr) return paramErr;
    return ImageCodecCompleteFrame(session->compressor, nullptr, 0);
}

CFDictionaryRef ICMCompressionSessionGetPixelBufferAttributes(ICMCompressionSessionRef session) {
    return session == nullptr ? nullptr : session->attributes;
}

ComponentInstance ICMCompressionSessionGetCompressorInstance(ICMCompressionSessionRef session) {
    return session == nullptr ? nullptr : session->compressor;
}

// ---- Compressor side -----------------------------------------------------------------------

CVPixelBufferRef ICMCompressorSourceFrameGetPixelBuffer(ICMCompressorSourceFrameRef sourceFrame) {
    return sourceFrame == nullptr ? nullptr : sourceFrame->pixelBuffer;
}

OSStatus ICMEncodedFrameCreateMutable(ICMCompressorSessionRef session, ICMCompressorSourceFrameRef,
                                      ByteCount bufferSize, ICMMutableEncodedFrameRef* frameOut) {
    if (frameOut == nullptr) return paramErr;
    *frameOut = nullptr;
    if (session == nullptr) return paramErr;
    auto* frame = new (std::nothrow) ICMEncodedFrameObject();
    // One spare byte so an empty frame still owns a buffer.
    if (frame != nullptr)
        frame->data = static_cast<uint8_t*>(std::malloc(static_cast<size_t>(bufferSize) + 1));
    if (frame == nullptr || frame->data == nullptr) {
        delete frame;
        return memFullErr;
    }
    frame->bufferSize = bufferSize;
    *frameOut = frame;
    return noErr;
}

ICMEncodedFrameRef ICMEncodedFrameRetain(ICMEncodedFrameRef frame) {
    RetainObject(frame);
    return frame;
}

void ICMEncodedFrameRelease(ICMEncodedFrameRef frame) {
    ReleaseObject(frame);
}

uint8_t* ICMEncodedFrameGetDataPtr(ICMMutableEncodedFrameRef frame) {
    return frame == nullptr ? nullptr : frame->data;
}
ByteCount ICMEncodedFrameGetBufferSize(ICMEncodedFrameRef frame) {
    return frame == nullptr ? 0 : frame->bufferSize;
}
ByteCount ICMEncodedFrameGetDataSize(ICMEncodedFrameRef frame) {
    return frame == nullptr ? 0 : frame->dataSize;
}

OSStatus ICMEncodedFrameSetDataSize(ICMMutableEncodedFrameRef frame, ByteCount dataSize) {
    if (frame == nullptr || dataSize > frame->bufferSize) return paramErr;
    frame->dataSize = dataSize;
    return noErr;
}

OSStatus ICMEncodedFrameSetMediaSampleFlags(ICMMutableEncodedFrameRef frame, MediaSampleFlags flags) {
    if (frame == nullptr) return paramErr;
    frame->sampleFlags = flags;
    return noErr;
}

MediaSampleFlags ICMEncodedFrameGetMediaSampleFlags(ICMEncodedFrameRef frame) {
    return frame == nullptr ? 0 : frame->sampleFlags;
}

OSStatus ICMEncodedFrameSetFrameType(ICMMutableEncodedFrameRef frame, ICMFrameType frameType) {
    if (frame == nullptr) return paramErr;
    frame->frameType = frameType;
    return noErr;
}

ICMFrameType ICMEncodedFrameGetFrameType(ICMEncodedFrameRef frame) {
    return frame == nullptr ? static_cast<ICMFrameType>(kICMFrameType_Unknown) : frame->frameType;
}

OSStatus ICMCompressorSessionEmitEncodedFrame(ICMCompressorSessionRef session,
                                              ICMMutableEncodedFrameRef frame, long,
                                              ICMCompressorSourceFrameRef*) {
    if (session == nullptr || frame == nullptr) return paramErr;
    if (session->output.encodedFrameOutputCallback != nullptr)
        session->output.encodedFrameOutputCallback(session->output.encodedFrameOutputRefCon, session, noErr,
                                                   frame, nullptr);
    return noErr;
}
