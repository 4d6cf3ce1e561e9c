// The Image Compression Manager's decompression side: the records a decompressor and the
// system's base image decompressor exchange, the decompression selectors, and the base image
// decompressor itself ('imdc'/'base').
//
// A subcodec (such as the QZKT decompressor) opens the base decompressor, makes itself the
// base's target and delegates every selector it does not serve. The host calls
// ImageCodecPreDecompress and ImageCodecBandDecompress on the subcodec; they reach the base,
// which calls back into its target: Initialize (once), Preflight, then for each frame
// BeginBand, DecodeBand (when asked to for every frame), DrawBand and EndBand. When the
// subcodec asks for extra room at the right or bottom (extendWidth/extendHeight, for codecs
// that write whole blocks), the base lets it draw into a scratch buffer of that size and
// copies the visible width x height into the host's destination.
#pragma once

#include "core_video.h"
#include "image_codec.h"

// Decompression selectors (range 0, and the subcodec range 2).
enum : int16_t {
    kImageCodecPreDecompressSelector = 0x05,
    kImageCodecBandDecompressSelector = 0x06,
    kImageCodecBusySelector = 0x07,
    kImageCodecGetCompressedImageSizeSelector = 0x08,
    kImageCodecPreflightSelector = 0x200,
    kImageCodecInitializeSelector = 0x201,
    kImageCodecBeginBandSelector = 0x202,
    kImageCodecDrawBandSelector = 0x203,
    kImageCodecEndBandSelector = 0x204,
    kImageCodecQueueStartingSelector = 0x205,
    kImageCodecQueueStoppingSelector = 0x206,
    kImageCodecDroppingFrameSelector = 0x207,
    kImageCodecScheduleFrameSelector = 0x208,
    kImageCodecCancelTriggerSelector = 0x209,
    kImageCodecDecodeBandSelector = 0x20F,
};

const OSType kBaseCodecSubType = FourCC("base");
const uint8_t kCodecFrameTypeKey = 1;

// The host's destination. rowBytes is a full 32-bit stride here (wide frames need more than
// the classic 14 bits).
struct PixMap {
    Ptr baseAddr;
    int32_t rowBytes;
    Rect bounds;
    OSType pixelFormat;
    int16_t pixelSize;
};

// What the decompressor asks of the host, filled in at preflight.
struct CodecCapabilities {
    int32_t flags;
    int16_t wantedPixelSize;
    int16_t extendWidth;  // extra columns the codec writes past the width
    int16_t extendHeight; // extra rows it writes past the height
    int16_t bandMin;
    int16_t bandInc;
    int16_t pad;
    uint32_t time;
    int32_t flags2;
};

typedef OSErr (*ICMDataProcPtr)(Ptr* dataP, int32_t bytesNeeded, long refCon);
struct ICMDataProcRecord {
    ICMDataProcPtr dataProc; // null: the whole frame is at data
    long dataRefCon;
};
struct ICMProgressProcRecord {
    void* progressProc;
    long progressRefCon;
};

typedef OSType** OSTypeHandle;

// One decompression request from the host.
struct CodecDecompressParams {
    ImageDescriptionHandle imageDescription; // codec type, width, height, data size
    Ptr data;                                // the frame's bytes
    int32_t bufferSize;                      // how many bytes data holds
    int32_t frameNumber;
    int32_t startLine;
    int32_t stopLine;
    int32_t conditionFlags;
    uint16_t callerFlags;
    CodecCapabilities* capabilities; // the host's record, filled by the codec at preflight
    ICMProgressProcRecord progressProcRecord;
    ICMDataProcRecord dataProcRecord;
    PixMap dstPixMap;
    Rect srcRect;
    OSTypeHandle wantedDestinationPixelTypes; // set by the codec at preflight: a 0-terminated list
};

