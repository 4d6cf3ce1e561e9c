// What the SIMD block encoders share, one 4x4 block per lane: gathering the blocks of an
// image, the block's channels in planes, its statistics, principal axis and extreme pixels
// (the first steps of stb_dxt's colour coder, which the DXT24 coder keeps), and the sums of
// the least-squares re-fit. Each lane takes exactly the plain code's steps in its order.
// Included once per Highway target (foreach_target.h) by the SIMD image walkers.
//
// Exactness: integer steps give the same results in any order; the float steps (covariance
// scale, power iteration) use the plain code's operations one by one, never a fused
// multiply-add (no MulAdd here, and the module is built with -ffp-contract=off). The 512
// scale is taken in double on two half vectors.

// Per-target include guard, as Highway requires for headers included once per target.
#if defined(QZKT_BLOCK_LANES_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QZKT_BLOCK_LANES_SIMD_INL_H_
#undef QZKT_BLOCK_LANES_SIMD_INL_H_
#else
#define QZKT_BLOCK_LANES_SIMD_INL_H_
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <hwy/highway.h>

// Targets with fixed-size vectors of 128 bits or more and with double lanes run the lane
// encoders; on the others (the one-lane fallback, scalable vectors, no doubles) the walkers
// run the plain encoders.
#undef QZKT_BLOCK_LANE_ENCODERS
#if HWY_TARGET != HWY_SCALAR && !HWY_HAVE_SCALABLE && HWY_HAVE_FLOAT64
#define QZKT_BLOCK_LANE_ENCODERS 1
#else
#define QZKT_BLOCK_LANE_ENCODERS 0
#endif

#if QZKT_BLOCK_LANE_ENCODERS

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

