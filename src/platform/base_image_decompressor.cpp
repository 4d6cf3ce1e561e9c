// The base image decompressor ('imdc'/'base'): turns the host's PreDecompress and
// BandDecompress calls into the subcodec's Initialize, Preflight, BeginBand, DecodeBand,
// DrawBand and EndBand, and gives codecs that write whole blocks the extra room they ask for.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "image_decompression.h"
#include "memory_manager.h"

namespace {

const ComponentResult kBaseVersion = 0x10001;

struct BaseGlobals {
    ComponentInstance self;
    ComponentInstance target; // the subcodec; self until it targets us
    bool initialized;
    ImageSubCodecDecompressCapabilities subCodec;
    unsigned char* scratch; // drawing area when the subcodec needs extra room
    size_t scratchSize;
};
typedef BaseGlobals* BaseGlobalsPtr;

ComponentResult BaseOpen(BaseGlobalsPtr, ComponentInstance self) {
    auto* globals = static_cast<BaseGlobals*>(std::calloc(1, sizeof(BaseGlobals)));
    if (globals == nullptr) return memFullErr;
    SetComponentInstanceStorage(self, reinterpret_cast<Handle>(globals));
    globals->self = self;
    globals->target = self;
    return noErr;
}

ComponentResult BaseClose(BaseGlobalsPtr globals, ComponentInstance) {
    if (globals == nullptr) return noErr;
    std::free(globals->scratch);
    std::free(globals);
    return noErr;
}

ComponentResult BaseVersion(BaseGlobalsPtr) {
    return kBaseVersion;
}

ComponentResult BaseTarget(BaseGlobalsPtr globals, ComponentInstance target) {
    globals->target = target;
    return noErr;
}

// Asks the subcodec what it can do (once), then lets it preflight the request, and checks
// that it can draw in the host's pixel format.
ComponentResult BasePreDecompress(BaseGlobalsPtr globals, CodecDecompressParams* p) {
    if (p == nullptr || p->imageDescription == nullptr || p->capabilities == nullptr) return paramErr;
    if (!globals->initialized) {
        ImageSubCodecDecompressCapabilities cap;
        std::memset(&cap, 0, sizeof cap);
        cap.recordSize = sizeof cap;
        const ComponentResult initialized = ImageCodecInitialize(globals->target, &cap);
        if (initialized != noErr) return initialized;
        globals->subCodec = cap;
        globals->initialized = true;
    }
    const ComponentResult preflight = ImageCodecPreflight(globals->target, p);
    if (preflight != noErr) return preflight;

    if (p->wantedDestinationPixelTypes != nullptr && *p->wantedDestinationPixelTypes != nullptr &&
        p->dstPixMap.pixelFormat != 0) {
        const Size count =
            GetHandleSize(reinterpret_cast<Handle>(p->wantedDestinationPixelTypes)) / sizeof(OSType);
        const OSType* types = *p->wantedDestinationPixelTypes;
        bool offered = false;
        for (Size i = 0; i < count && types[i] != 0; ++i)
            offered |= types[i] == p->dstPixMap.pixelFormat;
        if (!offered) return codecErr;
    }
    return noErr;
}

// One frame, drawn as a single band. The host preflights first (PreDecompress) whenever the
// description or destination changes; a band before any preflight preflights itself.
ComponentResult BaseBandDecompress(BaseGlobalsPtr globals, CodecDecompressParams* p) {
    if (p == nullptr || p->imageDescription == nullptr) return paramErr;
    if (!globals->initialized) {
        const ComponentResult prepared = BasePreDecompress(globals, p);
        if (prepared != noErr) return prepared;
    }

    ImageSubCodecDecompressRecord drp;
    std::memset(&drp, 0, sizeof drp);
    drp.rowBytes = p->dstPixMap.rowBytes;
    drp.codecData = p->data;
    drp.progressProcRecord = p->progressProcRecord;
    drp.dataProcRecord = p->dataProcRecord;
    const size_t recordSize = static_cast<size_t>(std::max(globals->subCodec.decompressRecordSize, 0));
    drp.userDecompressRecord = std::calloc(std::max<size_t>(recordSize, 1), 1);
    if (drp.userDecompressRecord == nullptr) return memFullErr;

    ComponentResult result = ImageCodecBeginBand(globals->target, p, &drp, 0);

    // A subcodec that writes past the visible picture draws into a scratch area instead,
    // from which the visible part is copied to the host. So does one whose destination rows
    // are not a whole number of 32-bit pixels apart: a row length given in pixels (as the GL
    // read-back takes it) cannot describe them.
    const int width = (*p->imageDescription)->width;
    const int height = (*p->imageDescription)->height;
    const CodecCapabilities* caps = p->capabilities;
    const int extendWidth = caps != nullptr ? std::max<int>(caps->extendWidth, 0) : 0;
    const int extendHeight = caps != nullptr ? std::max<int>(caps->extendHeight, 0) : 0;
    Ptr destination = drp.baseAddr;
    const int32_t destinationRowBytes = drp.rowBytes;
    const bool useScratch = result == noErr &&
                            (extendWidth > 0 || extendHeight > 0 || destinationRowBytes % 4 != 0) &&
                            width > 0 && height > 0;
    if (useScratch) {
        const size_t scratchRowBytes = static_cast<size_t>(width + extendWidth) * 4;
        const size_t needed = scratchRowBytes * static_cast<size_t>(height + extendHeight);
        if (needed > globals->scratchSize) {
            std::free(globals->scratch);
            globals->scratch = static_cast<unsigned char*>(std::malloc(needed));
            globals->scratchSize = globals->scratch != nullptr ? needed : 0;
        }
        if (globals->scratch == nullptr) result = memFullErr;
        // The scratch starts as the destination's picture, so a frame the subcodec declines
        // to draw leaves the destination as it was.
        for (int y = 0; result == noErr && y < height; ++y)
            std::memcpy(globals->scratch + y * scratchRowBytes,
                        destination + static_cast<long>(y) * destinationRowBytes,
                        static_cast<size_t>(width) * 4);
        drp.baseAddr = reinterpret_cast<Ptr>(globals->scratch);
        drp.rowBytes = static_cast<int32_t>(scratchRowBytes);
    }

    if (result == noErr && globals->subCodec.baseCodecShouldCallDecodeBandForAllFrames)
        result = ImageCodecDecodeBand(globals->target, &drp, 0);
    if (result == noErr) result = ImageCodecDrawBand(globals->target, &drp);
    ImageCodecEndBand(globals->target, &drp, static_cast<int16_t>(result), 0);

    if (useScratch && result == noErr)
        for (int y = 0; y < height; ++y)
            std::memcpy(destination + static_cast<long>(y) * destinationRowBytes,
                        globals->scratch + y * static_cast<size_t>(drp.rowBytes),
                        static_cast<size_t>(width) * 4);

    std::free(drp.userDecompressRecord);
    return result;
}

ComponentResult BaseDroppingFrame(BaseGlobalsPtr, const CodecDecompressParams*) {
    return noErr;
}
ComponentResult BaseBusy(BaseGlobalsPtr, int32_t) {
    return 0;
} // never busy: frames decode synchronously

struct BaseSelector {
    int16_t selector;
    ComponentDispatchEntry entry;
};

const BaseSelector* Served() {
    static const BaseSelector served[] = {
        {kComponentOpenSelector, {ComponentFunction<BaseOpen>(), 0x3F0}},
        {kComponentCloseSelector, {ComponentFunction<BaseClose>(), 0x3F0}},
        {kComponentVersionSelector, {ComponentFunction<BaseVersion>(), 0xF0}},
        {kComponentTargetSelector, {ComponentFunction<BaseTarget>(), 0x3F0}},
        {kImageCodecPreDecompressSelector, {ComponentFunction<BasePreDecompress>(), 0x3F0}},
        {kImageCodecBandDecompressSelector, {ComponentFunction<BaseBandDecompress>(), 0x3F0}},
        {kImageCodecBusySelector, {ComponentFunction<BaseBusy>(), 0x3F0}},
        {kImageCodecDroppingFrameSelector, {ComponentFunction<BaseDroppingFrame>(), 0x3F0}},
        {0, {nullptr, 0}},
    };
    return served;
}

const ComponentDispatchEntry* FindBaseEntry(int16_t selector) {
    for (const BaseSelector* s = Served(); s->entry.function != nullptr; ++s)
        if (s->selector == selector) return &s->entry;
    return nullptr;
}

ComponentResult BaseCanDo(BaseGlobalsPtr, int16_t selector) {
    return selector == kComponentCanDoSelector || FindBaseEntry(selector) != nullptr ? 1 : 0;
}

ComponentResult BaseDispatch(ComponentParameters* params, Handle storage) {
    if (params == nullptr) return paramErr;
    if (params->what == kComponentCanDoSelector)
        return CallComponentFunctionWithStorageProcInfo(storage, params, ComponentFunction<BaseCanDo>(),
                                                        0x2F0);
    const ComponentDispatchEntry* entry = FindBaseEntry(params->what);
    if (entry == nullptr) return badComponentSelector;
    return CallComponentDispatchEntry(*entry, params, storage);
}

} // namespace

Component RegisterBaseImageDecompressor() {
    static Component component = [] {
        ComponentDescription description = {decompressorComponentType, kBaseCodecSubType, FourCC("appl"),
                                            codecInfoDoes32, 0};
        return RegisterComponentWithResources(&description, BaseDispatch, "Base image decompressor", nullptr);
    }();
    return component;
}