// What a subcodec tells the base decompressor at initialisation.
struct ImageSubCodecDecompressCapabilities {
    int32_t recordSize;
    int32_t decompressRecordSize; // bytes of the subcodec's own per-band record
    Boolean canAsync;
    uint8_t pad0;
    uint16_t suggestedQueueSize;
    Boolean canProvideTrigger;
    Boolean subCodecFlushesScreen;
    Boolean subCodecCallsDrawBandComplete;
    uint8_t pad2;
    Boolean isChildCodec;
    Boolean reserved1;
    Boolean reserved2;
    Boolean reserved3;
    Boolean baseCodecShouldCallDecodeBandForAllFrames;
};

// One band being decompressed: where to draw, the frame's bytes, and the subcodec's record.
struct ImageSubCodecDecompressRecord {
    Ptr baseAddr;
    int32_t rowBytes;
    Ptr codecData;
    ICMProgressProcRecord progressProcRecord;
    ICMDataProcRecord dataProcRecord;
    void* userDecompressRecord; // decompressRecordSize zeroed bytes, the subcodec's to use
    uint8_t frameType;
    Boolean inhibitMP;
    uint8_t pad[2];
    int32_t priv[2];
};

// Host and subcodec calls, each passing its arguments as parameter words in this order.
inline ComponentResult ImageCodecPreDecompress(ComponentInstance ci, CodecDecompressParams* p) {
    return CallComponentSelector(ci, kImageCodecPreDecompressSelector, p);
}
inline ComponentResult ImageCodecBandDecompress(ComponentInstance ci, CodecDecompressParams* p) {
    return CallComponentSelector(ci, kImageCodecBandDecompressSelector, p);
}
inline ComponentResult ImageCodecGetCompressedImageSize(ComponentInstance ci, ImageDescriptionHandle desc,
                                                        Ptr data, int32_t bufferSize,
                                                        ICMDataProcRecord* dataProc, int32_t* dataSize) {
    return CallComponentSelector(ci, kImageCodecGetCompressedImageSizeSelector, desc, data, bufferSize,
                                 dataProc, dataSize);
}
inline ComponentResult ImageCodecPreflight(ComponentInstance ci, CodecDecompressParams* p) {
    return CallComponentSelector(ci, kImageCodecPreflightSelector, p);
}
inline ComponentResult ImageCodecInitialize(ComponentInstance ci, ImageSubCodecDecompressCapabilities* cap) {
    return CallComponentSelector(ci, kImageCodecInitializeSelector, cap);
}
inline ComponentResult ImageCodecBeginBand(ComponentInstance ci, CodecDecompressParams* p,
                                           ImageSubCodecDecompressRecord* drp, int32_t flags) {
    return CallComponentSelector(ci, kImageCodecBeginBandSelector, p, drp, flags);
}
inline ComponentResult ImageCodecDrawBand(ComponentInstance ci, ImageSubCodecDecompressRecord* drp) {
    return CallComponentSelector(ci, kImageCodecDrawBandSelector, drp);
}
inline ComponentResult ImageCodecEndBand(ComponentInstance ci, ImageSubCodecDecompressRecord* drp,
                                         int16_t result, int32_t flags) {
    return CallComponentSelector(ci, kImageCodecEndBandSelector, drp, result, flags);
}
inline ComponentResult ImageCodecDecodeBand(ComponentInstance ci, ImageSubCodecDecompressRecord* drp,
                                            uint32_t flags) {
    return CallComponentSelector(ci, kImageCodecDecodeBandSelector, drp, flags);
}
inline ComponentResult ImageCodecQueueStarting(ComponentInstance ci) {
    return CallComponentSelector(ci, kImageCodecQueueStartingSelector);
}
inline ComponentResult ImageCodecQueueStopping(ComponentInstance ci) {
    return CallComponentSelector(ci, kImageCodecQueueStoppingSelector);
}
inline ComponentResult ImageCodecDroppingFrame(ComponentInstance ci, const CodecDecompressParams* p) {
    return CallComponentSelector(ci, kImageCodecDroppingFrameSelector, p);
}

// Registers the base image decompressor ('imdc'/'base'/'appl'), once per process; later calls
// return the same component. It is part of the system: host entries register it before they
// open a decompressor.
Component RegisterBaseImageDecompressor();
