// Planar 4:2:0 buffers and the 4:2:2 <-> 4:2:0 copies.
// The YUV copies are kept on purpose with no product caller (docs/kept-on-purpose.md).
#include "internal_pixel_buffer.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>

#include "platform/mac_types.h"

namespace {

// Planes must read as zero, and the codec never writes them (they exist for hosts that
// expect them). calloc would give that, but once the process has freed a large block
// (FFmpeg does) glibc serves large blocks from its heap and clears them byte by byte: 4 ms
// and 9 MB of touched memory for each 1080p compressor or decompressor. Blocks of 128 KiB and
// more are therefore mapped from the kernel, whose fresh pages read as zero untouched. Each
// block starts with a header that says how it was made, so that freeing needs no size.
const size_t kMappedFrom = size_t{128} << 10;
const size_t kHeaderBytes = 64; // keeps the plane as aligned as malloc's blocks

uint8_t* AllocateZeroed(size_t bytes) {
    if (bytes > SIZE_MAX - kHeaderBytes) return nullptr;
    const size_t total = bytes + kHeaderBytes;
    void* block = nullptr;
    if (bytes >= kMappedFrom) {
        block = mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) return nullptr;
    } else {
        block = std::calloc(total, 1);
        if (block == nullptr) return nullptr;
    }
    const size_t mapped = bytes >= kMappedFrom ? total : 0;
    std::memcpy(block, &mapped, sizeof mapped);
    return static_cast<uint8_t*>(block) + kHeaderBytes;
}

void FreeZeroed(uint8_t* plane) {
    if (plane == nullptr) return;
    uint8_t* block = plane - kHeaderBytes;
    size_t mapped = 0;
    std::memcpy(&mapped, block, sizeof mapped);
    if (mapped != 0)
        munmap(block, mapped);
    else
        std::free(block);
}

uint32_t RoundUpTo16(uint32_t n) {
    return (n + 15) & ~15u;
}

} // namespace

void freeInternalPixelBuffer(InternalPixelBuffer* buffer) {
    FreeZeroed(buffer->y);
    FreeZeroed(buffer->u);
    FreeZeroed(buffer->v);
    buffer->y = nullptr;
    buffer->u = nullptr;
    buffer->v = nullptr;
}

int callocInternalPixelBuffer(uint32_t width, uint32_t height, InternalPixelBuffer* buffer) {
    freeInternalPixelBuffer(buffer);

    buffer->yRowBytes = RoundUpTo16(width);
    buffer->y = AllocateZeroed(static_cast<size_t>(buffer->yRowBytes) * height);
    if (buffer->y == nullptr) return memFullErr;

    buffer->uRowBytes = RoundUpTo16(width / 2);
    buffer->vRowBytes = buffer->uRowBytes;
    const uint32_t chromaBytes = (buffer->uRowBytes * height) / 2;

    buffer->u = AllocateZeroed(chromaBytes);
    if (buffer->u == nullptr) return memFullErr;
    buffer->v = AllocateZeroed(chromaBytes);
    if (buffer->v == nullptr) return memFullErr;
    return 0;
}

int CopyChunkyYUV422ToPlanarYUV420(uint32_t width, uint32_t height, const uint8_t* src, uint32_t srcRowBytes,
                                   uint8_t* dstY, uint32_t dstYRowBytes, uint8_t* dstU, uint32_t dstURowBytes,
                                   uint8_t* dstV, uint32_t dstVRowBytes) {
    for (uint32_t r = 0; r < height; r += 2) {
        const uint8_t* top = src + static_cast<size_t>(r) * srcRowBytes;
        const uint8_t* bottom = top + srcRowBytes;
        uint8_t* yTop = dstY + static_cast<size_t>(r) * dstYRowBytes;
        uint8_t* yBottom = yTop + dstYRowBytes;
        uint8_t* u = dstU + static_cast<size_t>(r / 2) * dstURowBytes;
        uint8_t* v = dstV + static_cast<size_t>(r / 2) * dstVRowBytes;
        for (uint32_t x = 0; x < width; x += 2) {
            const uint32_t k = x / 2;
            const uint8_t* gt = top + k * 4;
            const uint8_t* gb = bottom + k * 4;
            yTop[2 * k] = gt[1];
            yTop[2 * k + 1] = gt[3];
            yBottom[2 * k] = gb[1];
            yBottom[2 * k + 1] = gb[3];
            u[k] = static_cast<uint8_t>((gt[0] + gb[0]) >> 1);
            v[k] = static_cast<uint8_t>((gt[2] + gb[2]) >> 1);
        }
    }
    return 0;
}

int CopyPlanarYUV420ToChunkyYUV422(uint32_t width, uint32_t height, const uint8_t* srcY,
                                   uint32_t srcYRowBytes, const uint8_t* srcU, uint32_t srcURowBytes,
                                   const uint8_t* srcV, uint32_t srcVRowBytes, uint8_t* dst,
                                   uint32_t dstRowBytes) {
    for (uint32_t r = 0; r < height; r += 2) {
        uint8_t* top = dst + static_cast<size_t>(r) * dstRowBytes;
        uint8_t* bottom = top + dstRowBytes;
        const uint8_t* yTop = srcY + static_cast<size_t>(r) * srcYRowBytes;
        const uint8_t* yBottom = yTop + srcYRowBytes;
        const uint8_t* u = srcU + static_cast<size_t>(r / 2) * srcURowBytes;
        const uint8_t* v = srcV + static_cast<size_t>(r / 2) * srcVRowBytes;
        for (uint32_t x = 0; x < width; x += 2) {
            const uint32_t k = x / 2;
            top[k * 4 + 0] = u[k];
            top[k * 4 + 1] = yTop[2 * k];
            top[k * 4 + 2] = v[k];
            top[k * 4 + 3] = yTop[2 * k + 1];
            bottom[k * 4 + 0] = u[k];
            bottom[k * 4 + 1] = yBottom[2 * k];
            bottom[k * 4 + 2] = v[k];
            bottom[k * 4 + 3] = yBottom[2 * k + 1];
        }
    }
    return 0;
}
