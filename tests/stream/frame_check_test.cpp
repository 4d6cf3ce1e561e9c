// The frame check every host makes before decoding, and the LZF stream walk it relies on:
// the walk must agree with liblzf's own unpacker on every stream, and the check must decline
// every frame whose header cannot describe what its stored bytes hold.
#include <gtest/gtest.h>

#include <lzf.h>

#include <random>
#include <vector>

#include "platform/little_endian.h"
#include "stream/kel_frame_check.h"
#include "stream/kel_header.h"
#include "stream/lzf_stream_check.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Packed(const Bytes& bytes) {
    Bytes packed(bytes.size() + 64);
    packed.resize(lzf_compress(bytes.data(), static_cast<unsigned>(bytes.size()), packed.data(),
                               static_cast<unsigned>(packed.size())));
    return packed;
}

// Bytes that LZF packs well (runs and repeats) but not to nothing.
Bytes Compressible(size_t size, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] =
            i > 16 && random() % 4 != 0 ? bytes[i - 1 - random() % 16] : static_cast<uint8_t>(random());
    return bytes;
}

// The walk's answer in liblzf's terms: the unpacked length, or 0 for a stream it declines.
unsigned Walk(const Bytes& stream, unsigned limit) {
    uint64_t unpacked = 0;
    if (!LZFUnpackedSize(stream.data(), stream.size(), limit, &unpacked)) return 0;
    return static_cast<unsigned>(unpacked);
}

unsigned Unpack(const Bytes& stream, unsigned limit) {
    Bytes out(limit + 1);
    return lzf_decompress(stream.data(), static_cast<unsigned>(stream.size()), out.data(), limit);
}

// A frame for a width x height picture: header fields from `h`, stored sizes from the parts.
Bytes MakeFrame(KELHeader h, const Bytes& payload, const Bytes& plane = {}) {
    h.headerSize = kKELHeaderSize;
    h.version = kKELFormatVersion;
    h.storedSize = static_cast<uint32_t>(payload.size());
    h.planeStoredSize = static_cast<uint32_t>(plane.size());
    Bytes frame(kKELHeaderSize);
    WriteKELHeader(frame.data(), h);
    frame.insert(frame.end(), payload.begin(), payload.end());
    frame.insert(frame.end(), plane.begin(), plane.end());
    return frame;
}

KELHeader Header(uint8_t blockKind, uint8_t packing, uint8_t alpha = 0) {
    KELHeader h{};
    h.blockKind = blockKind;
    h.packing = packing;
    h.alpha = alpha;
    return h;
}

KELFrameProblem Check(const Bytes& frame, int width, int height) {
    return CheckKELFrame(frame.data(), frame.size(), width, height);
}

} // namespace

TEST(LZFStreamCheckTest, AgreesWithTheUnpackerOnEveryStream) {
    // Real streams, whole and mutated (bytes flipped, cut anywhere, grown), and random bytes:
    // for each, the walk and liblzf must agree on whether it unpacks within the limit and to
    // how many bytes.
    std::mt19937 random(7);
    int valid = 0, declined = 0;
    for (int round = 0; round < 400; ++round) {
        const Bytes original = Compressible(1 + random() % 3000, round);
        const Bytes packed = Packed(original);
        ASSERT_FALSE(packed.empty());
        const unsigned size = static_cast<unsigned>(original.size());
        ASSERT_EQ(Walk(packed, size), size);
        ASSERT_EQ(Walk(packed, size - 1), 0u) << "a stream longer than the limit";

        std::vector<Bytes> streams = {Bytes(packed.begin(), packed.begin() + random() % packed.size())};
        Bytes flipped = packed;
        for (int i = 0; i < 3; ++i)
            flipped[random() % flipped.size()] ^= static_cast<uint8_t>(1 + random() % 255);
        streams.push_back(flipped);
        Bytes noise(1 + random() % 64);
        for (uint8_t& b : noise)
            b = static_cast<uint8_t>(random());
        streams.push_back(noise);
        for (const Bytes& stream : streams) {
            if (stream.empty()) continue;
            for (unsigned limit : {size, size * 2 + 300}) {
                const unsigned unpacked = Unpack(stream, limit);
                ASSERT_EQ(Walk(stream, limit), unpacked) << "round " << round << ", limit " << limit;
                (unpacked != 0 ? valid : declined)++;
            }
        }
    }
    EXPECT_GT(valid, 100);
    EXPECT_GT(declined, 100);

    // Named cases: a reference before the output's start, a reference or run cut off, and the
    // longest yield, 264 bytes for 3 stored ones (a literal first gives it something to copy).
    EXPECT_EQ(Walk({0x20, 0x00}, 100), 0u);
    EXPECT_EQ(Walk({0x00, 'a', 0x20}, 100), 0u);
    EXPECT_EQ(Walk({0x00, 'a', 0xE0, 0xFF}, 1000), 0u);
    EXPECT_EQ(Walk({0x03, 'a', 'b'}, 100), 0u);
    EXPECT_EQ(Walk({0x00, 'a', 0xE0, 0xFF, 0x00}, 1000), 1u + 264);
    EXPECT_EQ(Walk({0x00, 'a', 0xE0, 0xFF, 0x00, 0xE0, 0xFF, 0x00}, 1000), 1u + 2 * 264);
    EXPECT_EQ(Walk({}, 0), 0u);
}

