// Frame header bytes, block sizes and the settings record.
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
