// The compressor's entry point, selector table and small handlers.
#include "compressor_component.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "compressor_bundle.h"
#include "compressor_settings.h"
#include "platform/image_compression.h"
#include "platform/memory_manager.h"
#include "platform/resource_manager.h"
#include "resources/compressor_resources.h"
#include "stream/kel_header.h"
#include "stream/kel_settings.h"

namespace {

const int kStandardSelectorCount = 8; // -8 .. -1
const int kCodecSelectorCount = 61;   // 0 .. 60
const ComponentResult kCompressorVersion = 0x10001;

struct DispatchTables {
    ComponentDispatchEntry standard[kStandardSelectorCount];
    ComponentDispatchEntry codec[kCodecSelectorCount];
};

const ComponentDispatchEntry kNotImplemented = {kComponentNotImplemented, 0};

// Procedure-information words spell out each handler's parameter list: result and storage are
// words (0xF0), then two bits per parameter (3 a word, 2 a 16-bit value).
const DispatchTables& Tables() {
    static const DispatchTables tables = [] {
        DispatchTables t;
        for (auto& entry : t.standard)
            entry = kNotImplemented;
        for (auto& entry : t.codec)
            entry = kNotImplemented;
        t.standard[kComponentOpenSelector + 8] = {ComponentFunction<KEL_COpen>(), 0x3F0};
        t.standard[kComponentCloseSelector + 8] = {ComponentFunction<KEL_CClose>(), 0x3F0};
        t.standard[kComponentCanDoSelector + 8] = {ComponentFunction<KEL_CCanDo>(), 0x2F0};
        t.standard[kComponentVersionSelector + 8] = {ComponentFunction<KEL_CVersion>(), 0xF0};
        t.standard[kComponentTargetSelector + 8] = {ComponentFunction<KEL_CTarget>(), 0x3F0};
        t.codec[kImageCodecGetCodecInfoSelector] = {ComponentFunction<KEL_CGetCodecInfo>(), 0x3F0};
        t.codec[kImageCodecGetMaxCompressionSizeSelector] = {ComponentFunction<KEL_CGetMaxCompressionSize>(),
                                                             0x3EFF0};
        t.codec[kImageCodecRequestSettingsSelector] = {ComponentFunction<KEL_CRequestSettings>(), 0x3FF0};
        t.codec[kImageCodecGetSettingsSelector] = {ComponentFunction<KEL_CGetSettings>(), 0x3F0};
        t.codec[kImageCodecSetSettingsSelector] = {ComponentFunction<KEL_CSetSettings>(), 0x3F0};
        t.codec[kImageCodecGetDITLForSizeSelector] = {ComponentFunction<KEL_CGetDITLForSize>(), 0xFF0};
        t.codec[kImageCodecDITLInstallSelector] = {ComponentFunction<KEL_CDITLInstall>(), 0xBF0};
        t.codec[kImageCodecDITLEventSelector] = {ComponentFunction<KEL_CDITLEvent>(), 0x3FBF0};
        t.codec[kImageCodecDITLItemSelector] = {ComponentFunction<KEL_CDITLItem>(), 0x2BF0};
        t.codec[kImageCodecDITLRemoveSelector] = {ComponentFunction<KEL_CDITLRemove>(), 0xBF0};
        t.codec[kImageCodecDITLValidateInputSelector] = {ComponentFunction<KEL_CDITLValidateInput>(), 0x3F0};
        t.codec[kImageCodecPrepareToCompressFramesSelector] = {
            ComponentFunction<KEL_CPrepareToCompressFrames>(), 0x3FFF0};
        t.codec[kImageCodecEncodeFrameSelector] = {ComponentFunction<KEL_CEncodeFrame>(), 0xFF0};
        t.codec[kImageCodecCompleteFrameSelector] = {ComponentFunction<KEL_CCompleteFrame>(), 0xFF0};
        return t;
    }();
    return tables;
}

// The table entry of a selector, or null when the selector lies outside both tables.
const ComponentDispatchEntry* FindEntry(int16_t selector) {
    const int range = selector >> 8;
    if (range < 0) return selector >= -kStandardSelectorCount ? &Tables().standard[selector + 8] : nullptr;
    if (range > 0) return nullptr;
    const int index = selector & 0xFF;
    return index < kCodecSelectorCount ? &Tables().codec[index] : nullptr;
}

bool IsServed(const ComponentDispatchEntry* entry) {
    return entry != nullptr && entry->function != nullptr && entry->function != kComponentNotImplemented &&
           entry->procInfo != 0;
}

} // namespace

extern "C" ComponentResult KEL_CComponentDispatch(ComponentParameters* params, Handle storage) {
    if (params == nullptr) return paramErr;
    const ComponentDispatchEntry* entry = FindEntry(params->what);
    if (entry == nullptr || entry->function == nullptr) return badComponentSelector;
    return CallComponentDispatchEntry(*entry, params, storage);
}

Component ZQN_CompressorRegister() {
    static Component component = [] {
        ComponentDescription description = {compressorComponentType, kKELCodecType, FourCC("appl"),
                                            codecInfoDoes32, 0};
        Component registered = RegisterComponentWithResources(&description, KEL_CComponentDispatch, "QZKT",
                                                              CompressorResources());
        SetComponentBundleLoader(registered, LoadCompressorBundle);
        return registered;
    }();
    return component;
}

