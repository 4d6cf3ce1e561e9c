// The decompressor's entry point, its three selector tables and its handlers.
#include "decompressor_component.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "gl_decompressor_resources.h"
#include "kel_decompress.h"
#include "platform/memory_manager.h"
#include "platform/resource_manager.h"
#include "resources/decompressor_resources.h"
#include "stream/kel_frame_check.h"
#include "stream/kel_settings.h"

namespace {

const ComponentResult kDecompressorVersion = 0x00010001;
const int32_t kDecompressRecordSize = sizeof(KELDecompressRecord);

const int kStandardCount = 8; // -8 .. -1
const int kRange0Count = 61;  // 0x000 .. 0x03C
const int kRange2Count = 16;  // 0x200 .. 0x20F

// An entry with a null function is delegated to the base decompressor.
struct DispatchTables {
    ComponentDispatchEntry standard[kStandardCount];
    ComponentDispatchEntry range0[kRange0Count];
    ComponentDispatchEntry range2[kRange2Count];
};

const DispatchTables& Tables() {
    static const DispatchTables tables = [] {
        DispatchTables t;
        std::memset(&t, 0, sizeof t);
        auto standard = [&](int16_t selector) -> ComponentDispatchEntry& { return t.standard[selector + 8]; };
        standard(kComponentOpenSelector) = {ComponentFunction<KEL_DOpen>(), 0x3F0};
        standard(kComponentCloseSelector) = {ComponentFunction<KEL_DClose>(), 0x3F0};
        standard(kComponentCanDoSelector) = {ComponentFunction<KEL_DCanDo>(), 0x2F0};
        standard(kComponentVersionSelector) = {ComponentFunction<KEL_DVersion>(), 0xF0};
        standard(kComponentRegisterSelector) = {kComponentNotImplemented, 0};
        standard(kComponentTargetSelector) = {ComponentFunction<KEL_DTarget>(), 0x3F0};
        standard(kComponentUnregisterSelector) = {kComponentNotImplemented, 0};
        standard(kComponentGetMPWorkFunctionSelector) = {kComponentNotImplemented, 0};

        t.range0[kImageCodecGetCodecInfoSelector] = {ComponentFunction<KEL_DGetCodecInfo>(), 0x3F0};
        t.range0[kImageCodecGetCompressedImageSizeSelector] = {
            ComponentFunction<KEL_DGetCompressedImageSize>(), 0x3FFF0};

        auto range2 = [&](int16_t selector) -> ComponentDispatchEntry& { return t.range2[selector & 0xFF]; };
        range2(kImageCodecPreflightSelector) = {ComponentFunction<KEL_DPreflight>(), 0x3F0};
        range2(kImageCodecInitializeSelector) = {ComponentFunction<KEL_DInitialize>(), 0x3F0};
        range2(kImageCodecBeginBandSelector) = {ComponentFunction<KEL_DBeginBand>(), 0x3FF0};
        range2(kImageCodecDrawBandSelector) = {ComponentFunction<KEL_DDrawBand>(), 0x3F0};
        range2(kImageCodecEndBandSelector) = {ComponentFunction<KEL_DEndBand>(), 0x3BF0};
        range2(kImageCodecQueueStartingSelector) = {ComponentFunction<KEL_DQueueStarting>(), 0xF0};
        range2(kImageCodecQueueStoppingSelector) = {ComponentFunction<KEL_DQueueStopping>(), 0xF0};
        range2(kImageCodecDecodeBandSelector) = {ComponentFunction<KEL_DDecodeBand>(), 0xFF0};
        return t;
    }();
    return tables;
}

// The table entry of a selector, or null when the selector lies outside the tables (those
// calls, like entries without a handler, go to the base decompressor).
const ComponentDispatchEntry* FindEntry(int16_t selector) {
    if (selector < 0) return selector >= -kStandardCount ? &Tables().standard[selector + 8] : nullptr;
    const int range = selector >> 8;
    const int index = selector & 0xFF;
    if (range == 0) return index < kRange0Count ? &Tables().range0[index] : nullptr;
    if (range == 2) return index < kRange2Count ? &Tables().range2[index] : nullptr;
    return nullptr; // range 1 has no entries; ranges above 2 do not exist
}

int RoundUpTo4(int n) {
    return (n + 3) / 4 * 4;
}

} // namespace

