// SIMD DXT24 block encoder: one 4x4 block per lane, each lane taking exactly the steps of
// the plain encoder (dxt24_block.cpp) in the same order, so every block gets the same bytes.
// The first steps (channels, principal axis, extremes) and the re-fit's sums are shared with
// the DXT1 lane encoder (block_lanes_simd-inl.h); here are the DXT24 matcher, the 8:8:8
// re-fit and the refinement passes. Included once per Highway target (foreach_target.h) by
// dxt24_image_simd.cpp.
//
// Exactness: the re-fit's float steps use the plain code's operations one by one, never a
// fused multiply-add. Branches of the plain code become per-lane masks; a lane that the
// plain code would have stopped keeps its values.

// Per-target include guard, as Highway requires for headers included once per target.
#if defined(QZKT_DXT24_BLOCK_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QZKT_DXT24_BLOCK_SIMD_INL_H_
#undef QZKT_DXT24_BLOCK_SIMD_INL_H_
#else
#define QZKT_DXT24_BLOCK_SIMD_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "blocks/block_lanes_simd-inl.h"

#if QZKT_BLOCK_LANE_ENCODERS

HWY_BEFORE_NAMESPACE();
namespace dxt24 {
namespace HWY_NAMESPACE {

// The index mask of every lane's block against the palette of endpoints c0 and c1 (packed
// 0x00RRGGBB): truncated thirds, the shifted half-sum crossover points, pixel 15 first.
HWY_INLINE VU MatchLanes(const ChannelPlanes& planes, VI c0, VI c1) {
    const DI di;
    const PaletteLine l =
        PaletteLineOf(Red(di, c0), Green(di, c0), Blue(di, c0), Red(di, c1), Green(di, c1), Blue(di, c1));
    const VI c0Point = hn::ShiftRight<1>(hn::Add(l.stop1, l.stop3));
    const VI halfPoint = hn::ShiftRight<1>(hn::Add(l.stop3, l.stop2));
    const VI c3Point = hn::ShiftRight<1>(hn::Add(l.stop2, l.stop0));
    return IndexMask<0>(planes, l.dr, l.dg, l.db, c0Point, halfPoint, c3Point);
}

// One channel of the re-fit: float(numerator) * f + 0.5, truncated, clamped to 0..255.
HWY_INLINE VI RefitChannel(DI di, VI numerator, VF f) {
    const DF df;
    const VF scaled = hn::Add(hn::Mul(hn::ConvertTo(df, numerator), f), hn::Set(df, 0.5f));
    return hn::Min(hn::Max(hn::ConvertTo(di, scaled), hn::Zero(di)), hn::Set(di, 255));
}

// Least-squares re-fit of every lane's endpoints to its mask. mean is the packed rounded
// mean colour, used when all 16 indices are equal; sumR/G/B are the channel sums.
HWY_INLINE void RefitLanes(const ChannelPlanes& planes, VU mask, VI mean, VI sumR, VI sumG, VI sumB,
                           VI& newMax, VI& newMin) {
    const DI di;
    const DF df;
    const RefitSystem s = RefitSums(planes, mask, sumR, sumG, sumB);
    const VF f = hn::Div(hn::Set(df, 3.0f), hn::ConvertTo(df, Determinant(s)));

    const VI fitMax = PackRGB(RefitChannel(di, hn::Sub(hn::Mul(s.at1R, s.yy), hn::Mul(s.at2R, s.xy)), f),
                              RefitChannel(di, hn::Sub(hn::Mul(s.at1G, s.yy), hn::Mul(s.at2G, s.xy)), f),
                              RefitChannel(di, hn::Sub(hn::Mul(s.at1B, s.yy), hn::Mul(s.at2B, s.xy)), f));
    const VI fitMin = PackRGB(RefitChannel(di, hn::Sub(hn::Mul(s.at2R, s.xx), hn::Mul(s.at1R, s.xy)), f),
                              RefitChannel(di, hn::Sub(hn::Mul(s.at2G, s.xx), hn::Mul(s.at1G, s.xy)), f),
                              RefitChannel(di, hn::Sub(hn::Mul(s.at2B, s.xx), hn::Mul(s.at1B, s.xy)), f));
    // All indices equal: the system is singular and the endpoints become the mean.
    newMax = hn::IfThenElse(s.allEqual, mean, fitMax);
    newMin = hn::IfThenElse(s.allEqual, mean, fitMin);
}

// Encodes Lanes(DU) blocks at once. px[i * N + lane] is pixel i (row order) of the lane's
// block as the 32-bit word of its bytes A, R, G, B in memory. Stores each lane's endpoints
// (colour 0 >= colour 1, packed 0x00RRGGBB) and index mask, as the plain encoder with two
// refinement passes gives them.
HWY_INLINE void EncodeBlockLanes(const uint32_t* HWY_RESTRICT px, uint32_t* HWY_RESTRICT color0,
                                 uint32_t* HWY_RESTRICT color1, uint32_t* HWY_RESTRICT indices) {
    const DU du;
    const DI di;
    BlockAnalysis a;
    const VI solidColor = PackedColor(di, hn::Load(du, px));
    if (AnalyzeBlockLanes(px, false, a)) {
        StoreBlockLanes(a.solid, solidColor, solidColor, solidColor, solidColor, hn::Zero(du), color0, color1,
                        indices);
        return;
    }
    const ChannelPlanes& planes = a.planes;

    // First match; equal endpoints give mask 0.
    VI max = PackedColor(di, a.maxPixel), min = PackedColor(di, a.minPixel);
    const VU zeroMask = hn::Zero(du);
    VU mask = hn::IfThenElse(hn::RebindMask(du, hn::Eq(max, min)), zeroMask, MatchLanes(planes, max, min));

    // Two refinement passes. A lane stops when its re-fit changes nothing, when the
    // endpoints meet (mask 0), or when matching repeats the mask the pass started from.
    const VI mean = PackRGB(a.muR, a.muG, a.muB);
    MI active = hn::Not(a.solid);
    for (int pass = 0; pass < 2 && !hn::AllFalse(di, active); ++pass) {
        const VU lastMask = mask;
        VI newMax, newMin;
        RefitLanes(planes, mask, mean, a.sumR, a.sumG, a.sumB, newMax, newMin);
        active = hn::And(active, hn::Or(hn::Ne(newMax, max), hn::Ne(newMin, min)));
        max = hn::IfThenElse(active, newMax, max);
        min = hn::IfThenElse(active, newMin, min);
        const MI met = hn::And(active, hn::Eq(max, min));
        mask = hn::IfThenElse(hn::RebindMask(du, met), zeroMask, mask);
        active = hn::AndNot(met, active);
        if (hn::AllFalse(di, active)) break;
        const VU matched = MatchLanes(planes, max, min);
        const auto activeU = hn::RebindMask(du, active);
        mask = hn::IfThenElse(activeU, matched, mask);
        active = hn::RebindMask(di, hn::And(activeU, hn::Ne(matched, lastMask)));
    }

    // Solid blocks: the colour in both endpoints. Colour 0 is the larger packed value.
    StoreBlockLanes(a.solid, solidColor, solidColor, max, min, mask, color0, color1, indices);
}

} // namespace HWY_NAMESPACE
} // namespace dxt24
HWY_AFTER_NAMESPACE();

#endif // QZKT_BLOCK_LANE_ENCODERS
#endif // per-target include guard
