// DXT24 image walker: the entry point that hands the image to the SIMD walker, and the
// plain walker that gathers each 4x4 block from the ARGB source as RGBA, encodes it with
// two refinement passes and stores its 10 bytes.
#include "dxt24_image.h"

#include <cstdint>
#include <cstring>

#include "dxt24_block.h"
#include "dxt24_simd.h"

namespace {

const int kBlockBytes = 10;
const int kHighQuality = 2; // stb_dxt's STB_DXT_HIGHQUAL: two refinement passes

// ARGB in memory read as a little-endian word is A | R<<8 | G<<16 | B<<24; rotating it right
// by 8 gives R | G<<8 | B<<16 | A<<24, i.e. the bytes R, G, B, A.
inline void CopyPixelAsRGBA(unsigned char* out, const unsigned char* in) {
    uint32_t v;
    std::memcpy(&v, in, 4);
    v = (v >> 8) | (v << 24);
    std::memcpy(out, &v, 4);
}

// A block that lies wholly inside the image.
void GatherBlock(unsigned char* block, const unsigned char* src, long pitch) {
    for (int r = 0; r < 4; ++r) {
        const unsigned char* row = src + r * pitch;
        for (int c = 0; c < 4; ++c)
            CopyPixelAsRGBA(block + (r * 4 + c) * 4, row + c * 4);
    }
}

// A partial block at the right or bottom edge: the last real row and column repeat.
void GatherEdgeBlock(unsigned char* block, const unsigned char* src, long pitch, int rowsLeft, int colsLeft) {
    for (int r = 0; r < 4; ++r) {
        const unsigned char* row = src + (r < rowsLeft ? r : rowsLeft - 1) * pitch;
        for (int c = 0; c < 4; ++c)
            CopyPixelAsRGBA(block + (r * 4 + c) * 4, row + (c < colsLeft ? c : colsLeft - 1) * 4);
    }
}

} // namespace

void _stbCompressARGB32_to24(unsigned short* dst, unsigned char* src, int width, int height, int rowBytes,
                             bool alpha) {
    if (width < 1 || height < 1) return;
    dxt24::EncodeImageSimd(reinterpret_cast<unsigned char*>(dst), src, width, height, rowBytes, alpha);
}

void stbCompressARGB32_to24_plain(unsigned short* dst, unsigned char* src, int width, int height,
                                  int rowBytes, bool alpha) {
    const long pitch = rowBytes != 0 ? rowBytes : static_cast<long>(width) * 4;
    if (width < 1 || height < 1) return;
    const int blocksAcross = (width + 3) / 4;
    const int blocksDown = (height + 3) / 4;

    unsigned char* out = reinterpret_cast<unsigned char*>(dst);
    unsigned char block[64];
    unsigned char encoded[18];

    for (int by = 0; by < blocksDown; ++by) {
        const int y = by * 4;
        const int rowsLeft = height - y;
        const unsigned char* srcRow = src + y * pitch;
        for (int bx = 0; bx < blocksAcross; ++bx) {
            const int x = bx * 4;
            const int colsLeft = width - x;
            if (rowsLeft >= 4 && colsLeft >= 4)
                GatherBlock(block, srcRow + x * 4, pitch);
            else
                GatherEdgeBlock(block, srcRow + x * 4, pitch, rowsLeft, colsLeft);
            stb_compress_dxt_block_24(encoded, block, alpha ? 1 : 0, kHighQuality);
            std::memcpy(out, encoded, kBlockBytes);
            out += kBlockBytes;
        }
    }
}