extern "C" ComponentResult KEL_DComponentDispatch(ComponentParameters* params, Handle storage) {
    if (params == nullptr) return paramErr;
    const ComponentDispatchEntry* entry = FindEntry(params->what);
    if (entry == nullptr || entry->function == nullptr) {
        const auto* globals = reinterpret_cast<KELDecompressorGlobals*>(storage);
        if (globals == nullptr || globals->delegate == nullptr) return badComponentSelector;
        return DelegateComponentCall(params, globals->delegate);
    }
    return CallComponentDispatchEntry(*entry, params, storage);
}

extern "C" Component ZQN_CodecRegister() {
    static Component component = [] {
        ComponentDescription description = {decompressorComponentType, kKELCodecType, FourCC("appl"),
                                            codecInfoDoes32, 0};
        return RegisterComponentWithResources(&description, KEL_DComponentDispatch, nullptr,
                                              DecompressorResources());
    }();
    return component;
}

ComponentResult KEL_DOpen(KELDecompressorGlobalsPtr, ComponentInstance self) {
    auto* globals = static_cast<KELDecompressorGlobals*>(std::calloc(1, sizeof(KELDecompressorGlobals)));
    if (globals == nullptr) return memFullErr;
    // Value-initialised: zero-filled, then every member constructed empty; no GL yet.
    globals->resources = new (std::nothrow) GLDecompressorResources();
    SetComponentInstanceStorage(self, reinterpret_cast<Handle>(globals));
    globals->self = self;
    globals->target = self;
    if (globals->resources == nullptr) return memFullErr; // the close call frees the record

    // The base decompressor's failure is returned as it is; the storage stays set and the
    // close call cleans up.
    const OSErr opened =
        OpenADefaultComponent(decompressorComponentType, kBaseCodecSubType, &globals->delegate);
    if (opened != noErr) return opened;
    ComponentSetTarget(globals->delegate, self);
    return noErr;
}

ComponentResult KEL_DClose(KELDecompressorGlobalsPtr globals, ComponentInstance) {
    if (globals == nullptr) return noErr;
    if (globals->resources != nullptr) {
        globals->resources->FreeResources(); // GL objects released with the context current
        delete globals->resources;
        globals->resources = nullptr;
    }
    if (globals->delegate != nullptr) {
        CloseComponent(globals->delegate);
        globals->delegate = nullptr;
    }
    for (InternalPixelBuffer& buffer : globals->pixelBuffers)
        freeInternalPixelBuffer(&buffer);
    DisposeHandle(globals->wantedPixelTypes);
    std::free(globals);
    return noErr;
}

ComponentResult KEL_DCanDo(KELDecompressorGlobalsPtr globals, int16_t selector) {
    const ComponentDispatchEntry* entry = FindEntry(selector);
    if (entry != nullptr && entry->function != nullptr && entry->function != kComponentNotImplemented)
        return 1;
    if (globals == nullptr || globals->delegate == nullptr) return 0;
    return CallComponentCanDo(globals->delegate, selector);
}

ComponentResult KEL_DVersion(KELDecompressorGlobalsPtr) {
    return kDecompressorVersion;
}

ComponentResult KEL_DTarget(KELDecompressorGlobalsPtr globals, ComponentInstance target) {
    globals->target = target;
    return noErr;
}

ComponentResult KEL_DInitialize(KELDecompressorGlobalsPtr, ImageSubCodecDecompressCapabilities* cap) {
    cap->decompressRecordSize = kDecompressRecordSize;
    cap->canAsync = true;
    cap->baseCodecShouldCallDecodeBandForAllFrames = true;
    return noErr;
}

