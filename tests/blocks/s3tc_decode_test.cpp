// The plain S3TC CPU decoder: its palette rule on blocks worked by hand (both DXT1 modes,
// DXT5's seven- and five-step alphas), its index layout, and that it writes exactly the
// picture. Its agreement with Mesa's renderer is tested through the library
// (tests/api/api_cpu_decoder_test.cpp).
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "blocks/s3tc_decode.h"

namespace {

// The bytes A, R, G, B of a pixel word.
std::vector<int> ARGB(uint32_t word) {
    uint8_t bytes[4];
    std::memcpy(bytes, &word, 4);
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

// A DXT1 colour block: colours c0 and c1, pixel i using index i % 4 (each row 0xE4).
void ColourBlock(uint8_t* block, uint16_t c0, uint16_t c1) {
    block[0] = c0 & 0xFF, block[1] = c0 >> 8, block[2] = c1 & 0xFF, block[3] = c1 >> 8;
    std::memset(block + 4, 0xE4, 4);
}

} // namespace

TEST(S3TCDecode, FourColourBlocksStepByFloorOf85And170Over256) {
    uint8_t block[8];
    uint32_t pixels[16];
    // White to black: 255 + floor(85 * -255 / 256) = 170, 255 + floor(170 * -255 / 256) = 85.
    ColourBlock(block, 0xFFFF, 0x0000);
    DecodeS3TCBlock(block, false, pixels);
    EXPECT_EQ(ARGB(pixels[0]), (std::vector<int>{255, 255, 255, 255}));
    EXPECT_EQ(ARGB(pixels[1]), (std::vector<int>{255, 0, 0, 0}));
    EXPECT_EQ(ARGB(pixels[2]), (std::vector<int>{255, 170, 170, 170}));
    EXPECT_EQ(ARGB(pixels[3]), (std::vector<int>{255, 85, 85, 85}));
    // Red 31 -> 255 and green 1 -> 4 by repeating the top bits; blue 2 -> 16 rising to 24:
    // 16 + floor(85 * 8 / 256) = 18, 16 + floor(170 * 8 / 256) = 21.
    ColourBlock(block, 0xF822, 0x0003);
    DecodeS3TCBlock(block, false, pixels);
    EXPECT_EQ(ARGB(pixels[0]), (std::vector<int>{255, 255, 4, 16}));
    EXPECT_EQ(ARGB(pixels[1]), (std::vector<int>{255, 0, 0, 24}));
    EXPECT_EQ(ARGB(pixels[2]), (std::vector<int>{255, 170, 2, 18}));
    EXPECT_EQ(ARGB(pixels[3]), (std::vector<int>{255, 85, 1, 21}));
}

TEST(S3TCDecode, ThreeColourDXT1BlocksRoundTheMeanUpAndEndInTransparentBlack) {
    uint8_t block[8];
    uint32_t pixels[16];
    ColourBlock(block, 0x0000, 0xFFFF); // colour 0 <= colour 1
    DecodeS3TCBlock(block, false, pixels);
    EXPECT_EQ(ARGB(pixels[2]), (std::vector<int>{255, 128, 128, 128}));
    EXPECT_EQ(ARGB(pixels[3]), (std::vector<int>{0, 0, 0, 0}));
    ColourBlock(block, 0x1234, 0x1234); // equal colours: three-colour too
    DecodeS3TCBlock(block, false, pixels);
    EXPECT_EQ(pixels[2], pixels[0]);
    EXPECT_EQ(pixels[3], 0u);

    // The same colours in a DXT5 block are four colours, whatever their order; rising, the
    // floors fall short of the thirds: floor(85 * 255 / 256) = 84, floor(170 * 255 / 256) = 169.
    uint8_t dxt5[16] = {255, 255, 0, 0, 0, 0, 0, 0};
    ColourBlock(dxt5 + 8, 0x0000, 0xFFFF);
    DecodeS3TCBlock(dxt5, true, pixels);
    EXPECT_EQ(ARGB(pixels[2]), (std::vector<int>{255, 84, 84, 84}));
    EXPECT_EQ(ARGB(pixels[3]), (std::vector<int>{255, 169, 169, 169}));
}

TEST(S3TCDecode, DXT5AlphaStepsAndTheirCodeLayout) {
    // Pixel i has code i % 8: the 48 code bits are 0, 1, ..., 7 twice, three bits each.
    uint8_t block[16] = {};
    uint64_t codes = 0;
    for (int i = 0; i < 16; ++i)
        codes |= static_cast<uint64_t>(i % 8) << 3 * i;
    for (int i = 0; i < 6; ++i)
        block[2 + i] = static_cast<uint8_t>(codes >> 8 * i);
    ColourBlock(block + 8, 0xFFFF, 0xFFFF);
    uint32_t pixels[16];
    auto alphas = [&] {
        std::vector<int> out;
        for (int i = 0; i < 16; ++i)
            out.push_back(ARGB(pixels[i])[0]);
        return out;
    };
    // Seven steps (a0 > a1): 255 + floor(-255 w / 256), w = 36, 72, 109, 145, 182, 218.
    block[0] = 255, block[1] = 0;
    DecodeS3TCBlock(block, true, pixels);
    const std::vector<int> seven = {255, 0, 219, 183, 146, 110, 73, 37};
    std::vector<int> expected = seven;
    expected.insert(expected.end(), seven.begin(), seven.end());
    EXPECT_EQ(alphas(), expected);
    // Five steps (a0 <= a1): floor(255 w / 256), w = 51, 102, 153, 204; then 0 and 255.
    block[0] = 0, block[1] = 255;
    DecodeS3TCBlock(block, true, pixels);
    const std::vector<int> five = {0, 255, 50, 101, 152, 203, 0, 255};
    expected = five;
    expected.insert(expected.end(), five.begin(), five.end());
    EXPECT_EQ(alphas(), expected);
    EXPECT_EQ(ARGB(pixels[5]), (std::vector<int>{203, 255, 255, 255}));
}

TEST(S3TCDecode, WritesExactlyThePictureAndNothingForEmptySizes) {
    for (const bool dxt5 : {false, true})
        for (const auto& size : {std::pair<int, int>{1, 1}, {5, 3}, {8, 8}, {7, 9}}) {
            const int w = size.first, h = size.second, rowBytes = w * 4 + 12;
            std::vector<uint8_t> blocks(static_cast<size_t>((w + 3) / 4) * ((h + 3) / 4) * (dxt5 ? 16 : 8),
                                        0x5A);
            std::vector<uint8_t> image(static_cast<size_t>(rowBytes) * (h + 1), 0xEE);
            DecodeS3TCPlain(blocks.data(), dxt5, image.data(), w, h, rowBytes);
            for (int y = 0; y <= h; ++y)
                for (int x = 0; x < rowBytes; ++x) {
                    const bool inside = y < h && x < w * 4;
                    if (!inside) {
                        ASSERT_EQ(image[y * rowBytes + x], 0xEE) << w << "x" << h << " at " << x << "," << y;
                    }
                }
        }
    uint8_t untouched[4] = {1, 2, 3, 4};
    const uint8_t block[16] = {};
    DecodeS3TCPlain(block, false, untouched, 0, 4, 16);
    DecodeS3TCPlain(block, true, untouched, 4, -1, 16);
    EXPECT_EQ(untouched[0], 1);
    EXPECT_EQ(untouched[3], 4);
}
