// Image codec components: the codec information record, image descriptions, the image codec
// selectors and the host-side calls that reach a codec instance through the Component Manager.
#pragma once

#include "component_manager.h"
#include "core_foundation.h"
#include "dialog_manager.h"
#include "mac_types.h"

typedef uint32_t CodecQ;
typedef struct PixMap** PixMapHandle;
typedef struct ICMCompressionSessionObject* ICMCompressorSessionRef;
typedef struct ICMCompressionSessionOptionsObject* ICMCompressionSessionOptionsRef;
typedef struct ICMCompressorSourceFrameObject* ICMCompressorSourceFrameRef;

const OSType compressorComponentType = FourCC("imco");
const OSType decompressorComponentType = FourCC("imdc");

// Codec capability flags of CodecInfo.
enum : int32_t {
    codecInfoDoes32 = 1 << 5,  // compressFlags/decompressFlags: works on 32-bit pixels
    codecInfoDepth24 = 1 << 6, // formatFlags: can store 24-bit (opaque) images
    codecInfoDepth32 = 1 << 5, // formatFlags: can store 32-bit images with alpha
};

#pragma pack(push, 2)
// The 72-byte codec information record ('cdci' resource), in host byte order.
struct CodecInfo {
    Str31 typeName; // Pascal string
    int16_t version;
    int16_t revisionLevel;
    int32_t vendor;
    int32_t decompressFlags;
    int32_t compressFlags;
    int32_t formatFlags;
    uint8_t compressionAccuracy;
    uint8_t decompressionAccuracy;
    uint16_t compressionSpeed;
    uint16_t decompressionSpeed;
    uint8_t compressionLevel;
    uint8_t resvd;
    int16_t minimumHeight;
    int16_t minimumWidth;
    int16_t decompressPipelineLatency;
    int16_t compressPipelineLatency;
    int32_t privateData;
};

// The 86-byte image description; extensions (atoms of u32 size, u32 type, data, little-endian)
// follow it in the same handle, and idSize counts them.
struct ImageDescription {
    int32_t idSize;
    CodecType cType;
    int32_t resvd1;
    int16_t resvd2;
    int16_t dataRefIndex;
    int16_t version;
    int16_t revisionLevel;
    int32_t vendor;
    CodecQ temporalQuality;
    CodecQ spatialQuality;
    int16_t width;
    int16_t height;
    Fixed hRes;
    Fixed vRes;
    int32_t dataSize;
    int16_t frameCount;
    Str31 name;
    int16_t depth;
    int16_t clutID;
};
#pragma pack(pop)
static_assert(sizeof(CodecInfo) == 72, "CodecInfo is the 72-byte 'cdci' record");
static_assert(sizeof(ImageDescription) == 86, "ImageDescription is 86 bytes");

typedef ImageDescription* ImageDescriptionPtr;
typedef ImageDescriptionPtr* ImageDescriptionHandle;

// Image codec selectors (range 0).
enum : int16_t {
    kImageCodecGetCodecInfoSelector = 0x00,
    kImageCodecGetCompressionTimeSelector = 0x01,
    kImageCodecGetMaxCompressionSizeSelector = 0x02,
    kImageCodecRequestSettingsSelector = 0x0B,
    kImageCodecGetSettingsSelector = 0x0C,
    kImageCodecSetSettingsSelector = 0x0D,
    kImageCodecGetDITLForSizeSelector = 0x2E,
    kImageCodecDITLInstallSelector = 0x2F,
    kImageCodecDITLEventSelector = 0x30,
    kImageCodecDITLItemSelector = 0x31,
    kImageCodecDITLRemoveSelector = 0x32,
    kImageCodecDITLValidateInputSelector = 0x33,
    kImageCodecPrepareToCompressFramesSelector = 0x37,
    kImageCodecEncodeFrameSelector = 0x38,
    kImageCodecCompleteFrameSelector = 0x39,
};

