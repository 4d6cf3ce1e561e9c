// Planar 4:2:0 buffers: zeroed planes at every size, and the two YUV copies.
#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

#include "pixel/internal_pixel_buffer.h"

TEST(InternalPixelBuffer, ChunkyAndPlanarCopies) {
    const uint32_t width = 6, height = 4, chunkyRow = width * 2 + 4;
    std::vector<uint8_t> chunky(chunkyRow * height, 0xEE);
    for (uint32_t r = 0; r < height; ++r)
        for (uint32_t k = 0; k < width / 2; ++k) {
            uint8_t* g = &chunky[r * chunkyRow + k * 4];
            g[0] = (r % 2) ? 0 : 255; // Cb: 255 over 0 -> 127
            g[1] = static_cast<uint8_t>(10 * r + 2 * k);
            g[2] = static_cast<uint8_t>(40 + r / 2 * 10 + k); // Cr equal on both rows of a pair
            g[3] = static_cast<uint8_t>(10 * r + 2 * k + 1);
        }

    InternalPixelBuffer planes{};
    ASSERT_EQ(0, callocInternalPixelBuffer(width, height, &planes));
    ASSERT_EQ(0, CopyChunkyYUV422ToPlanarYUV420(width, height, chunky.data(), chunkyRow, planes.y,
                                                planes.yRowBytes, planes.u, planes.uRowBytes, planes.v,
                                                planes.vRowBytes));
    for (uint32_t r = 0; r < height; ++r)
        for (uint32_t x = 0; x < width; ++x)
            EXPECT_EQ(planes.y[r * planes.yRowBytes + x], 10 * r + x);
    for (uint32_t r = 0; r < height / 2; ++r)
        for (uint32_t k = 0; k < width / 2; ++k) {
            EXPECT_EQ(planes.u[r * planes.uRowBytes + k], 127);
            EXPECT_EQ(planes.v[r * planes.vRowBytes + k], 40 + r * 10 + k);
        }

    // Back to chunky: luma and Cr return exactly; Cb comes back as the pair's mean on both
    // rows (chroma is repeated, not interpolated); the row padding is left alone.
    std::vector<uint8_t> back(chunky.size(), 0xEE);
    ASSERT_EQ(0, CopyPlanarYUV420ToChunkyYUV422(width, height, planes.y, planes.yRowBytes, planes.u,
                                                planes.uRowBytes, planes.v, planes.vRowBytes, back.data(),
                                                chunkyRow));
    for (uint32_t r = 0; r < height; ++r) {
        for (uint32_t i = 0; i < chunkyRow; ++i) {
            const uint8_t expected = (i >= width * 2) ? 0xEE : (i % 4 == 0 ? 127 : chunky[r * chunkyRow + i]);
            EXPECT_EQ(back[r * chunkyRow + i], expected) << r << "," << i;
        }
    }

    // Zero sizes copy nothing.
    std::vector<uint8_t> untouched(back);
    EXPECT_EQ(0, CopyPlanarYUV420ToChunkyYUV422(0, height, planes.y, planes.yRowBytes, planes.u,
                                                planes.uRowBytes, planes.v, planes.vRowBytes, back.data(),
                                                chunkyRow));
    EXPECT_EQ(0,
              CopyPlanarYUV420ToChunkyYUV422(width, 0, planes.y, planes.yRowBytes, planes.u, planes.uRowBytes,
                                             planes.v, planes.vRowBytes, back.data(), chunkyRow));
    EXPECT_EQ(back, untouched);
    freeInternalPixelBuffer(&planes);
}

TEST(InternalPixelBuffer, PlanesAreZeroAtEverySizeAndAfterReallocation) {
    // Small planes come from the heap, large ones (a 1080p frame's) are mapped: every plane
    // reads as zero when made, also when the record held written planes before, and each
    // is freed the way it was made (the sanitizer build checks the frees).
    InternalPixelBuffer planes{};
    const uint32_t sizes[][2] = {{6, 4}, {1920, 1080}, {640, 480}, {1920, 1080}, {0, 0}, {4, 2}};
    for (const auto& size : sizes) {
        SCOPED_TRACE(testing::Message() << size[0] << "x" << size[1]);
        ASSERT_EQ(0, callocInternalPixelBuffer(size[0], size[1], &planes));
        const size_t lumaBytes = static_cast<size_t>(planes.yRowBytes) * size[1];
        const size_t chromaBytes = (static_cast<size_t>(planes.uRowBytes) * size[1]) / 2;
        const std::vector<uint8_t> lumaZero(lumaBytes, 0), chromaZero(chromaBytes, 0);
        EXPECT_TRUE(std::equal(lumaZero.begin(), lumaZero.end(), planes.y));
        EXPECT_TRUE(std::equal(chromaZero.begin(), chromaZero.end(), planes.u));
        EXPECT_TRUE(std::equal(chromaZero.begin(), chromaZero.end(), planes.v));
        std::fill(planes.y, planes.y + lumaBytes, 0xA5);
        std::fill(planes.u, planes.u + chromaBytes, 0x5A);
        std::fill(planes.v, planes.v + chromaBytes, 0x3C);
    }
    freeInternalPixelBuffer(&planes);
    EXPECT_EQ(planes.y, nullptr);
    freeInternalPixelBuffer(&planes); // a freed record may be freed again
}
