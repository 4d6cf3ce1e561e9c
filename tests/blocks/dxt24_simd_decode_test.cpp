// The SIMD DXT24 CPU decoder against the plain one, on every Highway target compiled in and
// supported here: every pair of endpoint values, random payloads of many sizes, row pitches
// (padded, odd, negative, overlapping) and misaligned destinations. The whole destination
// buffer, written and unwritten bytes alike, must be identical.
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include <hwy/aligned_allocator.h>
#include <hwy/tests/hwy_gtest.h>

#include "blocks/dxt24_decode.h"

namespace {

using Bytes = std::vector<unsigned char>;

class DXT24SimdDecode : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(DXT24SimdDecode);

// Decodes payload with both decoders into copies of a patterned buffer; start is where the
// first row begins (late in the buffer for a negative pitch). The SIMD decoder's buffer starts
// at a 64-byte boundary, so start also sets its destination's alignment (streaming stores take
// whole aligned vectors). The payload is exactly its size, so a read past its end shows in the
// sanitizer build.
void ExpectSameDecode(const Bytes& payload, int width, int height, int rowBytes, size_t bufferBytes,
                      size_t start) {
    const hwy::AlignedFreeUniquePtr<unsigned char[]> simd = hwy::AllocateAligned<unsigned char>(bufferBytes);
    Bytes plain(bufferBytes);
    for (size_t i = 0; i < bufferBytes; ++i)
        simd[i] = plain[i] = static_cast<unsigned char>(i * 7 + 3);
    DecodeDXT24(payload.data(), simd.get() + start, width, height, rowBytes);
    DecodeDXT24Plain(payload.data(), plain.data() + start, width, height, rowBytes);
    if (std::memcmp(simd.get(), plain.data(), bufferBytes) == 0) return;
    for (size_t i = 0; i < bufferBytes; ++i)
        ASSERT_EQ(simd[i], plain[i]) << hwy::TargetName(hwy::SupportedTargets()) << " " << width << "x"
                                     << height << " rowBytes " << rowBytes << " start " << start << ": byte "
                                     << i;
}

Bytes RandomPayload(std::mt19937& rng, int width, int height) {
    Bytes payload(static_cast<size_t>((width + 3) / 4) * ((height + 3) / 4) * 10);
    for (unsigned char& b : payload)
        b = static_cast<unsigned char>(rng());
    return payload;
}

} // namespace

TEST_P(DXT24SimdDecode, EveryEndpointPairInEveryChannel) {
    // Block (a, b) has colour 0 = (a, b, a ^ b) and colour 1 = (b, a, 255 - a), so every
    // pair of values meets in every channel's thirds; index rows 0xE4 show all four
    // entries in each row, 0x1B reverses them.
    const int width = 1024, height = 1024; // 256 x 256 blocks
    Bytes payload(static_cast<size_t>(width / 4) * (height / 4) * 10);
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b) {
            unsigned char* block = &payload[(static_cast<size_t>(a) * 256 + b) * 10];
            const unsigned char bytes[10] = {static_cast<unsigned char>(a),
                                             static_cast<unsigned char>(b),
                                             static_cast<unsigned char>(a ^ b),
                                             static_cast<unsigned char>(b),
                                             static_cast<unsigned char>(a),
                                             static_cast<unsigned char>(255 - a),
                                             0xE4,
                                             0x1B,
                                             static_cast<unsigned char>(a),
                                             static_cast<unsigned char>(b)};
            std::memcpy(block, bytes, 10);
        }
    ExpectSameDecode(payload, width, height, width * 4, static_cast<size_t>(width) * height * 4, 0);
}

TEST_P(DXT24SimdDecode, RandomPayloadsSizesPitchesAndAlignment) {
    // Widths around every group size (1 to 4 blocks a vector) and every height mod 4, with
    // tight, padded and odd pitches and destinations 0 to 3 bytes off alignment.
    std::mt19937 rng(11);
    const int widths[] = {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 16, 17, 19, 20, 21, 33, 63, 64, 65};
    for (int width : widths) {
        for (int height : {1, 3, 4, 5, 8, 11}) {
            const Bytes payload = RandomPayload(rng, width, height);
            const int w4 = (width + 3) / 4 * 4, h4 = (height + 3) / 4 * 4;
            for (int extra : {0, 4, 3, 36}) {
                const int rowBytes = w4 * 4 + extra;
                for (size_t start : {size_t{0}, size_t{1}, size_t{2}, size_t{3}})
                    ExpectSameDecode(payload, width, height, rowBytes,
                                     start + static_cast<size_t>(rowBytes) * h4 + 8, start);
            }
        }
    }

    // A large random payload, as a frame.
    const Bytes frame = RandomPayload(rng, 640, 360);
    ExpectSameDecode(frame, 640, 360, 640 * 4, 640 * 360 * 4, 0);
}

TEST_P(DXT24SimdDecode, BottomUpAndOverlappingRows) {
    std::mt19937 rng(12);
    const int width = 37, height = 10;
    const int w4 = 40, h4 = 12;
    const Bytes payload = RandomPayload(rng, width, height);

    // A negative pitch writes the rows upwards from the last row of the buffer.
    const size_t bytes = static_cast<size_t>(w4) * 4 * h4;
    ExpectSameDecode(payload, width, height, -w4 * 4, bytes, bytes - w4 * 4);

    // Rows closer than a block row's pixels overlap; the later writes must win as in the
    // plain decoder (and a pitch of 0 writes every row over the first).
    for (int rowBytes : {w4 * 4 - 4, 16, 1, 0})
        ExpectSameDecode(payload, width, height, rowBytes, bytes, 0);
}

TEST_P(DXT24SimdDecode, LargePicturesStreamedOrNot) {
    // Pictures of 2 MiB and more go out with streaming stores where the destination and the
    // pitch are whole vectors (16, 32 or 64 bytes by target), else with plain stores: the
    // bytes are the plain decoder's either way, downwards and upwards.
    std::mt19937 rng(14);
    const int width = 1030, height = 514, h4 = 516; // rows of 1032 pixels: 4128 bytes
    const Bytes payload = RandomPayload(rng, width, height);
    for (const int pitch : {4160, 4128, 4132}) // whole 64-byte, 32-byte, 4-byte steps
        for (const size_t offset : {size_t{0}, size_t{16}, size_t{32}, size_t{4}}) {
            const size_t bytes = static_cast<size_t>(pitch) * h4;
            ExpectSameDecode(payload, width, height, pitch, offset + bytes, offset);
            ExpectSameDecode(payload, width, height, -pitch, offset + bytes, offset + bytes - pitch);
        }
}