ComponentResult KEL_DPreflight(KELDecompressorGlobalsPtr globals, CodecDecompressParams* p) {
    const ImageDescription& description = **p->imageDescription;
    CodecCapabilities* capabilities = p->capabilities;
    capabilities->bandMin = description.height; // the whole frame is one band
    capabilities->bandInc = description.height;
    capabilities->wantedPixelSize = 0;

    // The only destination offered: 32-bit ARGB.
    if (globals->wantedPixelTypes == nullptr) {
        globals->wantedPixelTypes = NewHandleClear(8);
        if (globals->wantedPixelTypes == nullptr) return memFullErr;
    }
    p->wantedDestinationPixelTypes = reinterpret_cast<OSTypeHandle>(globals->wantedPixelTypes);
    OSType* types = reinterpret_cast<OSType*>(*globals->wantedPixelTypes);
    types[0] = k32ARGBPixelFormat;
    types[1] = 0;

    // DXT24 frames decode as whole 4x4 blocks: ask for room up to the next multiple of 4.
    globals->width = description.width;
    globals->height = description.height;
    const int blockWidth = RoundUpTo4(globals->width), blockHeight = RoundUpTo4(globals->height);
    capabilities->extendWidth = static_cast<int16_t>(blockWidth - globals->width);
    capabilities->extendHeight = static_cast<int16_t>(blockHeight - globals->height);

    for (int i = 0; i < 2; ++i) {
        const int allocated = callocInternalPixelBuffer(
            static_cast<uint32_t>(blockWidth), static_cast<uint32_t>(blockHeight), &globals->pixelBuffers[i]);
        if (allocated != 0) return allocated;
    }
    callocInternalPixelBuffer(static_cast<uint32_t>(blockWidth), static_cast<uint32_t>(blockHeight),
                              &globals->pixelBuffers[2]); // its result is not used
    return noErr;
}

ComponentResult KEL_DBeginBand(KELDecompressorGlobalsPtr, CodecDecompressParams* p,
                               ImageSubCodecDecompressRecord* drp, int32_t) {
    drp->baseAddr = p->dstPixMap.baseAddr;
    drp->frameType = kCodecFrameTypeKey; // every frame is a key frame
    auto* record = static_cast<KELDecompressRecord*>(drp->userDecompressRecord);
    const ImageDescription& description = **p->imageDescription;
    record->width = description.width;
    record->height = description.height;
    record->dataSize = drp->dataProcRecord.dataProc != nullptr ? description.dataSize : p->bufferSize;
    return noErr;
}

ComponentResult KEL_DDrawBand(KELDecompressorGlobalsPtr globals, ImageSubCodecDecompressRecord* drp) {
    if (globals->resources == nullptr) return noErr;
    const auto* record = static_cast<const KELDecompressRecord*>(drp->userDecompressRecord);
    const auto* frame = reinterpret_cast<const unsigned char*>(drp->codecData);
    // A frame whose stored parts reach past its data, or hold fewer bytes than the reader
    // takes, is not decoded: the destination keeps what it had. The reader itself trusts the
    // header. LZF streams are walked by the hosts before a frame gets here (the host entry
    // declines damaged frames), not again for every band.
    const size_t dataSize = record->dataSize > 0 ? static_cast<size_t>(record->dataSize) : 0;
    if (CheckKELFrame(frame, dataSize, record->width, record->height, KELFrameCheckDepth::kLayout) !=
        KELFrameProblem::kNone)
        return noErr;
    KEL_DecompressImageData(globals->resources, record->width, record->height, frame, drp->baseAddr,
                            drp->rowBytes); // its result is not used
    return noErr;
}

ComponentResult KEL_DEndBand(KELDecompressorGlobalsPtr, ImageSubCodecDecompressRecord*, int16_t, int32_t) {
    return noErr;
}
ComponentResult KEL_DQueueStarting(KELDecompressorGlobalsPtr) {
    return noErr;
}
ComponentResult KEL_DQueueStopping(KELDecompressorGlobalsPtr) {
    return noErr;
}
ComponentResult KEL_DDecodeBand(KELDecompressorGlobalsPtr, ImageSubCodecDecompressRecord*, uint32_t) {
    return noErr;
}

ComponentResult KEL_DGetCompressedImageSize(KELDecompressorGlobalsPtr, ImageDescriptionHandle, Ptr data,
                                            int32_t bufferSize, ICMDataProcRecord*, int32_t* dataSize) {
    if (dataSize == nullptr) return paramErr;
    if (data == nullptr || bufferSize < 28) return paramErr; // no bytes 24..27 to read
    // Bytes 24..27 read as one big-endian word, plus 32. This is not the frame's length for
    // frames of this format (byte 24 is the plane pixel size flag); kept as it is.
    const auto* bytes = reinterpret_cast<const unsigned char*>(data) + 24;
    const uint32_t word = static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
                          static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
    *dataSize = static_cast<int32_t>(word + 32);
    return noErr;
}

ComponentResult KEL_DGetCodecInfo(KELDecompressorGlobalsPtr globals, CodecInfo* info) {
    return GetCodecInfoResource(globals->self, kDecompressorCodecInfoID, info);
}
