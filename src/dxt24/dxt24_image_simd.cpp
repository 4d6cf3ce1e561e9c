// SIMD DXT24 image walker: gathers as many blocks as the target has 32-bit lanes (with the
// plain walker's edge padding), encodes them at once with the lane encoder and stores their
// 10 bytes. Compiled once per Highway target; the best one is picked at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dxt24/dxt24_image_simd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <hwy/highway.h>
#include <stb/stb_dxt.h>

#include "dxt24/dxt24_block_simd-inl.h"
#include "dxt24/dxt24_image.h"
#include "dxt24/dxt24_simd.h"

HWY_BEFORE_NAMESPACE();
namespace dxt24 {
namespace HWY_NAMESPACE {

#if !QZKT_DXT24_LANE_ENCODER

// The plain walker is this target's encoder (see dxt24_block_simd-inl.h).
void EncodeImage(unsigned char* out, unsigned char* src, int width, int height, int rowBytes, bool alpha) {
    stbCompressARGB32_to24_plain(reinterpret_cast<unsigned short*>(out), src, width, height, rowBytes, alpha);
}

#else

namespace {

// A group of blocks wholly inside the image, on 4-byte aligned rows: each row of the group
// is 4n consecutive pixels, and de-interleaving them by 4 gives pixel column c of every
// block at once.
void GatherInside(const unsigned char* groupTop, long pitch, uint32_t* HWY_RESTRICT px) {
    const DU du;
    const size_t n = hn::Lanes(du);
    for (int r = 0; r < 4; ++r) {
        const uint32_t* row = reinterpret_cast<const uint32_t*>(groupTop + r * pitch);
        VU c0, c1, c2, c3;
        hn::LoadInterleaved4(du, row, c0, c1, c2, c3);
        hn::Store(c0, du, px + (r * 4 + 0) * n);
        hn::Store(c1, du, px + (r * 4 + 1) * n);
        hn::Store(c2, du, px + (r * 4 + 2) * n);
        hn::Store(c3, du, px + (r * 4 + 3) * n);
    }
}

// Any group: lanes past the last block repeat it, and a partial block repeats the last real
// row and column, as the plain walker pads.
void GatherEdge(const unsigned char* blockRow, long pitch, int firstBlock, int count, int rowsLeft, int width,
                uint32_t* HWY_RESTRICT px) {
    const size_t n = hn::Lanes(DU());
    for (size_t lane = 0; lane < n; ++lane) {
        const int x = 4 * (firstBlock + std::min(static_cast<int>(lane), count - 1));
        const int colsLeft = width - x;
        for (int r = 0; r < 4; ++r) {
            const unsigned char* row = blockRow + std::min(r, rowsLeft - 1) * pitch + x * 4;
            for (int c = 0; c < 4; ++c)
                std::memcpy(&px[(r * 4 + c) * n + lane], row + std::min(c, colsLeft - 1) * 4, 4);
        }
    }
}

// Colour 0's and colour 1's bytes R, G, B and the index mask, little-endian, as two stores
// (the module, like the plain walker, runs on little-endian hosts).
void StoreColorBytes(unsigned char* out, uint32_t color0, uint32_t color1, uint32_t indices) {
    const uint64_t rgb0 = __builtin_bswap32(color0) >> 8; // bytes R, G, B of 0x00RRGGBB
    const uint64_t rgb1 = __builtin_bswap32(color1) >> 8;
    const uint64_t low = rgb0 | rgb1 << 24 | static_cast<uint64_t>(indices & 0xFFFF) << 48;
    const uint16_t high = static_cast<uint16_t>(indices >> 16);
    std::memcpy(out, &low, 8);
    std::memcpy(out + 8, &high, 2);
}

// With alpha the stored unit is the 8-byte DXT5 alpha block and colour 0's red and green.
void StoreAlphaBytes(unsigned char* out, const uint32_t* px, size_t n, size_t lane, uint32_t color0) {
    unsigned char alphas[16];
    for (size_t i = 0; i < 16; ++i)
        alphas[i] = static_cast<unsigned char>(px[i * n + lane]);
    unsigned char alphaBlock[8];
    stb_compress_bc4_block(alphaBlock, alphas);
    std::memcpy(out, alphaBlock, 8);
    out[8] = static_cast<unsigned char>(color0 >> 16);
    out[9] = static_cast<unsigned char>(color0 >> 8);
}

} // namespace

void EncodeImage(unsigned char* out, unsigned char* src, int width, int height, int rowBytes, bool alpha) {
    const long pitch = rowBytes != 0 ? rowBytes : static_cast<long>(width) * 4;
    const DU du;
    const size_t n = hn::Lanes(du);
    const int lanes = static_cast<int>(n);
    HWY_ALIGN uint32_t px[16 * kMaxBlockLanes];
    HWY_ALIGN uint32_t color0[kMaxBlockLanes];
    HWY_ALIGN uint32_t color1[kMaxBlockLanes];
    HWY_ALIGN uint32_t indices[kMaxBlockLanes];

    const int blocksAcross = (width + 3) / 4;
    const int blocksDown = (height + 3) / 4;
    const bool wordRows = reinterpret_cast<uintptr_t>(src) % 4 == 0 && pitch % 4 == 0;

    for (int by = 0; by < blocksDown; ++by) {
        const int rowsLeft = height - by * 4;
        const unsigned char* blockRow = src + by * 4 * pitch;
        for (int bx = 0; bx < blocksAcross; bx += lanes) {
            const int count = std::min(lanes, blocksAcross - bx);
            if (wordRows && rowsLeft >= 4 && (bx + lanes) * 4 <= width)
                GatherInside(blockRow + bx * 16, pitch, px);
            else
                GatherEdge(blockRow, pitch, bx, count, rowsLeft, width, px);
            EncodeBlockLanes(px, color0, color1, indices);
            for (int lane = 0; lane < count; ++lane, out += 10) {
                if (alpha)
                    StoreAlphaBytes(out, px, n, static_cast<size_t>(lane), color0[lane]);
                else
                    StoreColorBytes(out, color0[lane], color1[lane], indices[lane]);
            }
        }
    }
}

#endif // QZKT_DXT24_LANE_ENCODER

} // namespace HWY_NAMESPACE
} // namespace dxt24
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dxt24 {

HWY_EXPORT(EncodeImage);

void EncodeImageSimd(unsigned char* out, unsigned char* src, int width, int height, int rowBytes,
                     bool alpha) {
    HWY_DYNAMIC_DISPATCH(EncodeImage)(out, src, width, height, rowBytes, alpha);
}

} // namespace dxt24
#endif