TEST(KELFrameCheckTest, PayloadMustYieldExactlyTheFramesBlocks) {
    const int w = 40, h = 24; // 10 x 6 blocks
    for (uint8_t kind : {0, 1})
        for (uint8_t alpha : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "kind " << int(kind) << " alpha " << int(alpha));
            const size_t size = 60 * KELBytesPerBlock(kind == 1, alpha != 0);
            const Bytes blocks = Compressible(size, kind * 2 + alpha);
            // Raw: at least the payload (more is cut off by the reader); LZF: exactly it.
            EXPECT_EQ(Check(MakeFrame(Header(kind, 0, alpha), blocks), w, h), KELFrameProblem::kNone);
            Bytes longer = blocks;
            longer.resize(size + 7);
            EXPECT_EQ(Check(MakeFrame(Header(kind, 2, alpha), longer), w, h), KELFrameProblem::kNone);
            EXPECT_EQ(Check(MakeFrame(Header(kind, 1, alpha), Packed(blocks)), w, h), KELFrameProblem::kNone);

            EXPECT_EQ(Check(MakeFrame(Header(kind, 0, alpha), Bytes(blocks.begin(), blocks.end() - 1)), w, h),
                      KELFrameProblem::kPayloadTooShort);
            const Bytes shortStream = Packed(Bytes(blocks.begin(), blocks.end() - 1));
            EXPECT_EQ(Check(MakeFrame(Header(kind, 1, alpha), shortStream), w, h),
                      KELFrameProblem::kPayloadUnpack);
            Bytes longerStream = Packed(blocks);
            longerStream.insert(longerStream.end(), {0x00, 0x55});
            EXPECT_EQ(Check(MakeFrame(Header(kind, 1, alpha), longerStream), w, h),
                      KELFrameProblem::kPayloadUnpack);
            EXPECT_EQ(Check(MakeFrame(Header(kind, 1, alpha), {0x20, 0x00}), w, h),
                      KELFrameProblem::kPayloadUnpack);
        }

    // A track claiming 32767 x 32767 (8192 x 8192 blocks) for a 1.5 KB sample: no LZF stream of
    // that length reaches the 671,088,640 bytes the blocks need (88 a stored byte at most).
    Bytes stream;
    for (int i = 0; i < 500; ++i)
        stream.insert(stream.end(), {0xE0, 0xFF, 0x00});
    stream.insert(stream.begin(), {0x00, 0x00});
    EXPECT_EQ(Check(MakeFrame(Header(1, 1), stream), 32767, 32767), KELFrameProblem::kPayloadUnpack);
    EXPECT_EQ(Check(MakeFrame(Header(1, 0), stream), 32767, 32767), KELFrameProblem::kPayloadTooShort);
    // The same stream is an intact payload for a frame whose blocks it fills exactly.
    EXPECT_EQ(Walk(stream, 1u << 30), 1u + 500 * 264);
    const int blocks = (1 + 500 * 264) / 10; // 13,200 ten-byte blocks and one byte over
    EXPECT_EQ(Check(MakeFrame(Header(1, 1), stream), 4 * blocks, 4), KELFrameProblem::kPayloadUnpack);
    stream.erase(stream.begin(), stream.begin() + 2);
    stream.insert(stream.begin(), {0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}); // 11 literals: 132,011
    EXPECT_EQ(Walk(stream, 1u << 30), 132011u);
}

