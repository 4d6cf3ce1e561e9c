// DXT24 frames through the public API: their bytes are the format's (checked against an
// independent construction from the block coders) and they decode exactly to the reference
// decoder's pictures; and frame inspection reads the headers of every kind.
#include <gtest/gtest.h>

#include "api_frame_checks.h"

TEST(ApiRoundTrip, DXT24FramesAreTheFormatsBytesAndDecodeExactly) {
    ExpectFormatBytesAndRoundTrip(Settings(0, 1, 0, 2), 0);
    ExpectFormatBytesAndRoundTrip(Settings(0, 1, 1, 4), 0);
}

TEST(ApiInspectFrame, ReadsTheHeaderKindAndPayloadSize) {
    const int w = 13, h = 7; // 4 x 2 blocks
    const Bytes picture = MakePicture(w, h, 0, 1, true);
    struct Expected {
        qzkt_settings settings;
        qzkt_block_kind kind;
        size_t payload;
    };
    for (const Expected& e : {Expected{Settings(0, 1, 0, 2), QZKT_BLOCKS_DXT24, 80},
                              Expected{Settings(0, 1, 1, 2), QZKT_BLOCKS_DXT24, 80},
                              Expected{Settings(0, 0, 0, 2), QZKT_BLOCKS_DXT1, 64},
                              Expected{Settings(1, 1, 0, 2), QZKT_BLOCKS_DXT5, 128}}) {
        const Bytes frame = EncodeThroughApi(picture, w, h, 0, e.settings);
        qzkt_frame_info info;
        ASSERT_EQ(qzkt_inspect_frame(frame.data(), frame.size(), w, h, &info), QZKT_OK);
        EXPECT_EQ(info.has_header, 1);
        EXPECT_EQ(info.intact, 1);
        EXPECT_STREQ(info.problem, "intact");
        EXPECT_EQ(info.kind, e.kind);
        EXPECT_EQ(info.payload_size, e.payload);
        EXPECT_EQ(info.header_size, 28u);
        EXPECT_EQ(info.version, 1);
        EXPECT_EQ(info.alpha, e.settings.alpha);
        EXPECT_EQ(info.packing, e.settings.no_lzf ? 0 : (info.stored_size < e.payload ? 1 : 0));
        EXPECT_EQ(info.stored_size, frame.size() - 28);
        EXPECT_EQ(info.block_colour_plane, e.settings.dxt24 ^ 1);
        EXPECT_EQ(info.block_kind_byte, e.kind == QZKT_BLOCKS_DXT24 ? 1 : 0);
    }

    // A header no encoder of ours writes: DXT24 blocks with the alpha flag (18 bytes reserved).
    Bytes frame(28 + 144, 0);
    frame[0] = 28, frame[4] = 1, frame[5] = 1, frame[16] = 144, frame[26] = 1;
    qzkt_frame_info info;
    EXPECT_EQ(qzkt_inspect_frame(frame.data(), frame.size(), w, h, &info), QZKT_OK);
    EXPECT_EQ(info.kind, QZKT_BLOCKS_DXT24_ALPHA_FLAG);
    EXPECT_EQ(info.payload_size, 144u);

    // Too short for a header: no fields, and the reason.
    EXPECT_EQ(qzkt_inspect_frame(frame.data(), 27, w, h, &info), QZKT_DAMAGED_FRAME);
    EXPECT_EQ(info.has_header, 0);
    EXPECT_EQ(info.stored_size, 0u);
    EXPECT_STREQ(info.problem, "shorter than a frame header");
    EXPECT_EQ(qzkt_inspect_frame(nullptr, 0, w, h, &info), QZKT_DAMAGED_FRAME);

    EXPECT_EQ(qzkt_inspect_frame(frame.data(), frame.size(), w, h, nullptr), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_inspect_frame(nullptr, 5, w, h, &info), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_inspect_frame(frame.data(), frame.size(), 0, h, &info), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(info.has_header, 0);
}
