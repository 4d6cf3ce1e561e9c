// SIMD DXT1/DXT5 image walker: the bytes of stb_compress_dxt_block in high-quality mode for
// every 4x4 block of an ARGB image, as many blocks at once as the target has 32-bit lanes
// (with the plain walker's edge padding). DXT5's alpha blocks come from stb_compress_bc4_block
// one block at a time, as stb makes them. Compiled once per Highway target; the best one is
// picked at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "blocks/dxt1_image_simd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <cstdint>
#include <cstring>

#include <hwy/highway.h>
#include <stb/stb_dxt.h>

#include "blocks/dxt1_block_simd-inl.h"
#include "blocks/dxt24_simd.h"
#include "blocks/stb_dxt_tables.h"

HWY_BEFORE_NAMESPACE();
namespace dxt24 {
namespace HWY_NAMESPACE {

#if !QZKT_BLOCK_LANE_ENCODERS

// No lane encoder on this target: the caller runs its plain walker.
bool EncodeDXT1Image(unsigned char*, const unsigned char*, int, int, int, bool) {
    return false;
}

#else

bool EncodeDXT1Image(unsigned char* out, const unsigned char* src, int width, int height, int rowBytes,
                     bool alpha) {
    const StbDxtTables& tables = GetStbDxtTables();
    const long pitch = rowBytes != 0 ? rowBytes : static_cast<long>(width) * 4;
    const size_t n = hn::Lanes(DU());
    HWY_ALIGN uint32_t color0[kMaxBlockLanes];
    HWY_ALIGN uint32_t color1[kMaxBlockLanes];
    HWY_ALIGN uint32_t indices[kMaxBlockLanes];
    ForEachBlockGroup(src, width, height, pitch, [&](const uint32_t* px, int count) {
        EncodeDXT1BlockLanes(tables, px, alpha, color0, color1, indices);
        for (int lane = 0; lane < count; ++lane) {
            if (alpha) {
                unsigned char alphas[16];
                for (size_t i = 0; i < 16; ++i)
                    alphas[i] = static_cast<unsigned char>(px[i * n + static_cast<size_t>(lane)]);
                stb_compress_bc4_block(out, alphas);
                out += 8;
            }
            // Colour 0, colour 1 and the mask, little-endian (the module runs on little-endian hosts).
            const uint64_t block =
                color0[lane] | color1[lane] << 16 | static_cast<uint64_t>(indices[lane]) << 32;
            std::memcpy(out, &block, 8);
            out += 8;
        }
    });
    return true;
}

#endif // QZKT_BLOCK_LANE_ENCODERS

} // namespace HWY_NAMESPACE
} // namespace dxt24
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dxt24 {

HWY_EXPORT(EncodeDXT1Image);

bool EncodeDXT1ImageSimd(unsigned char* out, const unsigned char* src, int width, int height, int rowBytes,
                         bool alpha) {
    return HWY_DYNAMIC_DISPATCH(EncodeDXT1Image)(out, src, width, height, rowBytes, alpha);
}

} // namespace dxt24
#endif
