// The SIMD DXT1/DXT5 image walker against stb_compress_dxt_block one block at a time (the
// plain walker), both from the block kinds' table, on every Highway target compiled in and supported here:
// the generated blocks of every kind, every edge padding, row pitches and misaligned rows, and alpha that
// varies, is solid, or differs only where stb's solid test would see it.
#include <gtest/gtest.h>

#include <hwy/tests/hwy_gtest.h>

#include "block_coder_check.h"

namespace {

class DXT1SimdEncode : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(DXT1SimdEncode);

BlockCoder DXTCoder(bool alpha) {
    return TableCoder(alpha ? BlockKind::kDXT5 : BlockKind::kDXT1);
}

} // namespace

TEST_P(DXT1SimdEncode, GeneratedBlocksOfEveryKind) {
    ExpectSameBytesForEveryBlockKind(DXTCoder(false), 32768);
    ExpectSameBytesForEveryBlockKind(DXTCoder(true), 4096);
}

TEST_P(DXT1SimdEncode, EdgePaddingRowPitchesAndMisalignedRows) {
    ExpectSameBytesAtEveryEdgeAndPitch(DXTCoder(false));
    ExpectSameBytesAtEveryEdgeAndPitch(DXTCoder(true));
}

TEST_P(DXT1SimdEncode, SolidColoursAndAlphaInTheSolidTest) {
    // Every grey and every pure channel value as a solid block (stb's single-colour tables,
    // including the endpoints it writes swapped), then the same blocks with one alpha byte
    // changed: no longer solid for DXT1, whose test reads alpha, still solid for DXT5, whose
    // copy is opaque.
    const int width = 4 * 256, height = 4 * 4;
    Bytes image(static_cast<size_t>(width) * height * 4);
    for (int v = 0; v < 256; ++v)
        for (int row = 0; row < 4; ++row) {
            const unsigned char colours[4][3] = {
                {static_cast<unsigned char>(v), static_cast<unsigned char>(v), static_cast<unsigned char>(v)},
                {static_cast<unsigned char>(v), 0, 0},
                {0, static_cast<unsigned char>(v), 0},
                {0, 0, static_cast<unsigned char>(v)}};
            for (int y = row * 4; y < row * 4 + 4; ++y)
                for (int x = v * 4; x < v * 4 + 4; ++x) {
                    unsigned char* p = &image[(static_cast<size_t>(y) * width + x) * 4];
                    p[0] = 200, p[1] = colours[row][0], p[2] = colours[row][1], p[3] = colours[row][2];
                }
        }
    for (bool alpha : {false, true}) {
        ExpectSameBytes(DXTCoder(alpha), image, width, height, 0);
        Bytes changed = image;
        for (size_t block = 0; block < changed.size() / 64; ++block)
            changed[(block * 37 % 16) * 4 + (block / 256) * width * 16 + (block % 256) * 16] = 17;
        ExpectSameBytes(DXTCoder(alpha), changed, width, height, 0);
    }
}
