// The wide-copy LZF unpackers against liblzf's lzf_decompress: the same result and the same
// bytes in the whole output buffer (also around what is written) for valid streams of every
// kind of run, for streams cut short, damaged or random, and for buffers too small.
#include <gtest/gtest.h>

#include <lzf.h>

#include <algorithm>
#include <random>
#include <vector>

#include "lzf_input.h"
#include "stream/lzf_unpack.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Packed(const Bytes& bytes) {
    Bytes packed(bytes.size() + bytes.size() / 32 + 64); // room for noise, which grows
    packed.resize(lzf_compress(bytes.data(), static_cast<unsigned>(bytes.size()), packed.data(),
                               static_cast<unsigned>(packed.size())));
    return packed;
}

// Data whose LZF stream has the runs of one kind in the majority: literal runs of every
// length, back-references that overlap themselves (distance 1 to 15), long ones from far back,
// and DXT24-like 10-byte blocks that repeat now and then.
Bytes Sample(int kind, size_t size, std::mt19937& random) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        switch (kind) {
        case 0: // noise: literals only
            bytes[i] = static_cast<uint8_t>(random());
            break;
        case 1: // short repeats
            bytes[i] =
                i > 16 && random() % 4 != 0 ? bytes[i - 1 - random() % 15] : static_cast<uint8_t>(random());
            break;
        case 2: // long runs of one byte or of a short pattern
            bytes[i] =
                random() % 200 == 0 || i < 8 ? static_cast<uint8_t>(random()) : bytes[i - 1 - (i / 500) % 7];
            break;
        default: // blocks: new, or a copy of one up to 800 blocks back
            if (i % 10 == 0 && i >= 8000 && random() % 3 == 0) {
                const size_t from = i - 10 * (1 + random() % 800);
                for (size_t j = 0; j < 10 && i + j < size; ++j)
                    bytes[i + j] = bytes[from + j];
                i += 9;
            } else {
                bytes[i] =
                    static_cast<uint8_t>(random() % 4 == 0 ? random() : bytes[i > 10 ? i - 10 : 0] ^ 1);
            }
        }
    }
    return bytes;
}

// Both unpackers against lzf_decompress, into a patterned and into a zeroed buffer of `limit`
// bytes and the guard bytes after it: the fuzz target's check (lzf_input.h) on one stream.
void ExpectSameAsLiblzf(const Bytes& stream, unsigned limit, const std::string& what) {
    ASSERT_LT(limit, 1u << 16) << what;
    ASSERT_FALSE(stream.empty()) << what; // lzf_decompress reads past an empty stream
    Bytes input = {static_cast<uint8_t>(limit), static_cast<uint8_t>(limit >> 8)};
    input.insert(input.end(), stream.begin(), stream.end());
    EXPECT_EQ(RunLZFInput(input.data(), input.size()), "") << what << ", limit " << limit;
}

} // namespace

TEST(LZFUnpackTest, SameBytesAsLiblzfForValidStreamsOfEveryRunKind) {
    std::mt19937 random(11);
    for (int kind = 0; kind < 4; ++kind)
        for (int round = 0; round < 40; ++round) {
            const size_t size = round < 20 ? 1 + random() % 300 : 1000 + random() % 40000;
            const Bytes packed = Packed(Sample(kind, size, random));
            const std::string what = "kind " + std::to_string(kind) + ", round " + std::to_string(round);
            ASSERT_FALSE(packed.empty()) << what << ", size " << size;
            const auto n = static_cast<unsigned>(size);
            ExpectSameAsLiblzf(packed, n, what);
            ExpectSameAsLiblzf(packed, n + 100, what);
            // Too small: everything up to the run that does not fit, then 0.
            ExpectSameAsLiblzf(packed, n - 1, what);
            ExpectSameAsLiblzf(packed, static_cast<unsigned>(random() % n), what);
        }
}

