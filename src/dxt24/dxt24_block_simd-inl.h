// SIMD DXT24 block encoder: one 4x4 block per lane, each lane taking exactly the steps of
// the plain encoder (dxt24_block.cpp) in the same order, so every block gets the same bytes.
// Included once per Highway target (foreach_target.h) by dxt24_image_simd.cpp.
//
// Exactness: integer steps give the same results in any order; the float steps (covariance
// scale, power iteration, re-fit) use the plain code's operations one by one, never a fused
// multiply-add (no MulAdd here, and the module is built with -ffp-contract=off). The 512
// scale is taken in double on two half vectors. Branches of the plain code become per-lane
// masks; a lane that the plain code would have stopped keeps its values.

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

// The one-lane fallback target has no 128-bit shuffles; its walker runs the plain encoder.
#if HWY_TARGET != HWY_SCALAR

HWY_BEFORE_NAMESPACE();
namespace dxt24 {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using DU = hn::ScalableTag<uint32_t>;
using DI = hn::RebindToSigned<DU>;
using DF = hn::RebindToFloat<DU>;
using VU = hn::Vec<DU>;
using VI = hn::Vec<DI>;
using VF = hn::Vec<DF>;
using MI = hn::Mask<DI>;

// Most blocks one call encodes on this target.
constexpr size_t kMaxBlockLanes = HWY_LANES(uint32_t);

// The 16 pixels of every lane's block as separate channels: plane[i * N + lane] is pixel i
// (row order) of that lane's block.
struct ChannelPlanes {
    HWY_ALIGN int32_t r[16 * kMaxBlockLanes];
    HWY_ALIGN int32_t g[16 * kMaxBlockLanes];
    HWY_ALIGN int32_t b[16 * kMaxBlockLanes];
};

HWY_INLINE VI PackRGB(VI r, VI g, VI b) {
    return hn::Or(hn::Or(hn::ShiftLeft<16>(r), hn::ShiftLeft<8>(g)), b);
}

HWY_INLINE VI Red(DI di, VI c) {
    return hn::And(hn::ShiftRight<16>(c), hn::Set(di, 255));
}
HWY_INLINE VI Green(DI di, VI c) {
    return hn::And(hn::ShiftRight<8>(c), hn::Set(di, 255));
}
HWY_INLINE VI Blue(DI di, VI c) {
    return hn::And(c, hn::Set(di, 255));
}

// x / 3 truncated, for 0 <= x <= 765: (x * 43691) >> 17 is exact in that range.
HWY_INLINE VI DivideBy3(DI di, VI x) {
    return hn::ShiftRight<17>(hn::Mul(x, hn::Set(di, 43691)));
}

HWY_INLINE VI Dot(VI r, VI g, VI b, VI dr, VI dg, VI db) {
    return hn::Add(hn::Add(hn::Mul(r, dr), hn::Mul(g, dg)), hn::Mul(b, db));
}

// The index mask of every lane's block against the palette of endpoints c0 and c1 (packed
// 0x00RRGGBB): truncated thirds, the shifted half-sum crossover points, pixel 15 first.
HWY_INLINE VU MatchLanes(const ChannelPlanes& planes, VI c0, VI c1) {
    const DI di;
    const DU du;
    const size_t n = hn::Lanes(di);
    const VI r0 = Red(di, c0), g0 = Green(di, c0), b0 = Blue(di, c0);
    const VI r1 = Red(di, c1), g1 = Green(di, c1), b1 = Blue(di, c1);
    const VI dr = hn::Sub(r0, r1), dg = hn::Sub(g0, g1), db = hn::Sub(b0, b1);

    const VI r2 = DivideBy3(di, hn::Add(hn::Add(r0, r0), r1));
    const VI g2 = DivideBy3(di, hn::Add(hn::Add(g0, g0), g1));
    const VI b2 = DivideBy3(di, hn::Add(hn::Add(b0, b0), b1));
    const VI r3 = DivideBy3(di, hn::Add(hn::Add(r1, r1), r0));
    const VI g3 = DivideBy3(di, hn::Add(hn::Add(g1, g1), g0));
    const VI b3 = DivideBy3(di, hn::Add(hn::Add(b1, b1), b0));

    const VI stop0 = Dot(r0, g0, b0, dr, dg, db);
    const VI stop1 = Dot(r1, g1, b1, dr, dg, db);
    const VI stop2 = Dot(r2, g2, b2, dr, dg, db);
    const VI stop3 = Dot(r3, g3, b3, dr, dg, db);
    const VI c0Point = hn::ShiftRight<1>(hn::Add(stop1, stop3));
    const VI halfPoint = hn::ShiftRight<1>(hn::Add(stop3, stop2));
    const VI c3Point = hn::ShiftRight<1>(hn::Add(stop2, stop0));

    const VI one = hn::Set(di, 1), two = hn::Set(di, 2), three = hn::Set(di, 3), zero = hn::Zero(di);
    VU mask = hn::Zero(du);
    for (int i = 15; i >= 0; --i) {
        const size_t at = static_cast<size_t>(i) * n;
        const VI dot = Dot(hn::Load(di, planes.r + at), hn::Load(di, planes.g + at),
                           hn::Load(di, planes.b + at), dr, dg, db);
        const VI low = hn::IfThenElse(hn::Lt(dot, c0Point), one, three);
        const VI high = hn::IfThenElse(hn::Lt(dot, c3Point), two, zero);
        const VI index = hn::IfThenElse(hn::Lt(dot, halfPoint), low, high);
        mask = hn::Or(hn::ShiftLeft<2>(mask), hn::BitCast(du, index));
    }
    return mask;
}

// Per index k, the bytes {w1, w1*w2, w2*w2, w1*w1} of the re-fit (w1 = weight of colour 0
// in thirds, w2 = 3 - w1) at byte 4j + k, so that one byte shuffle gives a pixel's word
// w1 | xy << 8 | yy << 16 | xx << 24. Summed over 16 pixels no byte carries (at most 144).
alignas(16) static constexpr uint8_t kRefitWeights[16] = {3, 0, 2, 1, 0, 0, 2, 2, 0, 9, 1, 4, 9, 0, 4, 1};

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
    const DU du;
    const DF df;
    const hn::Repartition<uint8_t, DU> du8;
    const size_t n = hn::Lanes(di);

