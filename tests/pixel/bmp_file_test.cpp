// BMP files with the 16-byte file header: exact layout, round trips and bad files.
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

uint32_t U32(const std::vector<unsigned char>& b, size_t at) {
    return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
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

TEST_F(BMPFile, TwentyFourBitLayoutAndRoundTrip) {
    // 3x2, 24 bits, image size 0: rows of 9 bytes, no padding, no palette: 16 + 40 + 18.
    std::vector<unsigned char> info = InfoHeader(3, 2, 24, 0, 0, 0);
    std::vector<unsigned char> bits(18);
    for (size_t i = 0; i < bits.size(); ++i)
        bits[i] = static_cast<unsigned char>(i * 13);
    ASSERT_EQ(0, SaveDIBitmap(Path("a.bmp").c_str(), info.data(), bits.data()));

    const std::vector<unsigned char> file = ReadFile(Path("a.bmp"));
    ASSERT_EQ(file.size(), 74u);
    EXPECT_EQ(file[0], 'B');
    EXPECT_EQ(file[1], 'M');
    EXPECT_EQ(U32(file, 4), 74u);  // file size
    EXPECT_EQ(U32(file, 8), 0u);   // both reserved fields
    EXPECT_EQ(U32(file, 12), 56u); // offset of bits
    EXPECT_EQ(0, std::memcmp(&file[16], info.data(), 40));
    EXPECT_EQ(0, std::memcmp(&file[56], bits.data(), 18));

    void* loadedInfo = nullptr;
    unsigned char* loaded = static_cast<unsigned char*>(LoadDIBitmap(Path("a.bmp").c_str(), &loadedInfo));
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(0, std::memcmp(loadedInfo, info.data(), 40));
    EXPECT_EQ(0, std::memcmp(loaded, bits.data(), 18));
    std::free(loaded);
    std::free(loadedInfo);

    // A negative (top-down) height gives the same image size.
    std::vector<unsigned char> topDown = InfoHeader(3, -2, 24, 0, 0, 0);
    ASSERT_EQ(0, SaveDIBitmap(Path("b.bmp").c_str(), topDown.data(), bits.data()));
    EXPECT_EQ(ReadFile(Path("b.bmp")).size(), 74u);
}

TEST_F(BMPFile, PalettesAndMasks) {
    // 8 bits, uncompressed, colours used 0: a 256-entry palette of 1024 bytes.
    std::vector<unsigned char> info = InfoHeader(4, 2, 8, 0, 0, 0);
    info.resize(40 + 1024, 0x11);
    std::vector<unsigned char> bits(8, 0x22);
    ASSERT_EQ(0, SaveDIBitmap(Path("p.bmp").c_str(), info.data(), bits.data()));
    std::vector<unsigned char> file = ReadFile(Path("p.bmp"));
    EXPECT_EQ(file.size(), 16u + 1064 + 8);
    EXPECT_EQ(U32(file, 12), 16u + 1064);

    void* loadedInfo = nullptr;
    void* loaded = LoadDIBitmap(Path("p.bmp").c_str(), &loadedInfo);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(0, std::memcmp(loadedInfo, info.data(), info.size()));
    std::free(loaded);
    std::free(loadedInfo);

    // Bit fields with 32 bits: three masks, no palette; with 5 colours used: masks and 20 bytes.
    std::vector<unsigned char> fields = InfoHeader(2, 2, 32, 3, 0, 0);
    fields.resize(40 + 12 + 20, 0x33);
    std::vector<unsigned char> pixels(16, 0x44);
    ASSERT_EQ(0, SaveDIBitmap(Path("f.bmp").c_str(), fields.data(), pixels.data()));
    EXPECT_EQ(ReadFile(Path("f.bmp")).size(), 16u + 52 + 16);
    fields[32] = 5;
    ASSERT_EQ(0, SaveDIBitmap(Path("g.bmp").c_str(), fields.data(), pixels.data()));
    EXPECT_EQ(ReadFile(Path("g.bmp")).size(), 16u + 72 + 16);
}

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
