// qzkt_unpack_frame: the blocks of every kind and packing, at sizes of whole and partial
// blocks, are exactly the frame's payload as liblzf unpacks it, and decode to the decoder's
// picture; DXT24 frames with the alpha flag give the decoder's 10-byte blocks; damaged frames,
// short buffers and bad arguments leave the buffer untouched.
#include <lzf.h>

#include <cstring>

#include "api_fixture.h"

namespace {

const uint8_t kGuard = 0xA7;

// The payload of an intact frame as liblzf (or a plain copy) gives it: the reference.
Bytes PayloadOf(const Bytes& frame, size_t payloadSize) {
    const KELHeader header = ReadKELHeader(frame.data());
    const uint8_t* stored = frame.data() + header.headerSize;
    Bytes payload(payloadSize);
    if (header.packing == kKELPackingLZF)
        EXPECT_EQ(
            lzf_decompress(stored, header.storedSize, payload.data(), static_cast<unsigned>(payloadSize)),
            payloadSize);
    else
        std::copy(stored, stored + payloadSize, payload.begin());
    return payload;
}

Bytes DecodeThroughApi(const Bytes& frame, int width, int height) {
    qzkt_decoder* decoder = nullptr;
    EXPECT_EQ(qzkt_decoder_create(width, height, QZKT_RENDERER_SOFTWARE, &decoder), QZKT_OK);
    Bytes picture(size_t(width) * height * 4);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), picture.data(), 0), QZKT_OK)
        << qzkt_decoder_problem(decoder);
    qzkt_decoder_destroy(decoder);
    return picture;
}

} // namespace

TEST(ApiUnpackFrame, BlocksAreThePayloadAndDecodeToTheDecodersPicture) {
    struct Kind {
        qzkt_settings settings;
        qzkt_block_kind kind;
        uint32_t blockBytes;
    };
    for (const auto& size : {std::pair<int, int>{1, 1}, {5, 3}, {37, 29}})
        for (const Kind& k : {Kind{Settings(0, 1, 0, 2), QZKT_BLOCKS_DXT24, 10},
                              Kind{Settings(0, 1, 1, 2), QZKT_BLOCKS_DXT24, 10},
                              Kind{Settings(0, 0, 0, 2), QZKT_BLOCKS_DXT1, 8},
                              Kind{Settings(0, 0, 1, 2), QZKT_BLOCKS_DXT1, 8},
                              Kind{Settings(1, 0, 0, 2), QZKT_BLOCKS_DXT5, 16},
                              Kind{Settings(1, 0, 1, 2), QZKT_BLOCKS_DXT5, 16}}) {
            const int w = size.first, h = size.second;
            SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h) + " kind " + std::to_string(k.kind) +
                         " no_lzf " + std::to_string(k.settings.no_lzf));
            const Bytes frame =
                EncodeThroughApi(MakePicture(w, h, 0, 3, k.settings.alpha), w, h, 0, k.settings);
            const int across = (w + 3) / 4, down = (h + 3) / 4;
            const size_t expectedSize = size_t(across) * down * k.blockBytes;
            ASSERT_LE(expectedSize, qzkt_max_blocks_size(w, h));

            Bytes blocks(expectedSize + 16, kGuard); // exactly the size, and room past it
            qzkt_blocks_info info;
            ASSERT_EQ(
                qzkt_unpack_frame(frame.data(), frame.size(), w, h, blocks.data(), blocks.size(), &info),
                QZKT_OK);
            EXPECT_EQ(info.kind, k.kind);
            EXPECT_EQ(info.block_bytes, k.blockBytes);
            EXPECT_EQ(info.blocks_across, across);
            EXPECT_EQ(info.blocks_down, down);
            EXPECT_EQ(info.size, expectedSize);
            EXPECT_EQ(Bytes(blocks.begin() + long(expectedSize), blocks.end()), Bytes(16, kGuard));
            blocks.resize(expectedSize);
            EXPECT_TRUE(blocks == PayloadOf(frame, expectedSize));
            const Bytes decoded = DecodeThroughApi(frame, w, h);
            if (k.kind == QZKT_BLOCKS_DXT24)
                EXPECT_TRUE(DecodeDXT24Picture(blocks.data(), w, h) == decoded);
            else
                EXPECT_TRUE(DecodeS3TCPicture(blocks.data(), k.kind == QZKT_BLOCKS_DXT5, w, h) ==
                            ExpectedPicture(frame, w, h));

            // One byte short: the size is said, nothing written.
            Bytes small(expectedSize - 1, kGuard);
            EXPECT_EQ(qzkt_unpack_frame(frame.data(), frame.size(), w, h, small.data(), small.size(), &info),
                      QZKT_BUFFER_TOO_SMALL);
            EXPECT_EQ(info.size, expectedSize);
            EXPECT_EQ(small, Bytes(expectedSize - 1, kGuard));
        }
}