    const auto weights = hn::LoadDup128(du8, kRefitWeights);
    VU cm = mask;
    VU akku = hn::Zero(du);
    VI at1R = hn::Zero(di), at1G = hn::Zero(di), at1B = hn::Zero(di);
    for (size_t i = 0; i < 16; ++i, cm = hn::ShiftRight<2>(cm)) {
        const VU step = hn::And(cm, hn::Set(du, 3));
        const VU select = hn::Add(hn::Mul(step, hn::Set(du, 0x01010101u)), hn::Set(du, 0x0C080400u));
        const VU weight = hn::BitCast(du, hn::TableLookupBytes(weights, hn::BitCast(du8, select)));
        akku = hn::Add(akku, weight);
        const VI w1 = hn::BitCast(di, hn::And(weight, hn::Set(du, 255)));
        const size_t at = i * n;
        at1R = hn::Add(at1R, hn::Mul(w1, hn::Load(di, planes.r + at)));
        at1G = hn::Add(at1G, hn::Mul(w1, hn::Load(di, planes.g + at)));
        at1B = hn::Add(at1B, hn::Mul(w1, hn::Load(di, planes.b + at)));
    }
    const VI three = hn::Set(di, 3);
    const VI at2R = hn::Sub(hn::Mul(three, sumR), at1R);
    const VI at2G = hn::Sub(hn::Mul(three, sumG), at1G);
    const VI at2B = hn::Sub(hn::Mul(three, sumB), at1B);

    const VI sums = hn::BitCast(di, akku);
    const VI xx = hn::BitCast(di, hn::ShiftRight<24>(akku));
    const VI yy = hn::And(hn::ShiftRight<16>(sums), hn::Set(di, 255));
    const VI xy = hn::And(hn::ShiftRight<8>(sums), hn::Set(di, 255));

