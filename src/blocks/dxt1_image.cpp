// DXT1/DXT5 images through stb_dxt: the plain walker (one stb_compress_dxt_block call a block),
// and the choice of the SIMD walker (dxt1_image_simd.cpp) that writes the same bytes.
#include "dxt1_image.h"

#include <algorithm>
#include <cstddef>
#include <stb/stb_dxt.h>

#include "dxt24_simd.h"

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