TEST(ApiUnpackFrame, DXT24WithTheAlphaFlagGivesTheBlocksTheDecoderReads) {
    // 18 bytes a block are stored; the decoder reads the first 10 per block as DXT24.
    const int w = 9, h = 7, count = 3 * 2;
    const Bytes payload = BlockBytes(size_t(count) * 18, 37);
    KELHeader header{};
    header.blockKind = kKELBlockKindDXT24;
    header.alpha = 1;
    for (bool lzf : {false, true}) {
        KELHeader h2 = header;
        h2.packing = lzf ? kKELPackingLZF : 0;
        const Bytes frame = HandFrame(h2, lzf ? Packed(payload) : payload);
        Bytes blocks(qzkt_max_blocks_size(w, h), kGuard);
        qzkt_blocks_info info;
        ASSERT_EQ(qzkt_unpack_frame(frame.data(), frame.size(), w, h, blocks.data(), blocks.size(), &info),
                  QZKT_OK);
        EXPECT_EQ(info.kind, QZKT_BLOCKS_DXT24_ALPHA_FLAG);
        EXPECT_EQ(info.block_bytes, 10u);
        EXPECT_EQ(info.size, size_t(count) * 10);
        EXPECT_TRUE(Bytes(blocks.begin(), blocks.begin() + long(info.size)) ==
                    Bytes(payload.begin(), payload.begin() + count * 10));
        EXPECT_TRUE(DecodeDXT24Picture(blocks.data(), w, h) == DecodeThroughApi(frame, w, h));
    }
}

TEST(ApiUnpackFrame, DamagedFramesAndBadArgumentsWriteNothing) {
    const int w = 13, h = 6;
    const Bytes frame = EncodeThroughApi(MakePicture(w, h, 0, 0, false), w, h, 0, Settings(0, 1, 0, 2));
    Bytes blocks(qzkt_max_blocks_size(w, h), kGuard);
    const Bytes untouched = blocks;
    qzkt_blocks_info info;
    const Bytes cut(frame.begin(), frame.end() - 1);
    const Bytes wrongKind = WithField(frame, 24, 0x00020000); // block kind byte 2
    for (const Bytes* damaged : {&cut, &wrongKind}) {
        std::memset(&info, 0xFF, sizeof info);
        EXPECT_EQ(
            qzkt_unpack_frame(damaged->data(), damaged->size(), w, h, blocks.data(), blocks.size(), &info),
            QZKT_DAMAGED_FRAME);
        EXPECT_EQ(info.size, 0u);
        EXPECT_EQ(blocks, untouched);
    }
    EXPECT_EQ(qzkt_unpack_frame(nullptr, 0, w, h, blocks.data(), blocks.size(), &info), QZKT_DAMAGED_FRAME);
    EXPECT_EQ(qzkt_unpack_frame(frame.data(), frame.size(), w, h, blocks.data(), blocks.size(), nullptr),
              QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_unpack_frame(nullptr, 5, w, h, blocks.data(), blocks.size(), &info), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_unpack_frame(frame.data(), frame.size(), w, h, nullptr, 8, &info), QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_unpack_frame(frame.data(), frame.size(), 0, h, blocks.data(), blocks.size(), &info),
              QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(qzkt_unpack_frame(frame.data(), frame.size(), w, QZKT_MAX_SIDE + 1, blocks.data(),
                                blocks.size(), &info),
              QZKT_BAD_ARGUMENTS);
    EXPECT_EQ(blocks, untouched);
    // A NULL buffer of capacity 0 is a question: how many bytes?
    EXPECT_EQ(qzkt_unpack_frame(frame.data(), frame.size(), w, h, nullptr, 0, &info), QZKT_BUFFER_TOO_SMALL);
    EXPECT_EQ(info.size, size_t(4 * 2) * 10);
    EXPECT_EQ(qzkt_max_blocks_size(w, h), size_t(4 * 2) * 16);
    EXPECT_EQ(qzkt_max_blocks_size(0, h), 0u);
    EXPECT_EQ(qzkt_max_blocks_size(QZKT_MAX_SIDE, QZKT_MAX_SIDE), size_t(8192) * 8192 * 16);
}

TEST(ApiUnpackFrame, EveryKindHasItsGLSLDecoder) {
    // The sources themselves are drawn and compared with the CPU decoders in block_glsl_test.
    const char* dxt24 = qzkt_glsl_fragment_shader(QZKT_BLOCKS_DXT24);
    ASSERT_NE(dxt24, nullptr);
    EXPECT_NE(std::string(dxt24).find("uniform usampler2D qzkt_blocks;"), std::string::npos);
    EXPECT_EQ(qzkt_glsl_fragment_shader(QZKT_BLOCKS_DXT24_ALPHA_FLAG), dxt24);
    for (qzkt_block_kind kind : {QZKT_BLOCKS_DXT1, QZKT_BLOCKS_DXT5}) {
        ASSERT_NE(qzkt_glsl_fragment_shader(kind), nullptr);
        EXPECT_NE(std::string(qzkt_glsl_fragment_shader(kind)).find("uniform sampler2D qzkt_texture;"),
                  std::string::npos);
    }
    EXPECT_EQ(qzkt_glsl_fragment_shader(static_cast<qzkt_block_kind>(7)), nullptr);
}
