// Byte-exact DXT24 blocks whose expected bytes were worked out by hand from the encoder's
// rules (principal axis, shifted crossover points, single-precision re-fit, ordering).
#include <array>
#include <cstdint>
#include <gtest/gtest.h>

#include "blocks/dxt24_block.h"

namespace {

using Block = std::array<unsigned char, 64>;
using Bytes10 = std::array<unsigned char, 10>;

struct RGBA {
    unsigned char r, g, b, a;
};

// A block whose pixel i is `one` where bit i of pattern is set, else `zero`.
Block TwoColourBlock(RGBA zero, RGBA one, unsigned pattern) {
    Block block{};
    for (int i = 0; i < 16; ++i) {
        const RGBA& p = ((pattern >> i) & 1) ? one : zero;
        block[i * 4 + 0] = p.r;
        block[i * 4 + 1] = p.g;
        block[i * 4 + 2] = p.b;
        block[i * 4 + 3] = p.a;
    }
    return block;
}

// The index mask that gives `zeroIndex` to pixels whose pattern bit is clear and
// `oneIndex` to the others.
unsigned MaskFor(unsigned pattern, unsigned zeroIndex, unsigned oneIndex) {
    unsigned mask = 0;
    for (int i = 0; i < 16; ++i)
        mask |= (((pattern >> i) & 1) ? oneIndex : zeroIndex) << (2 * i);
    return mask;
}

Bytes10 Expected(RGBA c0, RGBA c1, unsigned mask) {
    return {c0.r,
            c0.g,
            c0.b,
            c1.r,
            c1.g,
            c1.b,
            static_cast<unsigned char>(mask),
            static_cast<unsigned char>(mask >> 8),
            static_cast<unsigned char>(mask >> 16),
            static_cast<unsigned char>(mask >> 24)};
}

Bytes10 Encode(const Block& block, int mode = 2) {
    Bytes10 out{};
    stb_compress_dxt_block_24(out.data(), block.data(), 0, mode);
    return out;
}

} // namespace

TEST(DXT24Block, UniformAndSameColourBlocks) {
    // All 32-bit pixels equal: the colour exactly in both endpoints, every index 2.
    const RGBA c{10, 20, 30, 255};
    EXPECT_EQ(Encode(TwoColourBlock(c, c, 0)), Expected(c, c, 0xAAAAAAAAu));
    EXPECT_EQ(Encode(TwoColourBlock(c, c, 0), 0), Expected(c, c, 0xAAAAAAAAu));

    // Same colour, one alpha byte different: not uniform. The covariance is zero, the axis
    // falls back to luminance, all projections tie, so both endpoints are pixel 0 and the
    // mask is 0; the re-fit of an all-equal mask gives the same mean and stops.
    const RGBA faded{10, 20, 30, 7};
    EXPECT_EQ(Encode(TwoColourBlock(c, faded, 0x0100)), Expected(c, c, 0));
}

TEST(DXT24Block, TwoColourBlockKeepsBothColoursExactly) {
    // Endpoints are the two colours exactly; the re-fit of a 0/1 mask reproduces them, so
    // refinement stops at once. Colour 0 is the larger packed value.
    const RGBA a{200, 100, 50, 255}, b{20, 40, 60, 255};
    const unsigned pattern = 0x5A3C;
    const Bytes10 expected = Expected(a, b, MaskFor(pattern, 0, 1));
    EXPECT_EQ(Encode(TwoColourBlock(a, b, pattern)), expected);
    EXPECT_EQ(Encode(TwoColourBlock(a, b, pattern), 0), expected);
}

TEST(DXT24Block, EndpointSwapFlipsEveryIndex) {
    // Green and red, eight each: the power iteration starts on the covariance's minor axis
    // and collapses below 4.0, so the luminance axis picks green (587) as the maximum. The
    // first match gives green index 0 and red index 1; green packs smaller than red, so the
    // endpoints swap and the mask is XORed with 0x55555555.
    const RGBA green{0, 255, 0, 255}, red{255, 0, 0, 255};
    const unsigned pattern = 0x33CC; // bit set = red
    Block block = TwoColourBlock(green, red, pattern);

    unsigned char palette[16] = {0, 255, 0, 0, 255, 0, 0, 0, 85, 170, 0, 0, 170, 85, 0, 0};
    const unsigned firstMask = stb__MatchColorsBlock24(block.data(), palette);
    EXPECT_EQ(firstMask, MaskFor(pattern, 0, 1));

    EXPECT_EQ(Encode(block), Expected(red, green, firstMask ^ 0x55555555u));
}

