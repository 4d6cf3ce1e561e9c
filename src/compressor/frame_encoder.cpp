// Encoding one frame: block coding, LZF, the header, and emission to the session.
#include "frame_encoder.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "blocks/block_coders.h"
#include "compressor/dxt24_threaded.h"
#include "platform/core_video.h"
#include "platform/image_compression.h"
#include "platform/system_info.h"
#include "stream/kel_header.h"
#include "stream/kel_settings.h"
#include "stream/lzf_pack.h"

namespace {

std::atomic<int> g_physicalCoreCount{0};

} // namespace

int CachedPhysicalCoreCount() {
    // Every thread that races here computes and stores the same value.
    if (g_physicalCoreCount.load() == 0) {
        int cores = 0;
        size_t size = sizeof cores;
        if (sysctlbyname("hw.physicalcpu", &cores, &size, nullptr, 0) != 0) cores = 0;
        g_physicalCoreCount.store(cores > 0 ? cores : 1);
    }
    return g_physicalCoreCount.load();
}

int DXT24ThreadCount(int32_t threadSetting) {
    // The core count is cached on the first DXT24 frame whatever the setting is.
    return KELThreadCountForSetting(threadSetting, CachedPhysicalCoreCount());
}

int DXT24PoolWorkerCount(int32_t threadSetting) {
    return std::min(std::max(DXT24ThreadCount(threadSetting), 1), kMaxDXT24Threads);
}

ComponentResult KEL_CEncodeFrame(KELCompressorGlobalsPtr globals, ICMCompressorSourceFrameRef sourceFrame,
                                 uint32_t) {
    // Alpha wins: with alpha on the frame is DXT5 whatever the DXT24 setting says.
    return CompressDXTOnly(globals, sourceFrame, nullptr, globals->dxt24 != 0 && globals->alpha == 0);
}

ComponentResult CompressDXTOnly(KELCompressorGlobalsPtr globals, ICMCompressorSourceFrameRef sourceFrame,
                                void*, bool useDXT24) {
    ICMMutableEncodedFrameRef frame = nullptr;
    OSStatus status =
        ICMEncodedFrameCreateMutable(globals->session, sourceFrame, globals->maxFrameSize, &frame);
    if (status != noErr) return status;

    CVPixelBufferRef pixelBuffer = ICMCompressorSourceFrameGetPixelBuffer(sourceFrame);
    if (pixelBuffer == nullptr) {
        ICMEncodedFrameRelease(frame);
        return paramErr;
    }
    CVPixelBufferLockBaseAddress(pixelBuffer, 0);
    auto* base = static_cast<unsigned char*>(CVPixelBufferGetBaseAddress(pixelBuffer));
    const int height = static_cast<int>(CVPixelBufferGetHeight(pixelBuffer));
    const int width = static_cast<int>(CVPixelBufferGetWidth(pixelBuffer));
    const int rowBytes = static_cast<int>(CVPixelBufferGetBytesPerRow(pixelBuffer));
    uint8_t* frameData = ICMEncodedFrameGetDataPtr(frame);

    const uint32_t payloadSize =
        static_cast<uint32_t>(KELBlockCount(width, height)) * KELBytesPerBlock(useDXT24, globals->alpha != 0);
    // The frame buffer was sized for the prepared dimensions; a larger source would overrun it.
    if (globals->maxFrameSize < kKELHeaderSize || payloadSize > globals->maxFrameSize - kKELHeaderSize) {
        CVPixelBufferUnlockBaseAddress(pixelBuffer, 0);
        ICMEncodedFrameRelease(frame);
        return paramErr;
    }
    auto* payload = static_cast<unsigned char*>(std::malloc(payloadSize > 0 ? payloadSize : 1));
    if (payload == nullptr) {
        CVPixelBufferUnlockBaseAddress(pixelBuffer, 0);
        ICMEncodedFrameRelease(frame);
        return memFullErr;
    }

    if (useDXT24) {
        stbCompressARGB32_to24_threaded(DXT24ThreadCount(globals->threadSetting),
                                        reinterpret_cast<unsigned short*>(payload), base, width, height,
                                        rowBytes, globals->alpha != 0);
    } else {
        CodersFor(globals->alpha ? BlockKind::kDXT5 : BlockKind::kDXT1)
            .encode(payload, base, width, height, rowBytes);
    }
    CVPixelBufferUnlockBaseAddress(pixelBuffer, 0);

    KELHeader header{};
    header.headerSize = kKELHeaderSize;
    header.version = kKELFormatVersion;
    header.alpha = globals->alpha;
    header.blockColourPlane = globals->dxt24 ^ 1;
    header.blockKind = useDXT24 ? kKELBlockKindDXT24 : kKELBlockKindS3TC;

    // LZFPack writes lzf_compress's bytes, faster. An output limit equal to the input makes it
    // give up (0) whenever packing would not shrink the payload; the payload is then stored raw.
    unsigned int packedSize = 0;
    if (globals->noLZF != 1 && payloadSize > 0)
        packedSize =
            static_cast<unsigned int>(LZFPack(payload, payloadSize, frameData + kKELHeaderSize, payloadSize));
    if (packedSize != 0) {
        header.storedSize = packedSize;
        header.packing = kKELPackingLZF;
    } else {
        if (payloadSize > 0) std::memcpy(frameData + kKELHeaderSize, payload, payloadSize);
        header.storedSize = payloadSize;
        header.packing = 0;
    }
    WriteKELHeader(frameData, header);
    std::free(payload);

    status = ICMEncodedFrameSetDataSize(frame, kKELHeaderSize + header.storedSize);
    if (status == noErr) status = ICMEncodedFrameSetMediaSampleFlags(frame, mediaSampleDoesNotDependOnOthers);
    if (status == noErr) status = ICMEncodedFrameSetFrameType(frame, kICMFrameType_I);
    if (status == noErr)
        status = ICMCompressorSessionEmitEncodedFrame(globals->session, frame, 1, &sourceFrame);
    ICMEncodedFrameRelease(frame);
    return status;
}
