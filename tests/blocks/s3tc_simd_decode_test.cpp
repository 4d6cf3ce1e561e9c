// The SIMD S3TC CPU decoder against the plain one, on every Highway target compiled in and
// supported here: every 5:6:5 colour against others in both DXT1 modes and in DXT5, every pair
// of DXT5 alphas with every code, random blocks of many sizes, row pitches and misaligned
// destinations. The whole destination buffer, written and unwritten bytes alike, must be
// identical.
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include <hwy/aligned_allocator.h>
#include <hwy/tests/hwy_gtest.h>

#include "blocks/s3tc_decode.h"

namespace {

using Bytes = std::vector<uint8_t>;

class S3TCSimdDecode : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(S3TCSimdDecode);

// Both decoders into copies of a patterned buffer; the SIMD decoder's buffer starts at a
// 64-byte boundary, so start is also its destination's offset from one (streaming stores take
// whole aligned vectors). The blocks are exactly their size, so a read past their end shows in
// the sanitizer build.
void ExpectSameDecode(const Bytes& blocks, bool dxt5, int width, int height, int rowBytes, size_t start) {
    const size_t bufferBytes = start + static_cast<size_t>(rowBytes) * height + 64;
    const hwy::AlignedFreeUniquePtr<uint8_t[]> simd = hwy::AllocateAligned<uint8_t>(bufferBytes);
    Bytes plain(bufferBytes);
    for (size_t i = 0; i < bufferBytes; ++i)
        simd[i] = plain[i] = static_cast<uint8_t>(i * 7 + 3);
    DecodeS3TC(blocks.data(), dxt5, simd.get() + start, width, height, rowBytes);
    DecodeS3TCPlain(blocks.data(), dxt5, plain.data() + start, width, height, rowBytes);
    if (std::memcmp(simd.get(), plain.data(), bufferBytes) == 0) return;
    for (size_t i = 0; i < bufferBytes; ++i)
        ASSERT_EQ(simd[i], plain[i]) << hwy::TargetName(hwy::SupportedTargets())
                                     << (dxt5 ? " DXT5 " : " DXT1 ") << width << "x" << height << " rowBytes "
                                     << rowBytes << " start " << start << ": byte " << i << " (block "
                                     << (i - start) / rowBytes / 4 << " row, " << (i - start) % rowBytes / 16
                                     << " column)";
}

Bytes Blocks(int width, int height, bool dxt5) {
    return Bytes(static_cast<size_t>((width + 3) / 4) * ((height + 3) / 4) * (dxt5 ? 16 : 8));
}

} // namespace

TEST_P(S3TCSimdDecode, EveryColourAgainstOthersInEveryMode) {
    // 256 x 256 blocks: block k has colour 0 = k and colour 1 = a scrambled k (or k itself, or
    // k + 1), so both orders and equal colours occur; rows 0xE4 and 0x1B show every entry.
    const int width = 1024, height = 1024;
    for (const bool dxt5 : {false, true})
        for (int partner = 0; partner < 3; ++partner) {
            Bytes blocks = Blocks(width, height, dxt5);
            for (uint32_t k = 0; k < 65536; ++k) {
                uint8_t* block = &blocks[k * (dxt5 ? 16 : 8)];
                if (dxt5) {
                    block[0] = static_cast<uint8_t>(k), block[1] = static_cast<uint8_t>(k >> 8);
                    for (int i = 2; i < 8; ++i)
                        block[i] = static_cast<uint8_t>(k * (i + 3));
                    block += 8;
                }
                const uint32_t c1 = partner == 0   ? (k * 40503u + 17) & 0xFFFF
                                    : partner == 1 ? k
                                                   : (k + 1) & 0xFFFF;
                block[0] = static_cast<uint8_t>(k), block[1] = static_cast<uint8_t>(k >> 8);
                block[2] = static_cast<uint8_t>(c1), block[3] = static_cast<uint8_t>(c1 >> 8);
                block[4] = block[6] = 0xE4, block[5] = block[7] = 0x1B;
            }
            ExpectSameDecode(blocks, dxt5, width, height, width * 4, 0);
        }
}

