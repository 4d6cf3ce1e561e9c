// SIMD DXT1 colour block encoder: stb_dxt's stb_compress_dxt_block in high-quality mode, one
// 4x4 block per lane, each lane taking exactly stb's steps in stb's order, so every block gets
// stb's bytes. The first steps (channels, principal axis, extremes) and the re-fit's sums
// are those of block_lanes_simd-inl.h; here are stb's 5:6:5 endpoints, its palette and
// matcher, its quantising re-fit with the single-colour tables, and the refinement passes.
// Included once per Highway target (foreach_target.h) by dxt1_image_simd.cpp.
//
// Exactness: the re-fit's float steps are stb's operations one by one (3/255 divided by the
// determinant, the numerator converted and multiplied, truncation, the midpoint compare),
// never a fused multiply-add; the tables are stb's own (stb_dxt_tables.h).

// Per-target include guard, as Highway requires for headers included once per target.
#if defined(QZKT_DXT1_BLOCK_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QZKT_DXT1_BLOCK_SIMD_INL_H_
#undef QZKT_DXT1_BLOCK_SIMD_INL_H_
#else
#define QZKT_DXT1_BLOCK_SIMD_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "blocks/block_lanes_simd-inl.h"
#include "blocks/stb_dxt_tables.h"

#if QZKT_BLOCK_LANE_ENCODERS

