// The DXT24 image walker: edge padding, strides, empty sizes, the alpha stride, and a
// digest that pins the encoder's bytes across build types (optimised and sanitizer builds
// must agree, which catches float contraction and evaluation-order changes).
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "blocks/dxt24_block.h"
#include "blocks/dxt24_image.h"
#include "pixel/synthetic_image.h"

namespace {

std::vector<unsigned char> Picture(int width, int height, int rowBytes, int frame = 0) {
    std::vector<unsigned char> image(static_cast<size_t>(rowBytes) * height, 0xEE);
    FillSyntheticARGB(image.data(), width, height, rowBytes, frame);
    return image;
}

size_t PayloadSize(int width, int height) {
    return static_cast<size_t>((width + 3) / 4) * ((height + 3) / 4) * 10;
}

std::vector<unsigned char> Encode(std::vector<unsigned char>& image, int width, int height, int rowBytes,
                                  bool alpha = false) {
    std::vector<unsigned char> payload(PayloadSize(width, height));
    _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(payload.data()), image.data(), width, height,
                            rowBytes, alpha);
    return payload;
}

uint64_t Fnv1a(const std::vector<unsigned char>& bytes) {
    uint64_t h = 1469598103934665603ull;
    for (unsigned char b : bytes)
        h = (h ^ b) * 1099511628211ull;
    return h;
}

} // namespace

TEST(DXT24Image, EdgeBlocksRepeatTheLastRowAndColumn) {
    // Every size up to 9x9 encodes exactly like the same picture padded by hand to whole
    // blocks, the last real row and column repeated.
    for (int width = 1; width <= 9; ++width) {
        for (int height = 1; height <= 9; ++height) {
            std::vector<unsigned char> image = Picture(width, height, width * 4, width + height);
            const int w4 = (width + 3) / 4 * 4, h4 = (height + 3) / 4 * 4;
            std::vector<unsigned char> padded(static_cast<size_t>(w4) * h4 * 4);
            for (int y = 0; y < h4; ++y)
                for (int x = 0; x < w4; ++x)
                    std::memcpy(&padded[(static_cast<size_t>(y) * w4 + x) * 4],
                                &image[(static_cast<size_t>(y < height ? y : height - 1) * width +
                                        (x < width ? x : width - 1)) *
                                       4],
                                4);
            EXPECT_EQ(Encode(image, width, height, 0), Encode(padded, w4, h4, 0)) << width << "x" << height;
        }
    }
}

TEST(DXT24Image, RowPitchAndEmptySizes) {
    // rowBytes 0 means width * 4; a wider pitch whose padding holds other bytes gives the
    // same payload.
    const int width = 37, height = 29;
    std::vector<unsigned char> tight = Picture(width, height, width * 4);
    std::vector<unsigned char> wide(static_cast<size_t>(width * 4 + 52) * height, 0x5A);
    for (int y = 0; y < height; ++y)
        std::memcpy(&wide[static_cast<size_t>(y) * (width * 4 + 52)],
                    &tight[static_cast<size_t>(y) * width * 4], width * 4);
    EXPECT_EQ(Encode(tight, width, height, 0), Encode(tight, width, height, width * 4));
    EXPECT_EQ(Encode(tight, width, height, 0), Encode(wide, width, height, width * 4 + 52));

    // A width or height of 0 (or less) writes nothing.
    unsigned char guard[32];
    for (int size : {0, -4}) {
        std::memset(guard, 0xC3, sizeof guard);
        _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(guard), tight.data(), size, 8, 0, false);
        _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(guard), tight.data(), 8, size, 0, false);
        for (unsigned char b : guard)
            ASSERT_EQ(b, 0xC3);
    }
}

TEST(DXT24Image, AlphaKeepsTheTenByteStride) {
    // With alpha each stored unit is the first 10 bytes of the 18-byte block: the 8-byte
    // alpha block and colour 0's red and green.
    const int width = 8, height = 4;
    std::vector<unsigned char> image(width * height * 4);
    FillSyntheticARGB(image.data(), width, height, width * 4, 3, true);
    const std::vector<unsigned char> payload = Encode(image, width, height, 0, true);
    ASSERT_EQ(payload.size(), 20u);

    for (int bx = 0; bx < 2; ++bx) {
        unsigned char block[64];
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                const unsigned char* p = &image[(y * width + bx * 4 + x) * 4];
                unsigned char* q = &block[(y * 4 + x) * 4];
                q[0] = p[1], q[1] = p[2], q[2] = p[3], q[3] = p[0];
            }
        unsigned char full[18];
        stb_compress_dxt_block_24(full, block, 1, 2);
        EXPECT_EQ(0, std::memcmp(&payload[bx * 10], full, 10)) << "block " << bx;
    }
}

TEST(DXT24Image, PayloadDigestIsTheSameInEveryBuild) {
    // Pinned bytes of two generated pictures, one of them with partial blocks.
    std::vector<unsigned char> a = Picture(64, 48, 64 * 4, 1);
    std::vector<unsigned char> b = Picture(37, 29, 37 * 4, 5);
    EXPECT_EQ(Fnv1a(Encode(a, 64, 48, 0)), 15670210964902095745ull);
    EXPECT_EQ(Fnv1a(Encode(b, 37, 29, 0)), 305217295996396011ull);
}
