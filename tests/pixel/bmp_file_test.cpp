// BMP files with the 16-byte file header: bad files are refused.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "pixel/bmp_file.h"

namespace {

std::vector<unsigned char> InfoHeader(int32_t width, int32_t height, uint16_t bitCount, uint32_t compression,
                                      uint32_t imageSize, uint32_t colorsUsed) {
    std::vector<unsigned char> info(40, 0);
    auto put = [&](int offset, uint32_t v, int bytes) {
        for (int i = 0; i < bytes; ++i)
            info[offset + i] = static_cast<unsigned char>(v >> (8 * i));
    };
    put(0, 40, 4);
    put(4, static_cast<uint32_t>(width), 4);
    put(8, static_cast<uint32_t>(height), 4);
    put(12, 1, 2);
    put(14, bitCount, 2);
    put(16, compression, 4);
    put(20, imageSize, 4);
    put(32, colorsUsed, 4);
    return info;
}

std::vector<unsigned char> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const std::vector<unsigned char>& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

class BMPFile : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/qzkt-bmp-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { std::system(("rm -rf " + dir_).c_str()); }
    std::string Path(const char* name) const { return dir_ + "/" + name; }
    std::string dir_;
};

} // namespace

TEST_F(BMPFile, BadFilesGiveNull) {
    void* info = nullptr;
    EXPECT_EQ(LoadDIBitmap(Path("missing.bmp").c_str(), &info), nullptr);

    std::vector<unsigned char> header = InfoHeader(3, 2, 24, 0, 0, 0);
    std::vector<unsigned char> bits(18, 7);
    ASSERT_EQ(0, SaveDIBitmap(Path("good.bmp").c_str(), header.data(), bits.data()));
    const std::vector<unsigned char> good = ReadFile(Path("good.bmp"));

    std::vector<unsigned char> notBM = good;
    notBM[0] = 'P';
    WriteFile(Path("notbm.bmp"), notBM);
    EXPECT_EQ(LoadDIBitmap(Path("notbm.bmp").c_str(), &info), nullptr);

    // Cut short in the header, in the info block and in the bits.
    for (size_t length : {size_t{10}, size_t{40}, size_t{70}}) {
        WriteFile(Path("short.bmp"), std::vector<unsigned char>(good.begin(), good.begin() + length));
        EXPECT_EQ(LoadDIBitmap(Path("short.bmp").c_str(), &info), nullptr) << length;
    }

    // An offset of bits that leaves no room for the info header is refused before any
    // field of it is read.
    std::vector<unsigned char> tinyInfo = good;
    tinyInfo[12] = 20;
    WriteFile(Path("tiny.bmp"), tinyInfo);
    EXPECT_EQ(LoadDIBitmap(Path("tiny.bmp").c_str(), &info), nullptr);

    // Headers claiming sizes no file of this length holds: a bits offset of 4 GB, a stored
    // image size of 4 GB, and sides whose computed image size overflows 64 bits. Each gives
    // null, and no size is computed or allocated past what the file holds.
    std::vector<unsigned char> hugeOffset = good;
    for (int i = 12; i < 16; ++i)
        hugeOffset[i] = 0xFF;
    std::vector<unsigned char> hugeImage = good;
    for (int i = 16 + 20; i < 16 + 24; ++i)
        hugeImage[i] = 0xFF;
    std::vector<unsigned char> overflow = good;
    for (int i = 16 + 4; i < 16 + 12; ++i)
        overflow[i] = 0xFF;                       // width, height -1
    overflow[16 + 7] = 0x7F;                      // width 2^31-1
    overflow[16 + 11] = 0x80;                     // height -0x7F000001
    overflow[16 + 14] = overflow[16 + 15] = 0xFF; // 65535 bits per pixel
    for (const auto& claim : {hugeOffset, hugeImage, overflow}) {
        WriteFile(Path("claims.bmp"), claim);
        EXPECT_EQ(LoadDIBitmap(Path("claims.bmp").c_str(), &info), nullptr);
    }

    // Saving into a folder that does not exist fails.
    EXPECT_EQ(-1, SaveDIBitmap(Path("no/such/dir.bmp").c_str(), header.data(), bits.data()));
}