TEST(LZFUnpackTest, SameBytesAsLiblzfForDamagedAndRandomStreams) {
    std::mt19937 random(12);
    for (int round = 0; round < 600; ++round) {
        const int kind = round % 4;
        const size_t size = 1 + random() % 6000;
        const Bytes packed = Packed(Sample(kind, size, random));
        const auto n = static_cast<unsigned>(size);
        const std::string what = "round " + std::to_string(round);
        ExpectSameAsLiblzf(Bytes(packed.begin(), packed.begin() + 1 + random() % packed.size()), n,
                           what + " cut");
        Bytes flipped = packed;
        for (int i = 0; i < 1 + round % 5; ++i)
            flipped[random() % flipped.size()] ^= static_cast<uint8_t>(1 + random() % 255);
        ExpectSameAsLiblzf(flipped, n, what + " flipped");
        ExpectSameAsLiblzf(flipped, 2 * n + 300, what + " flipped");
        Bytes noise(1 + random() % 300);
        for (uint8_t& b : noise)
            b = static_cast<uint8_t>(random());
        ExpectSameAsLiblzf(noise, 20000, what + " noise");
    }
    // Named runs: the longest back-reference (264 bytes) at distance 1, far back and cut off,
    // a reference before the start, an empty stream and an empty buffer.
    ExpectSameAsLiblzf({0x00, 'a', 0xE0, 0xFF, 0x00}, 1000, "264 at distance 1");
    ExpectSameAsLiblzf({0x00, 'a', 0xE0, 0xFF, 0x00}, 264, "264 at distance 1, no room");
    ExpectSameAsLiblzf({0x1F, 0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14,   15,   16,
                        17,   18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 0xE0, 0xFF, 0x1F},
                       1000, "264 from 32 back");
    ExpectSameAsLiblzf({0x00, 'a', 0xE0}, 1000, "cut in the length byte");
    ExpectSameAsLiblzf({0x00, 'a', 0x20}, 1000, "cut in the distance byte");
    ExpectSameAsLiblzf({0x00, 'a', 0x20, 0x01}, 1000, "before the start");
    ExpectSameAsLiblzf({0x00, 'a'}, 0, "empty buffer");
    // An empty stream unpacks to nothing and touches nothing, also past a zeroed buffer.
    Bytes patterned(64, 0xA5), zeroed(64, 0xA5);
    std::fill(zeroed.begin(), zeroed.begin() + 16, 0);
    EXPECT_EQ(LZFUnpack(nullptr, 0, patterned.data(), 16), 0u);
    EXPECT_EQ(LZFUnpackIntoZeroed(nullptr, 0, zeroed.data(), 16), 0u);
    EXPECT_EQ(patterned, Bytes(64, 0xA5));
    EXPECT_EQ(Bytes(zeroed.begin(), zeroed.begin() + 16), Bytes(16, 0));
    EXPECT_EQ(Bytes(zeroed.begin() + 16, zeroed.end()), Bytes(48, 0xA5));
}

// The host decodes a frame only when its payload fills the block buffer exactly, and does not
// clear that buffer first: then every byte must come from the stream, whatever was there.
TEST(LZFUnpackTest, AStreamThatFillsTheBufferLeavesNothingOfWhatItHeld) {
    std::mt19937 random(13);
    for (int kind = 0; kind < 4; ++kind)
        for (int round = 0; round < 30; ++round) {
            const size_t size = round < 10 ? 1 + random() % 400 : 1000 + random() % 60000;
            const Bytes bytes = Sample(kind, size, random);
            const Bytes packed = Packed(bytes);
            ASSERT_FALSE(packed.empty());
            Bytes dirty(size);
            for (uint8_t& b : dirty)
                b = static_cast<uint8_t>(random());
            ASSERT_EQ(LZFUnpackIntoZeroed(packed.data(), packed.size(), dirty.data(), size), size);
            EXPECT_EQ(dirty, bytes) << "kind " << kind << ", round " << round;
        }
}
