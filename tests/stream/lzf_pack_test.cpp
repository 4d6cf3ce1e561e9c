// The encoder's LZF packer against liblzf's lzf_compress (through the fuzz target's check,
// fuzz/lzf_input.h): the same result and bytes for inputs of every size up to a few hundred
// bytes, matches of every length at every distance up to the window's end, literal runs of
// every length, DXT-like payloads, and output buffers from far too small to roomy. And
// lzf_compress's output does not depend on what an earlier call left in its table.
#include <gtest/gtest.h>

#include <lzf.h>

#include <random>
#include <vector>

#include "lzf_input.h"
#include "stream/lzf_pack.h"

namespace {

using Bytes = std::vector<uint8_t>;

// The fuzz input for bytes packed into outSize bytes.
Bytes Input(const Bytes& bytes, size_t outSize) {
    Bytes input = {static_cast<uint8_t>(outSize), static_cast<uint8_t>(outSize >> 8)};
    input.insert(input.end(), bytes.begin(), bytes.end());
    return input;
}

void ExpectSameAsLiblzf(const Bytes& bytes, size_t outSize) {
    const Bytes input = Input(bytes, outSize);
    const std::string fault = RunLZFPackInput(input.data(), input.size());
    ASSERT_EQ(fault, "") << bytes.size() << " bytes into " << outSize;
}

// Noise with stretches copied from d bytes back, so that matches of many lengths and
// distances appear.
Bytes Echoes(size_t size, size_t distance, std::mt19937& random) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = i >= distance && random() % 4 != 0 ? bytes[i - distance] : static_cast<uint8_t>(random());
    return bytes;
}

} // namespace

TEST(LZFPack, EverySmallSizeAndOutputRoom) {
    std::mt19937 random(1);
    for (size_t size = 0; size <= 300; ++size) {
        const Bytes bytes = Echoes(size, 1 + size % 7, random);
        for (size_t outSize = 0; outSize <= size + 8; outSize += (outSize < 12 ? 1 : 7)) {
            ExpectSameAsLiblzf(bytes, outSize);
        }
    }
}

TEST(LZFPack, MatchesOfEveryLengthAtEveryDistanceAndLiteralRuns) {
    std::mt19937 random(2);
    // A run of noise, then a copy of its first `length` bytes `distance` later: every length
    // from 3 past the longest match (264), distances to the window's end (8192) and past it.
    for (const size_t distance : {1, 2, 3, 17, 255, 256, 4095, 8191, 8192, 8193, 9000})
        for (size_t length = 1; length <= 280; length += (length < 40 ? 1 : 13)) {
            Bytes bytes(distance + length + 50);
            for (uint8_t& b : bytes)
                b = static_cast<uint8_t>(random());
            for (size_t i = 0; i < length; ++i)
                bytes[distance + i] = bytes[i];
            ExpectSameAsLiblzf(bytes, bytes.size() + 64);
            ExpectSameAsLiblzf(bytes, bytes.size() / 2);
        }
    // Literal runs of every length between matches.
    for (size_t run = 0; run <= 70; ++run) {
        Bytes bytes;
        for (int k = 0; k < 5; ++k) {
            for (size_t i = 0; i < run; ++i)
                bytes.push_back(static_cast<uint8_t>(random()));
            const Bytes word = {'q', 'z', 'k', 't', 'Q'};
            bytes.insert(bytes.end(), word.begin(), word.end());
        }
        ExpectSameAsLiblzf(bytes, bytes.size() + 40);
    }
}

TEST(LZFPack, DXTLikePayloadsAndLongInputs) {
    std::mt19937 random(3);
    // 10-byte DXT24-like blocks: endpoints that repeat across neighbours, indices that vary.
    Bytes blocks;
    uint8_t endpoints[6] = {};
    for (int block = 0; block < 60000; ++block) {
        if (random() % 5 == 0)
            for (uint8_t& e : endpoints)
                e = static_cast<uint8_t>(random());
        blocks.insert(blocks.end(), endpoints, endpoints + 6);
        const uint32_t indices = random() % 3 == 0 ? 0xAAAAAAAA : static_cast<uint32_t>(random());
        for (int i = 0; i < 4; ++i)
            blocks.push_back(static_cast<uint8_t>(indices >> 8 * i));
    }
    for (const size_t outSize : {size_t{65535}, size_t{40000}, size_t{100}}) {
        // The fuzz input's size field is 16 bits: slices of the payload.
        for (size_t start = 0; start + 60000 <= blocks.size(); start += 150000) {
            const Bytes slice(blocks.begin() + static_cast<long>(start),
                              blocks.begin() + static_cast<long>(start) + 60000);
            ExpectSameAsLiblzf(slice, outSize);
        }
    }
    // The whole payload and noise, directly (larger than the fuzz input takes).
    Bytes noise(1 << 20);
    for (uint8_t& b : noise)
        b = static_cast<uint8_t>(random());
    for (const Bytes* bytes : {&blocks, &noise}) {
        Bytes expected(bytes->size() + bytes->size() / 16 + 64), got(expected.size());
        const unsigned size = lzf_compress(bytes->data(), static_cast<unsigned>(bytes->size()),
                                           expected.data(), static_cast<unsigned>(expected.size()));
        ASSERT_EQ(LZFPack(bytes->data(), bytes->size(), got.data(), got.size()), size);
        EXPECT_TRUE(std::equal(got.begin(), got.begin() + size, expected.begin()));
        // Room around the packed size: lzf_compress wants up to 3 bytes to spare at the end, so
        // an exact fit can already be refused; the packer answers as it does.
        for (size_t room = size - 2; room <= size + 4; ++room)
            EXPECT_EQ(LZFPack(bytes->data(), bytes->size(), got.data(), room),
                      lzf_compress(bytes->data(), static_cast<unsigned>(bytes->size()), expected.data(),
                                   static_cast<unsigned>(room)))
                << "room " << room << " for " << size;
    }
}

TEST(LZFPack, LiblzfIgnoresWhatAnEarlierCallLeftInItsTable) {
    // lzf_compress leaves its table uncleared on the stack; a slot this call has not written
    // still holds an earlier call's position. Inputs full of repeats (positions skipped inside
    // matches, whose slots stay stale) packed right after other inputs give the bytes of the
    // packer, whose table starts clear for every call.
    std::mt19937 random(4);
    for (int trial = 0; trial < 60; ++trial) {
        const Bytes before = Echoes(100000, 1 + trial % 40, random);
        const Bytes bytes = Echoes(100000, 3 + trial % 29, random);
        Bytes scratch(200000), expected(200000), got(200000);
        lzf_compress(before.data(), static_cast<unsigned>(before.size()), scratch.data(),
                     static_cast<unsigned>(scratch.size()));
        const unsigned size = lzf_compress(bytes.data(), static_cast<unsigned>(bytes.size()), expected.data(),
                                           static_cast<unsigned>(expected.size()));
        ASSERT_EQ(LZFPack(bytes.data(), bytes.size(), got.data(), got.size()), size) << trial;
        ASSERT_TRUE(std::equal(got.begin(), got.begin() + size, expected.begin())) << trial;
    }
}
