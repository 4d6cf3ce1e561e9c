// The DXT24 CPU decoder: the thirds table, palette and index layout, whole-block writes,
// and round trips through the encoder.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "blocks/dxt24_decode.h"
#include "blocks/dxt24_image.h"
#include "pixel/synthetic_image.h"

namespace {

std::vector<unsigned char> EncodeImage(std::vector<unsigned char>& image, int width, int height) {
    std::vector<unsigned char> payload(static_cast<size_t>((width + 3) / 4) * ((height + 3) / 4) * 10);
    _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(payload.data()), image.data(), width, height, 0,
                            false);
    return payload;
}

} // namespace

TEST(DXT24Decode, ThirdsTableRoundsToNearest) {
    InitThirdsTable();
    ASSERT_TRUE(initThirds);
    EXPECT_EQ(thirdsTable[(255 << 8) | 0], 170);
    EXPECT_EQ(thirdsTable[(0 << 8) | 255], 85);
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b)
            ASSERT_EQ(thirdsTable[(a << 8) | b], (2 * a + b + 1) / 3) << a << "," << b;
}

TEST(DXT24Decode, PaletteAndIndexLayout) {
    // Colour 0 red, colour 1 blue, index word 0xE4E4E4E4: every row reads 0, 1, 2, 3 from
    // left to right, the thirds rounded (170/85), alpha always 255, bytes A, R, G, B.
    const unsigned char block[10] = {255, 0, 0, 0, 0, 255, 0xE4, 0xE4, 0xE4, 0xE4};
    unsigned char out[4 * 16];
    DecodeDXT24(block, out, 4, 4, 16);
    const unsigned char row[16] = {255, 255, 0, 0, 255, 0, 0, 255, 255, 170, 0, 85, 255, 85, 0, 170};
    for (int y = 0; y < 4; ++y)
        EXPECT_EQ(0, std::memcmp(out + y * 16, row, 16)) << "row " << y;

    // Each index row byte drives its own pixel row: row y is all index y.
    const unsigned char rows[10] = {9, 8, 7, 200, 100, 50, 0x00, 0x55, 0xAA, 0xFF};
    DecodeDXT24(rows, out, 4, 4, 16);
    const unsigned char expected[4][4] = {
        {255, 9, 8, 7}, {255, 200, 100, 50}, {255, 73, 39, 21}, {255, 136, 69, 36}};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(0, std::memcmp(out + y * 16 + x * 4, expected[y], 4)) << y << "," << x;
}

TEST(DXT24Decode, WritesWholeBlocksAndNothingForEmptySizes) {
    // A 1x1 image decodes one whole block into rows 40 bytes apart: 16 bytes of each of
    // four rows, nothing between or after them.
    const unsigned char block[10] = {1, 2, 3, 1, 2, 3, 0xAA, 0xAA, 0xAA, 0xAA};
    std::vector<unsigned char> out(40 * 5, 0xC3);
    DecodeDXT24(block, out.data(), 1, 1, 40);
    for (size_t i = 0; i < out.size(); ++i) {
        const bool inBlock = i < 160 && i % 40 < 16;
        if (inBlock)
            ASSERT_EQ(out[i], (i % 4 == 0) ? 255 : static_cast<int>(i % 4)) << i;
        else
            ASSERT_EQ(out[i], 0xC3) << i;
    }

    // Sizes of 0 or less write nothing.
    std::vector<unsigned char> guard(64, 0xC3);
    for (int size : {0, -1, -7}) {
        DecodeDXT24(block, guard.data(), size, 4, 16);
        DecodeDXT24(block, guard.data(), 4, size, 16);
    }
    for (unsigned char b : guard)
        ASSERT_EQ(b, 0xC3);
}

TEST(DXT24Decode, RoundTrips) {
    // A uniform picture comes back exactly, whatever its size.
    for (int size : {1, 3, 4, 6, 17}) {
        std::vector<unsigned char> image(size * size * 4);
        for (size_t i = 0; i < image.size(); i += 4)
            image[i] = 255, image[i + 1] = 12, image[i + 2] = 200, image[i + 3] = 77;
        std::vector<unsigned char> payload = EncodeImage(image, size, size);
        const int w4 = (size + 3) / 4 * 4;
        std::vector<unsigned char> decoded(static_cast<size_t>(w4) * w4 * 4);
        DecodeDXT24(payload.data(), decoded.data(), size, size, w4 * 4);
        for (int y = 0; y < size; ++y)
            EXPECT_EQ(0,
                      std::memcmp(&decoded[static_cast<size_t>(y) * w4 * 4], &image[y * size * 4], size * 4));
    }

    // Generated content (gradients, edges, lines, text, noise) keeps a good PSNR, and every
    // decoded alpha byte is 255 although the source carries an alpha ramp.
    const int width = 640, height = 360;
    std::vector<unsigned char> image(width * height * 4);
    FillSyntheticARGB(image.data(), width, height, width * 4, 2, true);
    std::vector<unsigned char> payload = EncodeImage(image, width, height);
    std::vector<unsigned char> decoded(image.size());
    DecodeDXT24(payload.data(), decoded.data(), width, height, width * 4);
    const double psnr = PSNRofARGB(image.data(), width * 4, decoded.data(), width * 4, width, height);
    std::printf("DXT24 round trip of a generated %dx%d picture: %.2f dB\n", width, height, psnr);
    EXPECT_GT(psnr, 32.0);
    for (size_t i = 0; i < decoded.size(); i += 4)
        ASSERT_EQ(decoded[i], 255);
}