TEST(KELFrameCheckTest, SecondPlaneMustFitTheBlocksAndItsStoredBytes) {
    const int w = 40, h = 24; // 10 x 6 blocks
    const Bytes blocks(60 * 8, 0x33);
    auto plane = [](int32_t planeWidth, int32_t planeHeight, uint8_t rgb, uint8_t packing, uint8_t kind) {
        KELHeader header = Header(kind, 0);
        header.planeWidth = static_cast<uint32_t>(planeWidth);
        header.planeHeight = static_cast<uint32_t>(planeHeight);
        header.planePixelSize = rgb;
        header.planePacking = packing;
        return header;
    };
    for (uint8_t kind : {0, 1}) {
        SCOPED_TRACE(testing::Message() << "kind " << int(kind));
        const Bytes payload(60 * (kind == 1 ? 10 : 8), 0x33);
        // One plane pixel per block at most, each side; 3 or 4 bytes a pixel, raw or packed.
        EXPECT_EQ(Check(MakeFrame(plane(10, 6, 0, 0, kind), payload, Bytes(240, 9)), w, h),
                  KELFrameProblem::kNone);
        EXPECT_EQ(Check(MakeFrame(plane(10, 6, 1, 0, kind), payload, Bytes(180, 9)), w, h),
                  KELFrameProblem::kNone);
        EXPECT_EQ(Check(MakeFrame(plane(5, 2, 1, 1, kind), payload, Packed(Bytes(30, 9))), w, h),
                  KELFrameProblem::kNone);
        // A plane with no pixels is absent: its stored bytes are never read.
        EXPECT_EQ(Check(MakeFrame(plane(0, 59, 0, 1, kind), payload, Bytes(3, 9)), w, h),
                  KELFrameProblem::kNone);

        // The frame the audit found: 60 bytes of DXT1, a plane of -285212671 x 59 pixels, whose
        // 32-bit product wraps to a 1.4 GB buffer in the reader.
        for (const auto& sides :
             {std::pair<int32_t, int32_t>{-285212671, 59}, {59, -285212671}, {-1, -1}, {-2147483647 - 1, 0}})
            EXPECT_EQ(Check(MakeFrame(plane(sides.first, sides.second, 0, 0, kind), payload), w, h),
                      KELFrameProblem::kPlaneNegativeSide)
                << sides.first << " x " << sides.second;
        EXPECT_EQ(Check(MakeFrame(plane(11, 1, 0, 0, kind), payload, Bytes(44, 9)), w, h),
                  KELFrameProblem::kPlaneLargerThanFrame);
        EXPECT_EQ(Check(MakeFrame(plane(1, 7, 0, 0, kind), payload, Bytes(28, 9)), w, h),
                  KELFrameProblem::kPlaneLargerThanFrame);
        EXPECT_EQ(Check(MakeFrame(plane(65536, 1, 0, 0, kind), payload), w, h),
                  KELFrameProblem::kPlaneLargerThanFrame);

        EXPECT_EQ(Check(MakeFrame(plane(10, 6, 1, 0, kind), payload, Bytes(179, 9)), w, h),
                  KELFrameProblem::kPlaneTooShort);
        EXPECT_EQ(Check(MakeFrame(plane(10, 6, 0, 0, kind), payload, Bytes(180, 9)), w, h),
                  KELFrameProblem::kPlaneTooShort); // RGBA counts 4 bytes a pixel
        EXPECT_EQ(Check(MakeFrame(plane(5, 2, 1, 1, kind), payload, Packed(Bytes(40, 9))), w, h),
                  KELFrameProblem::kPlaneUnpack);
        EXPECT_EQ(Check(MakeFrame(plane(5, 2, 1, 1, kind), payload, {0x20, 0x00}), w, h),
                  KELFrameProblem::kPlaneUnpack);
    }

    // Stored parts past the data are found first, whatever else is wrong.
    Bytes frame = MakeFrame(plane(-5, 1, 0, 0, 0), blocks);
    WriteLE32(&frame[kKELStoredSizeOffset], 100000);
    EXPECT_EQ(Check(frame, w, h), KELFrameProblem::kPayloadPastEnd);
    for (KELFrameProblem problem :
         {KELFrameProblem::kBlockKind, KELFrameProblem::kPlaneNegativeSide,
          KELFrameProblem::kPlaneLargerThanFrame, KELFrameProblem::kPayloadTooShort,
          KELFrameProblem::kPayloadUnpack, KELFrameProblem::kPlaneTooShort, KELFrameProblem::kPlaneUnpack})
        EXPECT_STRNE(KELFrameProblemText(problem), "damaged");
}
