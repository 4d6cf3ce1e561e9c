// Frame header bytes, block sizes, the frame size bound and the settings record.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "stream/kel_header.h"
#include "stream/kel_settings.h"

TEST(KELHeaderTest, WritesEveryByteAndReadsThemBack) {
    KELHeader header{};
    header.headerSize = 28;
    header.version = 1;
    header.alpha = 1;
    header.packing = 1;
    header.planeWidth = 0x01020304;
    header.planeHeight = 0x0A0B0C0D;
    header.storedSize = 0x00123456;
    header.planeStoredSize = 0xFFEEDDCC;
    header.planePixelSize = 7;
    header.blockColourPlane = 1;
    header.blockKind = 1;
    std::vector<uint8_t> bytes(28, 0xAA);
    WriteKELHeader(bytes.data(), header);
    const std::vector<uint8_t> expected = {28,   0,    0,    0,    1,    1,    1,    0,    4,    3,
                                           2,    1,    0x0D, 0x0C, 0x0B, 0x0A, 0x56, 0x34, 0x12, 0,
                                           0xCC, 0xDD, 0xEE, 0xFF, 7,    1,    1,    0};
    EXPECT_EQ(bytes, expected);

    const KELHeader back = ReadKELHeader(bytes.data());
    EXPECT_EQ(back.headerSize, 28u);
    EXPECT_EQ(back.planeWidth, 0x01020304u);
    EXPECT_EQ(back.planeStoredSize, 0xFFEEDDCCu);
    EXPECT_EQ(back.storedSize, 0x123456u);
    EXPECT_EQ(back.blockKind, 1);
    EXPECT_EQ(back.reserved, 0);
}

TEST(KELHeaderTest, MaximumFrameSizeFollowsTheSettingsNotTheChosenBlocks) {
    // One block; the plane reserve rounds each side down, so a 1x1 frame reserves nothing.
    EXPECT_EQ(CalculateMaxKELDataSize(1, 1, false, false), 8u + 28u);
    EXPECT_EQ(CalculateMaxKELDataSize(1, 1, true, false), 16u + 28u);
    EXPECT_EQ(CalculateMaxKELDataSize(1, 1, false, true), 10u + 28u);
    // Alpha with DXT24 is written as DXT5 but bounded at 18 bytes a block.
    EXPECT_EQ(CalculateMaxKELDataSize(1, 1, true, true), 18u + 28u);
    // 6x6: four blocks, but a plane reserve of one 4-byte pixel.
    EXPECT_EQ(CalculateMaxKELDataSize(6, 6, false, false), 4u * 8 + 4 + 28);
    EXPECT_EQ(CalculateMaxKELDataSize(6, 6, false, true), 4u * 10 + 28);
    EXPECT_EQ(CalculateMaxKELDataSize(1920, 1080, false, false), 480u * 270 * 8 + 480 * 270 * 4 + 28);
    EXPECT_EQ(CalculateMaxKELDataSize(1918, 1080, true, true), 480u * 270 * 18 + 28);
    // Empty or inverted rectangles leave only the header.
    EXPECT_EQ(CalculateMaxKELDataSize(0, 0, false, false), 28u);
    EXPECT_EQ(CalculateMaxKELDataSize(-9, 5, false, false), 28u);
    EXPECT_EQ(KELBlockCount(5, 3), 2);
}

TEST(KELSettingsRecordTest, RoundTripsAndRejectsWrongTagOrSize) {
    uint8_t bytes[12];
    std::memset(bytes, 0x5A, sizeof bytes);
    WriteKELSettingsRecord(bytes, {1, 0, 1, 9});
    const uint8_t expected[12] = {'K', 'E', 'L', 'C', 1, 0, 1, 0x5A, 9, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(bytes, expected, sizeof bytes)); // byte 7 is not written

    KELSettingsValues values{};
    ASSERT_TRUE(ReadKELSettingsRecord(bytes, 12, &values));
    EXPECT_EQ(values.alpha, 1);
    EXPECT_EQ(values.dxt24, 0);
    EXPECT_EQ(values.noLZF, 1);
    EXPECT_EQ(values.threadSetting, 9);

    EXPECT_FALSE(ReadKELSettingsRecord(bytes, 11, &values));
    EXPECT_FALSE(ReadKELSettingsRecord(bytes, 13, &values));
    bytes[3] = 'X';
    EXPECT_FALSE(ReadKELSettingsRecord(bytes, 12, &values));
    EXPECT_FALSE(ReadKELSettingsRecord(nullptr, 12, &values));
}
