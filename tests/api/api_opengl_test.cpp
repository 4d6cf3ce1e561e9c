// DXT1/DXT5 frames through the public API, decoded with OpenGL in this process: the round trip
// and damaged frames. A suite of its own: under the sanitizers it runs without LeakSanitizer
// (see CMakeLists.txt).
#include <gtest/gtest.h>

#include "api_frame_checks.h"

// DXT1/DXT5 frames decode with OpenGL: with the software renderer on a machine without a GPU,
// which needs the per-decoder renderer choice of the platform layer.
TEST(ApiRoundTrip, DXT1AndDXT5FramesAreTheFormatsBytesAndDecodeWithOpenGL) {
    ExpectFormatBytesAndRoundTrip(Settings(0, 0, 0, 2), 2);
    ExpectFormatBytesAndRoundTrip(Settings(0, 0, 1, 2), 2);
    ExpectFormatBytesAndRoundTrip(Settings(1, 0, 0, 2), 2);
    ExpectFormatBytesAndRoundTrip(Settings(1, 1, 1, 2), 2); // alpha wins: DXT5
}

TEST(ApiDamagedFrames, DXT1FramesAreRefusedTheSameWay) {
    ExpectDamagedFramesRefused(Settings(0, 0, 0, 2));
}

TEST(ApiRoundTrip, ThreeColourDXT1BlockDecodesIndexThreeAsTransparentBlack) {
    // Colour 0 <= colour 1 selects the three-colour palette: index 2 is the midpoint and index 3
    // transparent black, alpha 0 (the texture is RGBA DXT1). Row y of the block uses index y.
    const uint8_t frame[28 + 8] = {
        28,   0,    0,    0,    1, 0, 0, 0, // header size; version 1, alpha 0, payload raw, plane raw
        0,    0,    0,    0,    0, 0, 0, 0, // no plane
        8,    0,    0,    0,    0, 0, 0, 0, // payload 8 bytes, plane 0
        0,    1,    0,    0,                // plane pixel size, block colour plane, DXT1/DXT5 blocks
        0x00, 0x00, 0x00, 0xF8,             // colour 0 black, colour 1 pure red (0xF800)
        0x00, 0x55, 0xAA, 0xFF};            // rows of index 0, 1, 2 and 3
    qzkt_decoder* decoder = nullptr;
    ASSERT_EQ(qzkt_decoder_create(4, 4, QZKT_RENDERER_SOFTWARE, &decoder), QZKT_OK);
    uint8_t argb[4 * 4 * 4];
    ASSERT_EQ(qzkt_decode(decoder, frame, sizeof frame, argb, 0), QZKT_OK) << qzkt_decoder_problem(decoder);
    qzkt_decoder_destroy(decoder);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const uint8_t* p = argb + (y * 4 + x) * 4;
            const int expected[4][4] = {{255, 0, 0, 0}, {255, 255, 0, 0}, {255, 128, 0, 0}, {0, 0, 0, 0}};
            EXPECT_EQ(p[0], expected[y][0]) << "alpha at " << x << "," << y;
            EXPECT_NEAR(p[1], expected[y][1], 2) << "red at " << x << "," << y;
            EXPECT_EQ(p[2], expected[y][2]) << "green at " << x << "," << y;
            EXPECT_EQ(p[3], expected[y][3]) << "blue at " << x << "," << y;
        }
}