// The codec's information record from its component's 'cdci' resource resID, for the
// codecs' GetCodecInfo handlers: paramErr for a null info, the resource error when it is
// missing; a resource shorter than 72 bytes leaves the rest of info zero.
OSErr GetCodecInfoResource(ComponentInstance self, ResID resID, CodecInfo* info);

// Host calls of a codec instance; each passes its arguments as parameter words in this order.
inline ComponentResult ImageCodecGetCodecInfo(ComponentInstance ci, CodecInfo* info) {
    return CallComponentSelector(ci, kImageCodecGetCodecInfoSelector, info);
}
inline ComponentResult ImageCodecGetMaxCompressionSize(ComponentInstance ci, PixMapHandle src,
                                                       const Rect* srcRect, int16_t depth, CodecQ quality,
                                                       int32_t* size) {
    return CallComponentSelector(ci, kImageCodecGetMaxCompressionSizeSelector, src, srcRect, depth, quality,
                                 size);
}
inline ComponentResult ImageCodecRequestSettings(ComponentInstance ci, Handle settings, Rect* rp,
                                                 ModalFilterUPP filterProc) {
    return CallComponentSelector(ci, kImageCodecRequestSettingsSelector, settings, rp, filterProc);
}
inline ComponentResult ImageCodecGetSettings(ComponentInstance ci, Handle settings) {
    return CallComponentSelector(ci, kImageCodecGetSettingsSelector, settings);
}
inline ComponentResult ImageCodecSetSettings(ComponentInstance ci, Handle settings) {
    return CallComponentSelector(ci, kImageCodecSetSettingsSelector, settings);
}
inline ComponentResult ImageCodecGetDITLForSize(ComponentInstance ci, Handle* ditl, Point* requestedSize) {
    return CallComponentSelector(ci, kImageCodecGetDITLForSizeSelector, ditl, requestedSize);
}
inline ComponentResult ImageCodecDITLInstall(ComponentInstance ci, DialogRef d, int16_t itemOffset) {
    return CallComponentSelector(ci, kImageCodecDITLInstallSelector, d, itemOffset);
}
inline ComponentResult ImageCodecDITLEvent(ComponentInstance ci, DialogRef d, int16_t itemOffset,
                                           const EventRecord* theEvent, int16_t* itemHit, Boolean* handled) {
    return CallComponentSelector(ci, kImageCodecDITLEventSelector, d, itemOffset, theEvent, itemHit, handled);
}
inline ComponentResult ImageCodecDITLItem(ComponentInstance ci, DialogRef d, int16_t itemOffset,
                                          int16_t itemNum) {
    return CallComponentSelector(ci, kImageCodecDITLItemSelector, d, itemOffset, itemNum);
}
inline ComponentResult ImageCodecDITLRemove(ComponentInstance ci, DialogRef d, int16_t itemOffset) {
    return CallComponentSelector(ci, kImageCodecDITLRemoveSelector, d, itemOffset);
}
inline ComponentResult ImageCodecDITLValidateInput(ComponentInstance ci, Boolean* ok) {
    return CallComponentSelector(ci, kImageCodecDITLValidateInputSelector, ok);
}
inline ComponentResult ImageCodecPrepareToCompressFrames(ComponentInstance ci,
                                                         ICMCompressorSessionRef session,
                                                         ICMCompressionSessionOptionsRef options,
                                                         ImageDescriptionHandle desc, void* reserved,
                                                         CFDictionaryRef* pixelBufferAttributesOut) {
    return CallComponentSelector(ci, kImageCodecPrepareToCompressFramesSelector, session, options, desc,
                                 reserved, pixelBufferAttributesOut);
}
inline ComponentResult ImageCodecEncodeFrame(ComponentInstance ci, ICMCompressorSourceFrameRef sourceFrame,
                                             uint32_t flags) {
    return CallComponentSelector(ci, kImageCodecEncodeFrameSelector, sourceFrame, flags);
}
inline ComponentResult ImageCodecCompleteFrame(ComponentInstance ci, ICMCompressorSourceFrameRef sourceFrame,
                                               uint32_t flags) {
    return CallComponentSelector(ci, kImageCodecCompleteFrameSelector, sourceFrame, flags);
}