    // All indices equal: the determinant is zero and the endpoints become the mean. Such
    // lanes divide by 1 instead, and their result is not used.
    const VU spread = hn::Xor(mask, hn::ShiftLeft<2>(mask));
    const auto allEqual = hn::RebindMask(di, hn::Eq(hn::And(spread, hn::Set(du, ~3u)), hn::Zero(du)));
    const VI det = hn::IfThenElse(allEqual, hn::Set(di, 1), hn::Sub(hn::Mul(xx, yy), hn::Mul(xy, xy)));
    const VF f = hn::Div(hn::Set(df, 3.0f), hn::ConvertTo(df, det));

    const VI fitMax = PackRGB(RefitChannel(di, hn::Sub(hn::Mul(at1R, yy), hn::Mul(at2R, xy)), f),
                              RefitChannel(di, hn::Sub(hn::Mul(at1G, yy), hn::Mul(at2G, xy)), f),
                              RefitChannel(di, hn::Sub(hn::Mul(at1B, yy), hn::Mul(at2B, xy)), f));
    const VI fitMin = PackRGB(RefitChannel(di, hn::Sub(hn::Mul(at2R, xx), hn::Mul(at1R, xy)), f),
                              RefitChannel(di, hn::Sub(hn::Mul(at2G, xx), hn::Mul(at1G, xy)), f),
                              RefitChannel(di, hn::Sub(hn::Mul(at2B, xx), hn::Mul(at1B, xy)), f));
    newMax = hn::IfThenElse(allEqual, mean, fitMax);
    newMin = hn::IfThenElse(allEqual, mean, fitMin);
}

// The axis components truncate(v * (512 / magn)) in double precision, half a vector at a
// time, exactly as the plain code converts each float component to double.
HWY_INLINE VI ScaleAxis(VF v, VF magn) {
    const DI di;
    const hn::Half<DF> dfh;
    const hn::Repartition<double, DF> dd;
    const hn::Rebind<int32_t, decltype(dd)> dih;
    const auto scaleLo = hn::Div(hn::Set(dd, 512.0), hn::PromoteTo(dd, hn::LowerHalf(dfh, magn)));
    const auto scaleHi = hn::Div(hn::Set(dd, 512.0), hn::PromoteTo(dd, hn::UpperHalf(dfh, magn)));
    const auto lo = hn::DemoteTo(dih, hn::Mul(hn::PromoteTo(dd, hn::LowerHalf(dfh, v)), scaleLo));
    const auto hi = hn::DemoteTo(dih, hn::Mul(hn::PromoteTo(dd, hn::UpperHalf(dfh, v)), scaleHi));
    return hn::Combine(di, hi, lo);
}