// The 16 pixels of every lane's block: plane[i * N + lane] is pixel i (row order) of that
// lane's block. Red and green share a word as two 16-bit halves (r | g << 16), so that one
// multiply-pairs instruction gives r * x + g * y and one multiply by a weight up to 3 gives
// both channels' products.
struct ChannelPlanes {
    HWY_ALIGN int32_t rg[16 * kMaxBlockLanes];
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

// Per lane, the low 16-bit halves of a and b multiplied plus the high halves multiplied,
// as signed values; exact.
HWY_INLINE VI MulPairs(VI a, VI b) {
    const DI di;
    const hn::Repartition<int16_t, DI> d16;
    VI odd = hn::Zero(di);
    const VI even =
        hn::ReorderWidenMulAccumulate(di, hn::BitCast(d16, a), hn::BitCast(d16, b), hn::Zero(di), odd);
    return hn::RearrangeToOddPlusEven(even, odd);
}

// even + odd, taken together at the end by RearrangeToOddPlusEven, gain the low halves of
// a and b multiplied plus the high halves multiplied (signed 16-bit), lane by lane.
HWY_INLINE void AccumulatePairs(VI a, VI b, VI& even, VI& odd) {
    const DI di;
    const hn::Repartition<int16_t, DI> d16;
    even = hn::ReorderWidenMulAccumulate(di, hn::BitCast(d16, a), hn::BitCast(d16, b), even, odd);
}

// Two signed 16-bit values in one word, as MulPairs reads them.
HWY_INLINE VI PairOf(VI low, VI high) {
    const DI di;
    return hn::Or(hn::And(low, hn::Set(di, 0xFFFF)), hn::ShiftLeft<16>(high));
}

// r * dr + g * dg + b * db for pixel i of every lane, from the planes.
HWY_INLINE VI PlaneDot(const ChannelPlanes& planes, size_t at, VI drg, VI db) {
    const DI di;
    return hn::Add(MulPairs(hn::Load(di, planes.rg + at), drg), MulPairs(hn::Load(di, planes.b + at), db));
}

// The palette of endpoints c0 = (r0, g0, b0) and c1 = (r1, g1, b1) projected on the line
// between them: the direction c0 - c1 and the dots of c0, c1 and the thirds (2 c0 + c1) / 3
// and (2 c1 + c0) / 3, truncated (stb's Lerp13 without rounding bias).
struct PaletteLine {
    VI dr, dg, db;
    VI stop0, stop1, stop2, stop3;
};

HWY_INLINE PaletteLine PaletteLineOf(VI r0, VI g0, VI b0, VI r1, VI g1, VI b1) {
    const DI di;
    PaletteLine line;
    line.dr = hn::Sub(r0, r1), line.dg = hn::Sub(g0, g1), line.db = hn::Sub(b0, b1);
    const VI r2 = DivideBy3(di, hn::Add(hn::Add(r0, r0), r1));
    const VI g2 = DivideBy3(di, hn::Add(hn::Add(g0, g0), g1));
    const VI b2 = DivideBy3(di, hn::Add(hn::Add(b0, b0), b1));
    const VI r3 = DivideBy3(di, hn::Add(hn::Add(r1, r1), r0));
    const VI g3 = DivideBy3(di, hn::Add(hn::Add(g1, g1), g0));
    const VI b3 = DivideBy3(di, hn::Add(hn::Add(b1, b1), b0));
    line.stop0 = Dot(r0, g0, b0, line.dr, line.dg, line.db);
    line.stop1 = Dot(r1, g1, b1, line.dr, line.dg, line.db);
    line.stop2 = Dot(r2, g2, b2, line.dr, line.dg, line.db);
    line.stop3 = Dot(r3, g3, b3, line.dr, line.dg, line.db);
    return line;
}

// The index masks (2 bits a pixel, pixel 15 in the top bits) of every lane's block on the
// line from colour 0 to colour 1: with dot the pixel's projection, index 1 below c0Point,
// 3 up to halfPoint, 2 up to c3Point, else 0. dotShift doubles the dots (stb_dxt's
// matcher) or not (the DXT24 matcher, whose points are halved instead).
template <int dotShift>
HWY_INLINE VU IndexMask(const ChannelPlanes& planes, VI dr, VI dg, VI db, VI c0Point, VI halfPoint,
                        VI c3Point) {
    const DI di;
    const DU du;
    const size_t n = hn::Lanes(di);
    const VI drg = PairOf(dr, dg), db0 = PairOf(db, hn::Zero(di));
    const VI one = hn::Set(di, 1), two = hn::Set(di, 2), three = hn::Set(di, 3), zero = hn::Zero(di);
    VU mask = hn::Zero(du);
    for (int i = 15; i >= 0; --i) {
        const VI dot = hn::ShiftLeft<dotShift>(PlaneDot(planes, static_cast<size_t>(i) * n, drg, db0));
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
alignas(16) static constexpr uint8_t kFirstByteOfLane[16] = {0, 0, 0, 0, 4,  4,  4,  4,
                                                             8, 8, 8, 8, 12, 12, 12, 12};

// The least-squares system of the re-fit of every lane's endpoints to its index mask:
// at1 = sum of w1 * x and at2 = sum of w2 * x for each channel, the products xx, yy, xy of
// the weights, and the lanes whose 16 indices are all equal (their system is singular).
struct RefitSystem {
    VI at1R, at1G, at1B, at2R, at2G, at2B;
    VI xx, yy, xy;
    MI allEqual;
};

HWY_INLINE RefitSystem RefitSums(const ChannelPlanes& planes, VU mask, VI sumR, VI sumG, VI sumB) {
    const DI di;
    const DU du;
    const hn::Repartition<uint8_t, DU> du8;
    const size_t n = hn::Lanes(di);

    const auto weights = hn::LoadDup128(du8, kRefitWeights);
    const auto firstBytes = hn::LoadDup128(du8, kFirstByteOfLane);
    VU cm = mask;
    VU akku = hn::Zero(du);
    VI at1RG = hn::Zero(di), at1B = hn::Zero(di); // sum of w1 * red and green: at most 12240 each
    for (size_t i = 0; i < 16; ++i, cm = hn::ShiftRight<2>(cm)) {
        // The pixel's index in every byte of its lane, offset by 4 per byte.
        const auto steps = hn::TableLookupBytes(hn::BitCast(du8, cm), firstBytes);
        const VU select =
            hn::Or(hn::And(hn::BitCast(du, steps), hn::Set(du, 0x03030303u)), hn::Set(du, 0x0C080400u));
        const VU weight = hn::BitCast(du, hn::TableLookupBytes(weights, hn::BitCast(du8, select)));
        akku = hn::Add(akku, weight);
        const VI w1 = hn::BitCast(di, hn::And(weight, hn::Set(du, 255)));
        const size_t at = i * n;
        at1RG = hn::Add(at1RG, hn::Mul(w1, hn::Load(di, planes.rg + at)));
        at1B = hn::Add(at1B, hn::Mul(w1, hn::Load(di, planes.b + at)));
    }
    RefitSystem s;
    s.at1R = hn::And(at1RG, hn::Set(di, 0xFFFF));
    s.at1G = hn::ShiftRight<16>(at1RG);
    s.at1B = at1B;
    const VI three = hn::Set(di, 3);
    s.at2R = hn::Sub(hn::Mul(three, sumR), s.at1R);
    s.at2G = hn::Sub(hn::Mul(three, sumG), s.at1G);
    s.at2B = hn::Sub(hn::Mul(three, sumB), s.at1B);

    const VI sums = hn::BitCast(di, akku);
    s.xx = hn::BitCast(di, hn::ShiftRight<24>(akku));
    s.yy = hn::And(hn::ShiftRight<16>(sums), hn::Set(di, 255));
    s.xy = hn::And(hn::ShiftRight<8>(sums), hn::Set(di, 255));

    const VU spread = hn::Xor(mask, hn::ShiftLeft<2>(mask));
    s.allEqual = hn::RebindMask(di, hn::Eq(hn::And(spread, hn::Set(du, ~3u)), hn::Zero(du)));
    return s;
}

// xx * yy - xy * xy, or 1 where all indices are equal (those lanes' results are not used).
HWY_INLINE VI Determinant(const RefitSystem& s) {
    const DI di;
    return hn::IfThenElse(s.allEqual, hn::Set(di, 1), hn::Sub(hn::Mul(s.xx, s.yy), hn::Mul(s.xy, s.xy)));
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

// 0x00RRGGBB of a pixel word with the bytes A, R, G, B in memory.
HWY_INLINE VI PackedColor(DI di, VU pixel) {
    const DU du;
    const VU r = hn::And(hn::ShiftRight<8>(pixel), hn::Set(du, 255));
    const VU g = hn::And(hn::ShiftRight<16>(pixel), hn::Set(du, 255));
    return hn::BitCast(di,
                       hn::Or(hn::Or(hn::ShiftLeft<16>(r), hn::ShiftLeft<8>(g)), hn::ShiftRight<24>(pixel)));
}

// The integer covariance sum of (x - mx)(y - my) over 16 pixels from sum xy, the rounded
// means and the sums.
HWY_INLINE VI Covariance(VI sxy, VI mx, VI sy, VI my, VI sx) {
    const VI cross = hn::ShiftLeft<4>(hn::Mul(mx, my));
    return hn::Add(hn::Sub(hn::Sub(sxy, hn::Mul(mx, sy)), hn::Mul(my, sx)), cross);
}

// What the first steps of the colour coder find in every lane's block.
struct BlockAnalysis {
    ChannelPlanes planes;
    MI solid;              // all 16 pixels equal (see AnalyzeBlockLanes)
    VU first;              // pixel 0's word
    VI sumR, sumG, sumB;   // channel sums
    VI muR, muG, muB;      // rounded channel means, (sum + 8) >> 4
    VU maxPixel, minPixel; // the pixels at the extremes of the principal axis
};

// Analyzes Lanes(DU) blocks at once. px[i * N + lane] is pixel i (row order) of the lane's
// block as the 32-bit word of its bytes A, R, G, B in memory. A block is solid when its 16
// words are equal, alpha included unless solidIgnoresAlpha. Returns true when every lane is
// solid; then only planes, solid and first are set.
HWY_INLINE bool AnalyzeBlockLanes(const uint32_t* HWY_RESTRICT px, bool solidIgnoresAlpha, BlockAnalysis& a) {
    const DU du;
    const DI di;
    const DF df;
    const size_t n = hn::Lanes(du);
    ChannelPlanes& planes = a.planes;

    // Channels, sums, extremes, products, and the solid test on whole 32-bit pixels. Red and
    // green sums, minima and maxima run as 16-bit halves of one word.
    const hn::Repartition<uint16_t, DU> du16;
    const VU alphaBits = hn::Set(du, solidIgnoresAlpha ? 0xFFu : 0u);
    const VU first = hn::Load(du, px);
    const VU firstSolid = hn::Or(first, alphaBits);
    auto solid = hn::Eq(first, first);
    VI sumRG = hn::Zero(di), sumB = hn::Zero(di);
    VU minRG = hn::Set(du, 0x00FF00FFu), maxRG = hn::Zero(du);
    VI minB = hn::Set(di, 255), maxB = hn::Zero(di);
    // The six sums of products take two pixels a word (pixel i low, i + 1 high).
    VI srr = hn::Zero(di), srg = srr, srb = srr, sgg = srr, sgb = srr, sbb = srr;
    VI srrOdd = srr, srgOdd = srr, srbOdd = srr, sggOdd = srr, sgbOdd = srr, sbbOdd = srr;
    for (size_t i = 0; i < 16; i += 2) {
        VI r[2], g[2], b[2];
        for (size_t k = 0; k < 2; ++k) {
            const VU p = hn::Load(du, px + (i + k) * n);
            solid = hn::And(solid, hn::Eq(hn::Or(p, alphaBits), firstSolid));
            const VU red = hn::And(hn::ShiftRight<8>(p), hn::Set(du, 255));
            const VU redGreen = hn::Or(red, hn::And(p, hn::Set(du, 0x00FF0000u)));
            r[k] = hn::BitCast(di, red);
            g[k] = hn::BitCast(di, hn::And(hn::ShiftRight<16>(p), hn::Set(du, 255)));
            b[k] = hn::BitCast(di, hn::ShiftRight<24>(p));
            hn::Store(hn::BitCast(di, redGreen), di, planes.rg + (i + k) * n);
            hn::Store(b[k], di, planes.b + (i + k) * n);
            sumRG = hn::Add(sumRG, hn::BitCast(di, redGreen));
            sumB = hn::Add(sumB, b[k]);
            minRG = hn::BitCast(du, hn::Min(hn::BitCast(du16, minRG), hn::BitCast(du16, redGreen)));
            maxRG = hn::BitCast(du, hn::Max(hn::BitCast(du16, maxRG), hn::BitCast(du16, redGreen)));
            minB = hn::Min(minB, b[k]);
            maxB = hn::Max(maxB, b[k]);
        }
        const VI reds = PairOf(r[0], r[1]), greens = PairOf(g[0], g[1]), blues = PairOf(b[0], b[1]);
        AccumulatePairs(reds, reds, srr, srrOdd);
        AccumulatePairs(reds, greens, srg, srgOdd);
        AccumulatePairs(reds, blues, srb, srbOdd);
        AccumulatePairs(greens, greens, sgg, sggOdd);
        AccumulatePairs(greens, blues, sgb, sgbOdd);
        AccumulatePairs(blues, blues, sbb, sbbOdd);
    }
    a.solid = hn::RebindMask(di, solid);
    a.first = first;
    if (hn::AllTrue(di, a.solid)) return true;

    srr = hn::RearrangeToOddPlusEven(srr, srrOdd);
    srg = hn::RearrangeToOddPlusEven(srg, srgOdd);
    srb = hn::RearrangeToOddPlusEven(srb, srbOdd);
    sgg = hn::RearrangeToOddPlusEven(sgg, sggOdd);
    sgb = hn::RearrangeToOddPlusEven(sgb, sgbOdd);
    sbb = hn::RearrangeToOddPlusEven(sbb, sbbOdd);
    a.sumR = hn::And(sumRG, hn::Set(di, 0xFFFF)); // at most 16 * 255
    a.sumG = hn::ShiftRight<16>(sumRG);
    a.sumB = sumB;

    // Principal axis: the covariance about the rounded means in integers, from the sums
    // (sum of (x - mx)(y - my) = sum xy - mx sum y - my sum x + 16 mx my, exactly), then float.
    const VI eight = hn::Set(di, 8);
    a.muR = hn::ShiftRight<4>(hn::Add(a.sumR, eight));
    a.muG = hn::ShiftRight<4>(hn::Add(a.sumG, eight));
    a.muB = hn::ShiftRight<4>(hn::Add(a.sumB, eight));
    const VI cov0 = Covariance(srr, a.muR, a.sumR, a.muR, a.sumR);
    const VI cov1 = Covariance(srg, a.muR, a.sumG, a.muG, a.sumR);
    const VI cov2 = Covariance(srb, a.muR, a.sumB, a.muB, a.sumR);
    const VI cov3 = Covariance(sgg, a.muG, a.sumG, a.muG, a.sumG);
    const VI cov4 = Covariance(sgb, a.muG, a.sumB, a.muB, a.sumG);
    const VI cov5 = Covariance(sbb, a.muB, a.sumB, a.muB, a.sumB);
    const VF k255 = hn::Set(df, 255.0f);
    const VF covf0 = hn::Div(hn::ConvertTo(df, cov0), k255);
    const VF covf1 = hn::Div(hn::ConvertTo(df, cov1), k255);
    const VF covf2 = hn::Div(hn::ConvertTo(df, cov2), k255);
    const VF covf3 = hn::Div(hn::ConvertTo(df, cov3), k255);
    const VF covf4 = hn::Div(hn::ConvertTo(df, cov4), k255);
    const VF covf5 = hn::Div(hn::ConvertTo(df, cov5), k255);

    const VI rangeRG = hn::BitCast(di, hn::Sub(maxRG, minRG)); // no half borrows: max >= min
    VF vfr = hn::ConvertTo(df, hn::And(rangeRG, hn::Set(di, 0xFFFF)));
    VF vfg = hn::ConvertTo(df, hn::ShiftRight<16>(rangeRG));
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
    const VI axisRG = PairOf(axisR, axisG), axisB0 = PairOf(axisB, hn::Zero(di)); // |axis| <= 587

    // Extreme pixels; strict comparisons keep the first pixel that reaches an extreme.
    VI mind = PlaneDot(planes, 0, axisRG, axisB0);
    VI maxd = mind;
    VU maxPixel = first, minPixel = first;
    for (size_t i = 1; i < 16; ++i) {
        const VI dot = PlaneDot(planes, i * n, axisRG, axisB0);
        const VU p = hn::Load(du, px + i * n);
        const MI below = hn::Lt(dot, mind);
        const MI above = hn::Gt(dot, maxd);
        mind = hn::IfThenElse(below, dot, mind);
        minPixel = hn::IfThenElse(hn::RebindMask(du, below), p, minPixel);
        maxd = hn::IfThenElse(above, dot, maxd);
        maxPixel = hn::IfThenElse(hn::RebindMask(du, above), p, maxPixel);
    }
    a.maxPixel = maxPixel;
    a.minPixel = minPixel;
    return false;
}

// Stores every lane's endpoints and index mask as the coders write them: solid lanes take
// solidMax, solidMin and every index 2; then colour 0 is the larger value, and swapping the
// endpoints flips indices 0<->1 and 2<->3.
HWY_INLINE void StoreBlockLanes(MI solid, VI solidMax, VI solidMin, VI max, VI min, VU mask,
                                uint32_t* HWY_RESTRICT color0, uint32_t* HWY_RESTRICT color1,
                                uint32_t* HWY_RESTRICT indices) {
    const DU du;
    max = hn::IfThenElse(solid, solidMax, max);
    min = hn::IfThenElse(solid, solidMin, min);
    mask = hn::IfThenElse(hn::RebindMask(du, solid), hn::Set(du, 0xAAAAAAAAu), mask);
    const MI swap = hn::Lt(max, min);
    hn::Store(hn::BitCast(du, hn::IfThenElse(swap, min, max)), du, color0);
    hn::Store(hn::BitCast(du, hn::IfThenElse(swap, max, min)), du, color1);
    hn::Store(hn::Xor(mask, hn::IfThenElseZero(hn::RebindMask(du, swap), hn::Set(du, 0x55555555u))), du,
              indices);
}

// --- gathering an image's blocks -----------------------------------------------------------

// A group of blocks wholly inside the image, on 4-byte aligned rows: each row of the group
// is 4n consecutive pixels, and de-interleaving them by 4 gives pixel column c of every
// block at once.
HWY_INLINE void GatherInside(const unsigned char* groupTop, long pitch, uint32_t* HWY_RESTRICT px) {
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
// row and column, as the plain walkers pad.
HWY_INLINE void GatherEdge(const unsigned char* blockRow, long pitch, int firstBlock, int count, int rowsLeft,
                           int width, uint32_t* HWY_RESTRICT px) {
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

// Calls encode(px, count) for every group of Lanes(DU) blocks of the image, row of blocks by
// row of blocks, left to right; px is gathered as GatherInside and GatherEdge give it, and
// count (at most Lanes(DU)) says how many of its lanes are real blocks.
template <typename EncodeGroup>
HWY_INLINE void ForEachBlockGroup(const unsigned char* src, int width, int height, long pitch,
                                  const EncodeGroup& encode) {
    const int lanes = static_cast<int>(hn::Lanes(DU()));
    HWY_ALIGN uint32_t px[16 * kMaxBlockLanes];
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
            encode(static_cast<const uint32_t*>(px), count);
        }
    }
}

} // namespace HWY_NAMESPACE
} // namespace dxt24
HWY_AFTER_NAMESPACE();

#endif // QZKT_BLOCK_LANE_ENCODERS
#endif // per-target include guard