TEST(DXT24Block, LuminanceAxisShiftedThresholdsAndSinglePrecisionRefit) {
    // P = (100,100,100) and Q = (101,99,100), eight each, worked through by hand:
    // - covariance diag(8, 8, 0)/255 keeps the vector tiny, so the axis is (299, 587, 114):
    //   P projects to 100000, Q to 99712, so max = P and min = Q (a principal-axis guess of
    //   (1,1,0) would tie them and end in a different block);
    // - first match, direction (-1, 1, 0), stops 0, -2, -1, -1: c0Point = -3 >> 1 = -2,
    //   halfPoint = -1, c3Point = -1, so P gets 0 and Q gets 3;
    // - re-fit: xx 80, yy 32, xy 16, f = 3/2304; min red = 77952 * f + 0.5 = 102 and min
    //   green = 75648 * f + 0.5 = 99 in single precision, max stays P;
    // - second match against (100,100,100)/(102,99,100) repeats the mask, so it stops;
    // - P packs below (102,99,100): swap, P becomes index 1 and Q index 2.
    const RGBA p{100, 100, 100, 255}, q{101, 99, 100, 255};
    const unsigned pattern = 0x0FF0; // bit set = Q
    EXPECT_EQ(Encode(TwoColourBlock(p, q, pattern)),
              Expected(RGBA{102, 99, 100, 255}, p, MaskFor(pattern, 1, 2)));
}

TEST(DXT24Block, RefinementCollapsesToTheMean) {
    // Fifteen (100,100,100) and one (101,100,100): every truncated third is (100,100,100)
    // and c3Point = (100 + 101) >> 1 = 100, so every pixel matches index 0 (comparing twice
    // the dot with unshifted sums would give the greys index 2 instead). The all-equal mask
    // re-fits both endpoints to the rounded mean (1609 >> 4 = 100): they meet, mask 0.
    const RGBA grey{100, 100, 100, 255}, brighter{101, 100, 100, 255};
    EXPECT_EQ(Encode(TwoColourBlock(grey, brighter, 0x0020)), Expected(grey, grey, 0));

    // The re-fit on its own: an all-equal mask yields the rounded mean and reports a change
    // only when the endpoints were not already that mean.
    Block block = TwoColourBlock(grey, brighter, 0x0020);
    unsigned max = 0x656464, min = 0x646464;
    EXPECT_TRUE(stb__RefineBlock24(block.data(), &max, &min, 0xAAAAAAAAu));
    EXPECT_EQ(max, 0x646464u);
    EXPECT_EQ(min, 0x646464u);
    EXPECT_FALSE(stb__RefineBlock24(block.data(), &max, &min, 0));
}

TEST(DXT24Block, AlphaVariantWritesTheDXT5AlphaBlockFirst) {
    // Alphas 0 (pixel 0), 128 (pixel 1) and 255: max 255, min 0, bias 129; 255 -> index 0,
    // 0 -> index 1, 128 -> index 4, packed LSB first: 1 | 4 << 3 = 0x21. The colour half is
    // the non-uniform single-colour block of the first test.
    Block block = TwoColourBlock(RGBA{10, 20, 30, 255}, RGBA{10, 20, 30, 128}, 0x0002);
    block[3] = 0;
    std::array<unsigned char, 18> out{};
    stb_compress_dxt_block_24(out.data(), block.data(), 1, 2);
    const std::array<unsigned char, 18> expected = {0xFF, 0x00, 0x21, 0,  0,  0, 0, 0, 10,
                                                    20,   30,   10,   20, 30, 0, 0, 0, 0};
    EXPECT_EQ(out, expected);
}
