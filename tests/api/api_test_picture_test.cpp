// The test pictures and the quality measure of the public API: the same bytes as the pictures
// the project's own suites generate (so a program outside can reproduce them), row padding
// left alone, a known PSNR, and the refusals.
#include <gtest/gtest.h>

#include <cmath>

#include "api_fixture.h"

TEST(ApiTestPicture, SameBytesAsTheGeneratorWithPaddingLeftAlone) {
    struct Case {
        int width, height;
        size_t rowBytes;
        int frame;
        bool alpha;
    };
    for (const Case& c : {Case{37, 21, 0, 0, false}, Case{64, 33, 64 * 4 + 12, 5, true},
                          Case{1, 1, 0, -3, false}, Case{200, 7, 200 * 4 + 1, 1000, true}}) {
        const Bytes expected = MakePicture(c.width, c.height, c.rowBytes, c.frame, c.alpha);
        Bytes picture(expected.size(), 0xEE);
        ASSERT_EQ(qzkt_test_picture(picture.data(), c.width, c.height, c.rowBytes, c.frame, c.alpha ? 1 : 0),
                  QZKT_OK);
        EXPECT_EQ(picture, expected) << c.width << "x" << c.height << " frame " << c.frame;
    }
    // Consecutive frames differ: the content moves.
    EXPECT_NE(MakePicture(32, 32, 0, 0, false), MakePicture(32, 32, 0, 1, false));
}

TEST(ApiTestPicture, PsnrOfKnownDifferences) {
    const int w = 10, h = 6;
    Bytes a = MakePicture(w, h, 0, 2, true);
    EXPECT_DOUBLE_EQ(qzkt_psnr(a.data(), 0, a.data(), 0, w, h), 99.0);
    // Alpha is ignored.
    Bytes b = a;
    for (size_t i = 0; i < b.size(); i += 4)
        b[i] ^= 0xFF;
    EXPECT_DOUBLE_EQ(qzkt_psnr(a.data(), 0, b.data(), 0, w, h), 99.0);
    // One colour byte off by 51 in every pixel: mean squared difference 51^2 / 3.
    for (size_t i = 2; i < b.size(); i += 4)
        b[i] = static_cast<uint8_t>(b[i] >= 51 ? b[i] - 51 : b[i] + 51);
    const double expected = 10.0 * std::log10(255.0 * 255.0 / (51.0 * 51.0 / 3.0));
    EXPECT_NEAR(qzkt_psnr(a.data(), 0, b.data(), 0, w, h), expected, 1e-9);
    // Strides: the same picture with padded rows measures the same.
    Bytes padded(static_cast<size_t>(w * 4 + 8) * h, 0x11);
    for (int y = 0; y < h; ++y)
        std::copy(b.begin() + y * w * 4, b.begin() + (y + 1) * w * 4, padded.begin() + y * (w * 4 + 8));
    EXPECT_NEAR(qzkt_psnr(a.data(), w * 4, padded.data(), w * 4 + 8, w, h), expected, 1e-9);
}

TEST(ApiTestPicture, RefusesCallerMistakes) {
    Bytes picture(16 * 16 * 4, 0x77);
    const Bytes untouched = picture;
    EXPECT_EQ(qzkt_test_picture(nullptr, 16, 16, 0, 0, 0), QZKT_BAD_ARGUMENTS);
    for (const auto& size : {std::pair<int, int>{0, 16}, {16, 0}, {-1, 16}, {QZKT_MAX_SIDE + 1, 1}})
        EXPECT_EQ(qzkt_test_picture(picture.data(), size.first, size.second, 0, 0, 0), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_test_picture(picture.data(), 16, 16, 16 * 4 - 1, 0, 0), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_test_picture(picture.data(), 16, 16, size_t(1) << 31, 0, 0), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(picture, untouched);

    EXPECT_EQ(qzkt_psnr(nullptr, 0, picture.data(), 0, 16, 16), -1.0);
    EXPECT_EQ(qzkt_psnr(picture.data(), 0, nullptr, 0, 16, 16), -1.0);
    EXPECT_EQ(qzkt_psnr(picture.data(), 0, picture.data(), 16 * 4 - 1, 16, 16), -1.0);
    EXPECT_EQ(qzkt_psnr(picture.data(), 0, picture.data(), 0, 0, 16), -1.0);
    // The documented largest side is the one the encoder takes.
    const qzkt_settings settings = Settings(0, 1, 0, 2);
    EXPECT_GT(qzkt_max_frame_size(QZKT_MAX_SIDE, 1, &settings), 0u);
    EXPECT_EQ(qzkt_max_frame_size(QZKT_MAX_SIDE + 1, 1, &settings), 0u);
}