TEST_P(S3TCSimdDecode, EveryAlphaPairWithEveryCode) {
    const int width = 1024, height = 1024; // block (a0, a1) for every pair
    Bytes blocks = Blocks(width, height, true);
    std::mt19937 rng(5);
    for (int a0 = 0; a0 < 256; ++a0)
        for (int a1 = 0; a1 < 256; ++a1) {
            uint8_t* block = &blocks[(static_cast<size_t>(a0) * 256 + a1) * 16];
            block[0] = static_cast<uint8_t>(a0), block[1] = static_cast<uint8_t>(a1);
            // Pixel i has code (i + a0) % 8: every code at every pixel across the blocks.
            uint64_t codes = 0;
            for (int i = 0; i < 16; ++i)
                codes |= static_cast<uint64_t>((i + a0) % 8) << 3 * i;
            for (int i = 0; i < 6; ++i)
                block[2 + i] = static_cast<uint8_t>(codes >> 8 * i);
            for (int i = 8; i < 16; ++i)
                block[i] = static_cast<uint8_t>(rng());
        }
    ExpectSameDecode(blocks, true, width, height, width * 4, 0);
}

TEST_P(S3TCSimdDecode, FlatAlphaBlocksAndTheirNearMisses) {
    // Alpha blocks with one value throughout (a0 = a1, every code 0 or every code 1) take a
    // short way; blocks that differ from them in one place must not. Block rows 0-6 hold one
    // kind each (whole vectors of it), rows 7-13 mix the kinds block by block.
    const int width = 1024, height = 56; // 256 x 14 blocks
    Bytes blocks = Blocks(width, height, true);
    std::mt19937 rng(15);
    for (int by = 0; by < 14; ++by)
        for (int bx = 0; bx < 256; ++bx) {
            uint8_t* block = &blocks[(static_cast<size_t>(by) * 256 + bx) * 16];
            const int kind = by < 7 ? by : bx % 7;
            const uint8_t a = static_cast<uint8_t>(bx * 37 + by);
            uint64_t codes = kind == 0 || kind == 5 ? 0 : 0x249249249249ull; // every code 0 or 1
            if (kind == 3) codes |= uint64_t{6} << 3 * (bx % 16);            // one code 6 (0 in five steps)
            if (kind == 4) codes |= uint64_t{7} << 3 * (bx % 16);            // one code 7 (255)
            if (kind == 5) codes |= uint64_t{1} << 3 * (bx % 16);            // codes 0 and 1: one value still
            block[0] = a;
            block[1] = kind == 2 ? static_cast<uint8_t>(a ^ 1) : a; // kind 2: a0 and a1 differ
            for (int i = 0; i < 6; ++i)
                block[2 + i] = static_cast<uint8_t>(codes >> 8 * i);
            if (kind == 6)
                for (int i = 0; i < 8; ++i)
                    block[i] = static_cast<uint8_t>(rng());
            for (int i = 8; i < 16; ++i)
                block[i] = static_cast<uint8_t>(rng());
        }
    ExpectSameDecode(blocks, true, width, height, width * 4, 0);
}

TEST_P(S3TCSimdDecode, RandomBlocksSizesPitchesAndAlignment) {
    std::mt19937 rng(11);
    for (const bool dxt5 : {false, true})
        for (int height = 1; height <= 13; height += 3)
            for (int width = 1; width <= 41; width += (width < 10 ? 1 : 7)) {
                Bytes blocks = Blocks(width, height, dxt5);
                for (uint8_t& byte : blocks)
                    byte = static_cast<uint8_t>(rng());
                for (const int extra : {0, 4, 13})
                    for (const size_t start : {size_t{0}, size_t{1}, size_t{3}})
                        ExpectSameDecode(blocks, dxt5, width, height, width * 4 + extra, start);
            }
}

TEST_P(S3TCSimdDecode, LargePicturesStreamedOrNot) {
    // Pictures of 2 MiB and more go out with streaming stores where the destination and the
    // pitch are whole vectors (16, 32 or 64 bytes by target), else with plain stores: the
    // bytes are the plain decoder's either way, the partial blocks at both edges included.
    std::mt19937 rng(13);
    const int width = 1030, height = 514;
    for (const bool dxt5 : {false, true}) {
        Bytes blocks = Blocks(width, height, dxt5);
        for (uint8_t& byte : blocks)
            byte = static_cast<uint8_t>(rng());
        for (const int rowBytes : {4160, 4128, 4124}) // whole 64-byte, 32-byte, 4-byte steps
            for (const size_t offset : {size_t{0}, size_t{16}, size_t{32}, size_t{4}})
                ExpectSameDecode(blocks, dxt5, width, height, rowBytes, offset);
    }
}
