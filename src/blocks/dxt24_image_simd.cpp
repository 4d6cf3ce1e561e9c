// SIMD DXT24 image walker: gathers as many blocks as the target has 32-bit lanes (with the
// plain walker's edge padding), encodes them at once with the lane encoder and stores their
// 10 bytes. Compiled once per Highway target; the best one is picked at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "blocks/dxt24_image_simd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <hwy/highway.h>
#include <stb/stb_dxt.h>

#include "blocks/dxt24_block_simd-inl.h"
#include "blocks/dxt24_image.h"
#include "blocks/dxt24_simd.h"

HWY_BEFORE_NAMESPACE();
namespace dxt24 {
namespace HWY_NAMESPACE {

#if !QZKT_BLOCK_LANE_ENCODERS

// The plain walker is this target's encoder (see block_lanes_simd-inl.h).
void EncodeImage(unsigned char* out, unsigned char* src, int width, int height, int rowBytes, bool alpha) {
    stbCompressARGB32_to24_plain(reinterpret_cast<unsigned short*>(out), src, width, height, rowBytes, alpha);
}

#else

namespace {

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
    const size_t n = hn::Lanes(DU());
    HWY_ALIGN uint32_t color0[kMaxBlockLanes];
    HWY_ALIGN uint32_t color1[kMaxBlockLanes];
    HWY_ALIGN uint32_t indices[kMaxBlockLanes];
    ForEachBlockGroup(src, width, height, pitch, [&](const uint32_t* px, int count) {
        EncodeBlockLanes(px, color0, color1, indices);
        for (int lane = 0; lane < count; ++lane, out += 10) {
            if (alpha)
                StoreAlphaBytes(out, px, n, static_cast<size_t>(lane), color0[lane]);
            else
                StoreColorBytes(out, color0[lane], color1[lane], indices[lane]);
        }
    });
}

#endif // QZKT_BLOCK_LANE_ENCODERS

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
