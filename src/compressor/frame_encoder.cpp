// Encoding one frame: block coding, LZF, the header, and emission to the session.
#include "frame_encoder.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <lzf.h>
#include <stb/stb_dxt.h>

#include "dxt24/dxt24_simd.h"
#include "dxt24/dxt24_threaded.h"
#include "platform/core_video.h"
#include "platform/image_compression.h"
#include "platform/system_info.h"
#include "stream/kel_header.h"
#include "stream/kel_settings.h"

namespace {

// Gathers the 4x4 block at (x, y) as R, G, B, A bytes, repeating the last real row and column
// where the block passes the image's edge.
void GatherBlock(unsigned char* block, const unsigned char* src, int x, int y, int width, int height,
                 int rowBytes) {
    const int rows = std::min(4, height - y);
    const int columns = std::min(4, width - x);
    for (int r = 0; r < 4; ++r) {
        const unsigned char* row = src + static_cast<ptrdiff_t>(y + std::min(r, rows - 1)) * rowBytes;
        for (int c = 0; c < 4; ++c) {
            const unsigned char* pixel = row + static_cast<ptrdiff_t>(x + std::min(c, columns - 1)) * 4;
            unsigned char* out = block + (r * 4 + c) * 4;
            out[0] = pixel[1];
            out[1] = pixel[2];
            out[2] = pixel[3];
            out[3] = pixel[0];
        }
    }
}

// The same for a block wholly inside the image: no clamping arithmetic.
void GatherInteriorBlock(unsigned char* block, const unsigned char* src, int x, int y, int rowBytes) {
    for (int r = 0; r < 4; ++r) {
        const unsigned char* pixel = src + static_cast<ptrdiff_t>(y + r) * rowBytes + x * 4;
        for (int c = 0; c < 4; ++c, pixel += 4) {
            unsigned char* out = block + (r * 4 + c) * 4;
            out[0] = pixel[1];
            out[1] = pixel[2];
            out[2] = pixel[3];
            out[3] = pixel[0];
        }
    }
}

std::atomic<int> g_physicalCoreCount{0};

} // namespace

void stbCompressARGB32(unsigned char* dst, const unsigned char* src, int width, int height, int rowBytes,
                       uint8_t alpha) {
    if (width < 1 || height < 1) return;
    // rowBytes is taken as it is (0 repeats row 0); the SIMD walker would read 0 as width * 4.
    if (rowBytes != 0 && dxt24::EncodeDXT1ImageSimd(dst, src, width, height, rowBytes, alpha != 0)) return;
    stbCompressARGB32_plain(dst, src, width, height, rowBytes, alpha);
}

void stbCompressARGB32_plain(unsigned char* dst, const unsigned char* src, int width, int height,
                             int rowBytes, uint8_t alpha) {
    const int blockBytes = (alpha ? 2 : 0) * 4 + 8;
    const int blocksAcross = (width + 3) / 4;
    const int blocksDown = (height + 3) / 4;
    if (width < 1 || height < 1) return;
    const bool wholeBlocks = width % 4 == 0 && height % 4 == 0;
    unsigned char block[64];
    for (int by = 0; by < blocksDown; ++by) {
        for (int bx = 0; bx < blocksAcross; ++bx) {
            const int x = bx * 4, y = by * 4;
            if (wholeBlocks || (x + 4 <= width && y + 4 <= height))
                GatherInteriorBlock(block, src, x, y, rowBytes);
            else
                GatherBlock(block, src, x, y, width, height, rowBytes);
            stb_compress_dxt_block(dst, block, alpha ? 1 : 0, STB_DXT_HIGHQUAL);
            dst += blockBytes;
        }
    }
}

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
        stbCompressARGB32(payload, base, width, height, rowBytes, globals->alpha);
    }
    CVPixelBufferUnlockBaseAddress(pixelBuffer, 0);

    KELHeader header{};
    header.headerSize = kKELHeaderSize;
    header.version = kKELFormatVersion;
    header.alpha = globals->alpha;
    header.blockColourPlane = globals->dxt24 ^ 1;
    header.blockKind = useDXT24 ? 1 : 0;

    // An output limit equal to the input makes LZF give up (0) whenever packing would not
    // shrink the payload; the payload is then stored raw.
    unsigned int packedSize = 0;
    if (globals->noLZF != 1 && payloadSize > 0)
        packedSize = lzf_compress(payload, payloadSize, frameData + kKELHeaderSize, payloadSize);
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
