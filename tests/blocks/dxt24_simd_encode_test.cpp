// The SIMD DXT24 image walker against the plain one, on every Highway target compiled in
// and supported here: hundreds of thousands of generated blocks of many kinds, every edge
// padding, row pitches and misaligned rows, and the alpha variant. Bytes must be identical.
#include <gtest/gtest.h>

#include <hwy/tests/hwy_gtest.h>

#include "block_coder_check.h"
#include "blocks/dxt24_image.h"

namespace {

class DXT24SimdEncode : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(DXT24SimdEncode);

// The opaque coder from the block kinds' table; the alpha variant, which no frame holds, from
// the walkers themselves.
BlockCoder DXT24Coder(bool alpha) {
    if (!alpha) return TableCoder(BlockKind::kDXT24);
    return {alpha ? "DXT24 with alpha" : "DXT24", 10,
            [alpha](unsigned char* out, unsigned char* image, int width, int height, int rowBytes) {
                _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(out), image, width, height,
                                        rowBytes, alpha);
            },
            [alpha](unsigned char* out, unsigned char* image, int width, int height, int rowBytes) {
                stbCompressARGB32_to24_plain(reinterpret_cast<unsigned short*>(out), image, width, height,
                                             rowBytes, alpha);
            }};
}

} // namespace

TEST_P(DXT24SimdEncode, GeneratedBlocksOfEveryKind) {
    ExpectSameBytesForEveryBlockKind(DXT24Coder(false), 32768);
}

TEST_P(DXT24SimdEncode, EdgePaddingRowPitchesAndMisalignedRows) {
    ExpectSameBytesAtEveryEdgeAndPitch(DXT24Coder(false));
}

TEST_P(DXT24SimdEncode, AlphaVariantAndSlices) {
    // With alpha each 10-byte unit is the alpha block and colour 0's red and green.
    Rng rng(10);
    const int width = 93, height = 37;
    Bytes image(static_cast<size_t>(width) * height * 4);
    for (size_t i = 0; i < image.size(); ++i)
        image[i] =
            static_cast<unsigned char>(i % 4 == 0 ? 255 - (rng() % 3) * 100 : (i / 4 % 7) * 30 + rng() % 9);
    ExpectSameBytes(DXT24Coder(true), image, width, height, 0);
    ExpectSameBytesForEveryBlockKind(DXT24Coder(true), 1024);

    // Slices as the threaded encoder hands them out: whole block rows from any block row,
    // the last one possibly partial.
    for (int first : {0, 4, 12, 32})
        for (int rows : {4, 8, 5})
            if (first + rows <= height)
                ExpectSameBytes(DXT24Coder(false), image, width, rows, width * 4, first * width * 4);
}