// Encodes Lanes(DU) blocks at once. px[i * N + lane] is pixel i (row order) of the lane's
// block as the 32-bit word of its bytes A, R, G, B in memory. Stores each lane's endpoints
// (colour 0 >= colour 1, packed 0x00RRGGBB) and index mask, as the plain encoder with two
// refinement passes gives them.
HWY_INLINE void EncodeBlockLanes(const uint32_t* HWY_RESTRICT px, uint32_t* HWY_RESTRICT color0,
                                 uint32_t* HWY_RESTRICT color1, uint32_t* HWY_RESTRICT indices) {
    const DU du;
    const DI di;
    const DF df;
    const size_t n = hn::Lanes(du);
    ChannelPlanes planes;

    // Channels, sums, extremes, and the solid test on whole 32-bit pixels (alpha included).
    const VU first = hn::Load(du, px);
    auto solid = hn::Eq(first, first);
    VI sumR = hn::Zero(di), sumG = hn::Zero(di), sumB = hn::Zero(di);
    VI minR = hn::Set(di, 255), minG = minR, minB = minR;
    VI maxR = hn::Zero(di), maxG = maxR, maxB = maxR;
    for (size_t i = 0; i < 16; ++i) {
        const VU p = hn::Load(du, px + i * n);
        solid = hn::And(solid, hn::Eq(p, first));
        const VI r = hn::BitCast(di, hn::And(hn::ShiftRight<8>(p), hn::Set(du, 255)));
        const VI g = hn::BitCast(di, hn::And(hn::ShiftRight<16>(p), hn::Set(du, 255)));
        const VI b = hn::BitCast(di, hn::ShiftRight<24>(p));
        hn::Store(r, di, planes.r + i * n);
        hn::Store(g, di, planes.g + i * n);
        hn::Store(b, di, planes.b + i * n);
        sumR = hn::Add(sumR, r);
        sumG = hn::Add(sumG, g);
        sumB = hn::Add(sumB, b);
        minR = hn::Min(minR, r);
        minG = hn::Min(minG, g);
        minB = hn::Min(minB, b);
        maxR = hn::Max(maxR, r);
        maxG = hn::Max(maxG, g);
        maxB = hn::Max(maxB, b);
    }
    const MI solidLanes = hn::RebindMask(di, solid);
    const VI solidColor = PackRGB(hn::Load(di, planes.r), hn::Load(di, planes.g), hn::Load(di, planes.b));
    if (hn::AllTrue(di, solidLanes)) {
        hn::Store(hn::BitCast(du, solidColor), du, color0);
        hn::Store(hn::BitCast(du, solidColor), du, color1);
        hn::Store(hn::Set(du, 0xAAAAAAAAu), du, indices);
        return;
    }

    // Principal axis: integer covariance about the rounded means, then float.
    const VI eight = hn::Set(di, 8);
    const VI muR = hn::ShiftRight<4>(hn::Add(sumR, eight));
    const VI muG = hn::ShiftRight<4>(hn::Add(sumG, eight));
    const VI muB = hn::ShiftRight<4>(hn::Add(sumB, eight));
    VI cov0 = hn::Zero(di), cov1 = cov0, cov2 = cov0, cov3 = cov0, cov4 = cov0, cov5 = cov0;
    for (size_t i = 0; i < 16; ++i) {
        const VI r = hn::Sub(hn::Load(di, planes.r + i * n), muR);
        const VI g = hn::Sub(hn::Load(di, planes.g + i * n), muG);
        const VI b = hn::Sub(hn::Load(di, planes.b + i * n), muB);
        cov0 = hn::Add(cov0, hn::Mul(r, r));
        cov1 = hn::Add(cov1, hn::Mul(r, g));
        cov2 = hn::Add(cov2, hn::Mul(r, b));
        cov3 = hn::Add(cov3, hn::Mul(g, g));
        cov4 = hn::Add(cov4, hn::Mul(g, b));
        cov5 = hn::Add(cov5, hn::Mul(b, b));
    }
    const VF k255 = hn::Set(df, 255.0f);
    const VF covf0 = hn::Div(hn::ConvertTo(df, cov0), k255);
    const VF covf1 = hn::Div(hn::ConvertTo(df, cov1), k255);
    const VF covf2 = hn::Div(hn::ConvertTo(df, cov2), k255);
    const VF covf3 = hn::Div(hn::ConvertTo(df, cov3), k255);
    const VF covf4 = hn::Div(hn::ConvertTo(df, cov4), k255);
    const VF covf5 = hn::Div(hn::ConvertTo(df, cov5), k255);

    VF vfr = hn::ConvertTo(df, hn::Sub(maxR, minR));
    VF vfg = hn::ConvertTo(df, hn::Sub(maxG, minG));
    VF vfb = hn::ConvertTo(df, hn::Sub(maxB, minB));
    for (int iter = 0; iter < 4; ++iter) {
        const VF r = hn::Add(hn::Add(hn::Mul(vfr, covf0), hn::Mul(vfg, covf1)), hn::Mul(vfb, covf2));
        const VF g = hn::Add(hn::Add(hn::Mul(vfr, covf1), hn::Mul(vfg, covf3)), hn::Mul(vfb, covf4));
        const VF b = hn::Add(hn::Add(hn::Mul(vfr, covf2), hn::Mul(vfg, covf4)), hn::Mul(vfb, covf5));
        vfr = r;
        vfg = g;
        vfb = b;
    }

    // The largest absolute component; comparing the float with 4.0f is the same test as
    // comparing its exact double. Luminance lanes scale by a harmless 4.0 instead.
    const VF magn = hn::Max(hn::Abs(vfr), hn::Max(hn::Abs(vfg), hn::Abs(vfb)));
    const auto luminanceF = hn::Lt(magn, hn::Set(df, 4.0f));
    const MI luminance = hn::RebindMask(di, luminanceF);
    const VF safeMagn = hn::IfThenElse(luminanceF, hn::Set(df, 4.0f), magn);
    const VI axisR = hn::IfThenElse(luminance, hn::Set(di, 299), ScaleAxis(vfr, safeMagn));
    const VI axisG = hn::IfThenElse(luminance, hn::Set(di, 587), ScaleAxis(vfg, safeMagn));
    const VI axisB = hn::IfThenElse(luminance, hn::Set(di, 114), ScaleAxis(vfb, safeMagn));

    // Extreme pixels; strict comparisons keep the first pixel that reaches an extreme.
    VI mind =
        Dot(hn::Load(di, planes.r), hn::Load(di, planes.g), hn::Load(di, planes.b), axisR, axisG, axisB);
    VI maxd = mind;
    VI maxColor = solidColor, minColor = solidColor;
    for (size_t i = 1; i < 16; ++i) {
        const VI r = hn::Load(di, planes.r + i * n);
        const VI g = hn::Load(di, planes.g + i * n);
        const VI b = hn::Load(di, planes.b + i * n);
        const VI dot = Dot(r, g, b, axisR, axisG, axisB);
        const MI below = hn::Lt(dot, mind);
        const MI above = hn::Gt(dot, maxd);
        const VI color = PackRGB(r, g, b);
        mind = hn::IfThenElse(below, dot, mind);
        minColor = hn::IfThenElse(below, color, minColor);
        maxd = hn::IfThenElse(above, dot, maxd);
        maxColor = hn::IfThenElse(above, color, maxColor);
    }

    // First match; equal endpoints give mask 0.
    VI max = maxColor, min = minColor;
    const VU zeroMask = hn::Zero(du);
    VU mask = hn::IfThenElse(hn::RebindMask(du, hn::Eq(max, min)), zeroMask, MatchLanes(planes, max, min));

    // Two refinement passes. A lane stops when its re-fit changes nothing, when the
    // endpoints meet (mask 0), or when matching repeats the mask the pass started from.
    const VI mean = PackRGB(muR, muG, muB);
    MI active = hn::Not(solidLanes);
    for (int pass = 0; pass < 2 && !hn::AllFalse(di, active); ++pass) {
        const VU lastMask = mask;
        VI newMax, newMin;
        RefitLanes(planes, mask, mean, sumR, sumG, sumB, newMax, newMin);
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

    // Solid blocks: the colour in both endpoints, every index 2.
    max = hn::IfThenElse(solidLanes, solidColor, max);
    min = hn::IfThenElse(solidLanes, solidColor, min);
    mask = hn::IfThenElse(hn::RebindMask(du, solidLanes), hn::Set(du, 0xAAAAAAAAu), mask);

    // Colour 0 is the larger packed value; swapping flips 0<->1 and 2<->3.
    const MI swap = hn::Lt(max, min);
    hn::Store(hn::BitCast(du, hn::IfThenElse(swap, min, max)), du, color0);
    hn::Store(hn::BitCast(du, hn::IfThenElse(swap, max, min)), du, color1);
    hn::Store(hn::Xor(mask, hn::IfThenElseZero(hn::RebindMask(du, swap), hn::Set(du, 0x55555555u))), du,
              indices);
}

} // namespace HWY_NAMESPACE
} // namespace dxt24
HWY_AFTER_NAMESPACE();

#endif // HWY_TARGET != HWY_SCALAR
#endif // per-target include guard