ComponentResult KEL_COpen(KELCompressorGlobalsPtr, ComponentInstance self) {
    auto* globals = static_cast<KELCompressorGlobals*>(std::calloc(1, sizeof(KELCompressorGlobals)));
    if (globals == nullptr) return memFullErr;
    SetComponentInstanceStorage(self, reinterpret_cast<Handle>(globals));
    globals->self = self;
    globals->target = self;
    SetDefaultSettings(globals);
    return noErr;
}

ComponentResult KEL_CClose(KELCompressorGlobalsPtr globals, ComponentInstance) {
    if (globals == nullptr) return noErr;
    for (InternalPixelBuffer& buffer : globals->buffers)
        freeInternalPixelBuffer(&buffer);
    ICMCompressionSessionOptionsRelease(globals->sessionOptions);
    std::free(globals);
    return noErr;
}

ComponentResult KEL_CCanDo(KELCompressorGlobalsPtr, int16_t selector) {
    return IsServed(FindEntry(selector)) ? 1 : 0;
}

ComponentResult KEL_CVersion(KELCompressorGlobalsPtr) {
    return kCompressorVersion;
}

ComponentResult KEL_CTarget(KELCompressorGlobalsPtr globals, ComponentInstance target) {
    globals->target = target;
    return noErr;
}

ComponentResult KEL_CGetCodecInfo(KELCompressorGlobalsPtr globals, CodecInfo* info) {
    return GetCodecInfoResource(globals->self, kCompressorCodecInfoID, info);
}

ComponentResult KEL_CGetMaxCompressionSize(KELCompressorGlobalsPtr globals, PixMapHandle,
                                           const Rect* sourceRect, int16_t, CodecQ, int32_t* sizeOut) {
    if (sizeOut == nullptr || sourceRect == nullptr) return paramErr;
    LoadPreferencesIfNeeded(globals);
    const int32_t width = static_cast<int16_t>(sourceRect->right - sourceRect->left);
    const int32_t height = static_cast<int16_t>(sourceRect->bottom - sourceRect->top);
    *sizeOut = static_cast<int32_t>(CalculateMaxKELDataSize(width, height, globals->alpha, globals->dxt24));
    return noErr;
}

ComponentResult KEL_CPrepareToCompressFrames(KELCompressorGlobalsPtr globals, ICMCompressorSessionRef session,
                                             ICMCompressionSessionOptionsRef sessionOptions,
                                             ImageDescriptionHandle imageDescription, void*,
                                             CFDictionaryRef* pixelBufferAttributesOut) {
    if (globals == nullptr) return internalQuickTimeError;
    globals->session = session;
    ICMCompressionSessionOptionsRelease(globals->sessionOptions);
    globals->sessionOptions = ICMCompressionSessionOptionsRetain(sessionOptions);

    const Fixed gamma = 0; // the platform's default gamma
    OSStatus status =
        ICMImageDescriptionSetProperty(imageDescription, kQTPropertyClass_ImageDescription,
                                       kICMImageDescriptionPropertyID_GammaLevel, sizeof gamma, &gamma);
    if (status != noErr) return status;
    LoadPreferencesIfNeeded(globals);
    globals->width = (*imageDescription)->width;
    globals->height = (*imageDescription)->height;

    // Ask the host for 32-bit ARGB buffers of the frame's size.
    CFMutableDictionaryRef attributes = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    if (attributes == nullptr) return memFullErr;
    const int32_t pixelFormat = static_cast<int32_t>(k32ARGBPixelFormat);
    CFNumberRef pixelFormatNumber = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &pixelFormat);
    if (pixelFormatNumber == nullptr) {
        CFRelease(attributes);
        return memFullErr;
    }
    const void* formats[] = {pixelFormatNumber};
    CFArrayRef formatList = CFArrayCreate(kCFAllocatorDefault, formats, 1, &kCFTypeArrayCallBacks);
    if (formatList == nullptr) {
        CFRelease(pixelFormatNumber);
        CFRelease(attributes);
        return memFullErr;
    }
    CFDictionarySetValue(attributes, kCVPixelBufferPixelFormatTypeKey, formatList);
    CFRelease(formatList);
    CFRelease(pixelFormatNumber);
    const struct {
        CFStringRef key;
        int32_t value;
    } sizes[] = {{kCVPixelBufferWidthKey, globals->width}, {kCVPixelBufferHeightKey, globals->height}};
    for (const auto& size : sizes) {
        CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &size.value);
        if (number == nullptr) continue; // a missing size is left for the host to fill in
        CFDictionarySetValue(attributes, size.key, number);
        CFRelease(number);
    }
    // The host releases the dictionary; a host that passes no place for it does not want it.
    if (pixelBufferAttributesOut != nullptr)
        *pixelBufferAttributesOut = attributes;
    else
        CFRelease(attributes);

    globals->maxFrameSize =
        CalculateMaxKELDataSize(globals->width, globals->height, globals->alpha, globals->dxt24);
    globals->maxKeyFrameInterval = ICMCompressionSessionOptionsGetMaxKeyFrameInterval(sessionOptions);

    const uint32_t width = static_cast<uint32_t>(std::max(globals->width, 0));
    const uint32_t height = static_cast<uint32_t>(std::max(globals->height, 0));
    for (int i = 0; i < 2; ++i) {
        status = callocInternalPixelBuffer(width, height, &globals->buffers[i]);
        if (status != noErr) return status;
    }
    return callocInternalPixelBuffer(width, height, &globals->buffers[2]);
}

ComponentResult KEL_CCompleteFrame(KELCompressorGlobalsPtr, ICMCompressorSourceFrameRef, uint32_t) {
    // Every frame is emitted inside the encode call.
    return noErr;
}