HWY_BEFORE_NAMESPACE();
namespace dxt24 {
namespace HWY_NAMESPACE {

// stb's Mul8Bit(a, b): a * b / 255 with its rounding, (t + (t >> 8)) >> 8 for t = a * b + 128.
HWY_INLINE VI Mul8Bit(DI di, VI a, int b) {
    const VI t = hn::Add(hn::Mul(a, hn::Set(di, b)), hn::Set(di, 128));
    return hn::ShiftRight<8>(hn::Add(t, hn::ShiftRight<8>(t)));
}

// stb's As16Bit: a packed 0x00RRGGBB colour as 5:6:5.
HWY_INLINE VI As16Bit(DI di, VI c) {
    return hn::Or(hn::Or(hn::ShiftLeft<11>(Mul8Bit(di, Red(di, c), 31)),
                         hn::ShiftLeft<5>(Mul8Bit(di, Green(di, c), 63))),
                  Mul8Bit(di, Blue(di, c), 31));
}

// stb's From16Bit: 5:6:5 back to 8 bits a channel by bit replication.
HWY_INLINE void From16Bit(DI di, VI v, VI& r, VI& g, VI& b) {
    r = hn::ShiftRight<2>(hn::Mul(hn::And(hn::ShiftRight<11>(v), hn::Set(di, 31)), hn::Set(di, 33)));
    g = hn::ShiftRight<4>(hn::Mul(hn::And(hn::ShiftRight<5>(v), hn::Set(di, 63)), hn::Set(di, 65)));
    b = hn::ShiftRight<2>(hn::Mul(hn::And(v, hn::Set(di, 31)), hn::Set(di, 33)));
}

// stb's EvalColors and MatchColorsBlock: the index mask of every lane's block against the
// palette of the 5:6:5 endpoints c0 and c1 (thirds truncated, doubled dots).
HWY_INLINE VU Match565Lanes(const ChannelPlanes& planes, VI c0, VI c1) {
    const DI di;
    VI r0, g0, b0, r1, g1, b1;
    From16Bit(di, c0, r0, g0, b0);
    From16Bit(di, c1, r1, g1, b1);
    const PaletteLine l = PaletteLineOf(r0, g0, b0, r1, g1, b1);
    return IndexMask<1>(planes, l.dr, l.dg, l.db, hn::Add(l.stop1, l.stop3), hn::Add(l.stop3, l.stop2),
                        hn::Add(l.stop2, l.stop0));
}

// The best endpoints for a single colour, from stb's tables.
HWY_INLINE void SingleColorLanes(const StbDxtTables& t, VI r, VI g, VI b, VI& max16, VI& min16) {
    const DI di;
    max16 = hn::Or(hn::Or(hn::ShiftLeft<11>(hn::GatherIndex(di, t.match5Max, r)),
                          hn::ShiftLeft<5>(hn::GatherIndex(di, t.match6Max, g))),
                   hn::GatherIndex(di, t.match5Max, b));
    min16 = hn::Or(hn::Or(hn::ShiftLeft<11>(hn::GatherIndex(di, t.match5Min, r)),
                          hn::ShiftLeft<5>(hn::GatherIndex(di, t.match6Min, g))),
                   hn::GatherIndex(di, t.match5Min, b));
}

// stb's midpoint of each lane's level q (0 to levels) from its table of levels + 1 entries.
// With AVX-512 the table sits in two or four registers and two-register permutes pick the
// entries, which is quicker than a gather; elsewhere a gather.
template <int levels> HWY_INLINE VF Midpoint(const float* HWY_RESTRICT midpoints, VI q) {
    const DF df;
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
    static_assert(hn::MaxLanes(DF()) == 16, "16 floats a vector");
    const __m512 low = _mm512_permutex2var_ps(hn::LoadU(df, midpoints).raw, q.raw,
                                              hn::LoadU(df, midpoints + 16).raw); // entries 0-31
    if constexpr (levels == 31) {
        return VF{low};
    } else {
        static_assert(levels == 63, "stb's levels: 31 or 63");
        const __m512 high = _mm512_permutex2var_ps(hn::LoadU(df, midpoints + 32).raw, q.raw,
                                                   hn::LoadU(df, midpoints + 48).raw); // 32-63
        return VF{_mm512_mask_blend_ps(_mm512_test_epi32_mask(q.raw, _mm512_set1_epi32(32)), low, high)};
    }
#else
    return hn::GatherIndex(df, midpoints, q);
#endif
}

// stb's Quantize5 (levels 31) and Quantize6 (levels 63): x saturated to 0..1, truncate
// x * levels, and one more where x lies above that level's midpoint.
template <int levels> HWY_INLINE VI Quantize(VF x, const float* midpoints) {
    const DI di;
    const DF df;
    const VF saturated = hn::Min(hn::Max(x, hn::Zero(df)), hn::Set(df, 1.0f));
    const VI q = hn::ConvertTo(di, hn::Mul(saturated, hn::Set(df, static_cast<float>(levels))));
    const VF midpoint = Midpoint<levels>(midpoints, q);
    return hn::Add(q, hn::IfThenElseZero(hn::RebindMask(di, hn::Gt(saturated, midpoint)), hn::Set(di, 1)));
}

// stb's RefineBlock for every lane: the least-squares endpoints of its mask, quantised to
// 5:6:5, or, where all 16 indices are equal, the single-colour endpoints of the mean.
HWY_INLINE void Refine565Lanes(const StbDxtTables& t, const BlockAnalysis& a, VU mask, VI& max16, VI& min16) {
    const DF df;
    const RefitSystem s = RefitSums(a.planes, mask, a.sumR, a.sumG, a.sumB);
    const VF f = hn::Div(hn::Set(df, 3.0f / 255.0f), hn::ConvertTo(df, Determinant(s)));
    const auto level5 = [&](VI numerator) {
        return Quantize<31>(hn::Mul(hn::ConvertTo(df, numerator), f), t.midpoints5);
    };
    const auto level6 = [&](VI numerator) {
        return Quantize<63>(hn::Mul(hn::ConvertTo(df, numerator), f), t.midpoints6);
    };
    const VI fitMax =
        hn::Or(hn::Or(hn::ShiftLeft<11>(level5(hn::Sub(hn::Mul(s.at1R, s.yy), hn::Mul(s.at2R, s.xy)))),
                      hn::ShiftLeft<5>(level6(hn::Sub(hn::Mul(s.at1G, s.yy), hn::Mul(s.at2G, s.xy))))),
               level5(hn::Sub(hn::Mul(s.at1B, s.yy), hn::Mul(s.at2B, s.xy))));
    const VI fitMin =
        hn::Or(hn::Or(hn::ShiftLeft<11>(level5(hn::Sub(hn::Mul(s.at2R, s.xx), hn::Mul(s.at1R, s.xy)))),
                      hn::ShiftLeft<5>(level6(hn::Sub(hn::Mul(s.at2G, s.xx), hn::Mul(s.at1G, s.xy))))),
               level5(hn::Sub(hn::Mul(s.at2B, s.xx), hn::Mul(s.at1B, s.xy))));
    // The single-colour endpoints of the mean, where some lane needs them: six gathers that
    // blocks with more than one index never use.
    VI meanMax = hn::Zero(DI()), meanMin = hn::Zero(DI());
    if (!hn::AllFalse(DI(), s.allEqual))
        SingleColorLanes(t, a.muR, a.muG, a.muB, meanMax, meanMin); // stb's mean is (sum + 8) >> 4 too
    max16 = hn::IfThenElse(s.allEqual, meanMax, fitMax);
    min16 = hn::IfThenElse(s.allEqual, meanMin, fitMin);
}

// Encodes Lanes(DU) blocks at once, as stb_compress_dxt_block(..., alpha, STB_DXT_HIGHQUAL)
// encodes the colour part. px[i * N + lane] is pixel i (row order) of the lane's block as the
// 32-bit word of its bytes A, R, G, B in memory; with alpha, stb makes alpha opaque before
// its solid test. Stores each lane's two 5:6:5 endpoints (colour 0 >= colour 1) and mask.
HWY_INLINE void EncodeDXT1BlockLanes(const StbDxtTables& t, const uint32_t* HWY_RESTRICT px, bool alpha,
                                     uint32_t* HWY_RESTRICT color0, uint32_t* HWY_RESTRICT color1,
                                     uint32_t* HWY_RESTRICT indices) {
    const DU du;
    const DI di;
    BlockAnalysis a;
    const bool allSolid = AnalyzeBlockLanes(px, alpha, a);
    // The single-colour endpoints of the first pixel, where some lane is solid.
    VI solidMax = hn::Zero(di), solidMin = hn::Zero(di);
    if (!hn::AllFalse(di, a.solid)) {
        const VI first = PackedColor(di, hn::Load(du, px));
        SingleColorLanes(t, Red(di, first), Green(di, first), Blue(di, first), solidMax, solidMin);
    }
    if (allSolid) {
        // stb writes the table's endpoints as they are, swapped where colour 0 < colour 1.
        StoreBlockLanes(a.solid, solidMax, solidMin, solidMax, solidMin, hn::Zero(du), color0, color1,
                        indices);
        return;
    }

    // First match; equal endpoints give mask 0.
    VI max = As16Bit(di, PackedColor(di, a.maxPixel)), min = As16Bit(di, PackedColor(di, a.minPixel));
    const VU zeroMask = hn::Zero(du);
    VU mask =
        hn::IfThenElse(hn::RebindMask(du, hn::Eq(max, min)), zeroMask, Match565Lanes(a.planes, max, min));

    // Two refinement passes. A lane stops when its re-fit changes nothing, when the
    // endpoints meet (mask 0), or when matching repeats the mask the pass started from.
    MI active = hn::Not(a.solid);
    for (int pass = 0; pass < 2 && !hn::AllFalse(di, active); ++pass) {
        const VU lastMask = mask;
        VI newMax, newMin;
        Refine565Lanes(t, a, mask, newMax, newMin);
        const MI changed = hn::And(active, hn::Or(hn::Ne(newMax, max), hn::Ne(newMin, min)));
        max = hn::IfThenElse(changed, newMax, max);
        min = hn::IfThenElse(changed, newMin, min);
        const MI met = hn::And(changed, hn::Eq(max, min));
        mask = hn::IfThenElse(hn::RebindMask(du, met), zeroMask, mask);
        const MI rematch = hn::AndNot(met, changed);
        if (!hn::AllFalse(di, rematch))
            mask = hn::IfThenElse(hn::RebindMask(du, rematch), Match565Lanes(a.planes, max, min), mask);
        active = hn::AndNot(met, hn::And(active, hn::RebindMask(di, hn::Ne(mask, lastMask))));
    }

    // Solid blocks: the single-colour endpoints. Colour 0 is the larger 5:6:5 value.
    StoreBlockLanes(a.solid, solidMax, solidMin, max, min, mask, color0, color1, indices);
}

} // namespace HWY_NAMESPACE
} // namespace dxt24
HWY_AFTER_NAMESPACE();

#endif // QZKT_BLOCK_LANE_ENCODERS
#endif // per-target include guard
