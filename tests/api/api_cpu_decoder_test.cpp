// The CPU decoder for DXT1/DXT5 frames against the decoder's OpenGL path on Mesa's software
// renderer, through the public API: the same bytes for random blocks of every kind (both DXT1
// palette modes, every DXT5 alpha mode, raw and LZF-packed payloads, odd sizes, padded rows)
// and for encoded pictures; and which path each renderer choice takes.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "api_fixture.h"
#include "stream/kel_header.h"

namespace {

// A frame of random blocks; every third block gets equal colours (DXT1's three-colour mode
// and DXT5's equal alphas), the packing raw or LZF.
Bytes RandomFrame(int w, int h, bool dxt5, bool lzf, unsigned seed) {
    std::mt19937 rng(seed);
    const size_t blockBytes = dxt5 ? 16 : 8;
    Bytes blocks(static_cast<size_t>(KELBlockCount(w, h)) * blockBytes);
    for (uint8_t& byte : blocks)
        byte = static_cast<uint8_t>(rng());
    for (size_t i = 0; i < blocks.size(); i += 3 * blockBytes) {
        uint8_t* colour = &blocks[i + (dxt5 ? 8 : 0)];
        colour[2] = colour[0], colour[3] = colour[1];
        if (dxt5) blocks[i + 1] = blocks[i];
    }
    KELHeader header{};
    header.blockKind = kKELBlockKindS3TC;
    header.alpha = dxt5 ? 1 : 0;
    // Repeated blocks give LZF something to pack.
    if (lzf)
        for (size_t i = 2 * blockBytes; i < blocks.size(); i += 2 * blockBytes)
            std::copy(blocks.begin() + static_cast<long>(i - blockBytes),
                      blocks.begin() + static_cast<long>(i), blocks.begin() + static_cast<long>(i));
    const Bytes packed = lzf ? Packed(blocks) : Bytes();
    EXPECT_TRUE(!lzf || blocks.size() < 1024 || !packed.empty()) << "LZF packs the repeated blocks";
    if (packed.empty()) return HandFrame(header, blocks); // raw, or LZF would not shrink it
    header.packing = kKELPackingLZF;
    return HandFrame(header, packed);
}

// The frame through a decoder of this renderer choice, into a buffer with padded rows and a
// guard around the picture.
Bytes Decoded(const Bytes& frame, int w, int h, qzkt_renderer renderer) {
    qzkt_decoder* decoder = nullptr;
    EXPECT_EQ(qzkt_decoder_create(w, h, renderer, &decoder), QZKT_OK);
    const size_t rowBytes = static_cast<size_t>(w) * 4 + 20;
    Bytes argb(rowBytes * h + 64, 0xA5);
    EXPECT_EQ(qzkt_decode(decoder, frame.data(), frame.size(), argb.data() + 32, rowBytes), QZKT_OK)
        << qzkt_decoder_problem(decoder);
    qzkt_decoder_destroy(decoder);
    return argb;
}

} // namespace

TEST(ApiCPUDecoder, GivesTheOpenGLPathsBytesOnMesasRenderer) {
    unsigned seed = 1;
    for (const bool dxt5 : {false, true})
        for (const bool lzf : {false, true})
            for (const auto& size : {std::pair<int, int>{1, 1}, {5, 3}, {37, 29}, {256, 256}, {1918, 30}}) {
                const int w = size.first, h = size.second;
                SCOPED_TRACE(std::string(dxt5 ? "DXT5 " : "DXT1 ") + (lzf ? "LZF " : "raw ") +
                             std::to_string(w) + "x" + std::to_string(h));
                const Bytes frame = RandomFrame(w, h, dxt5, lzf, seed++);
                EXPECT_EQ(Decoded(frame, w, h, QZKT_RENDERER_CPU),
                          Decoded(frame, w, h, QZKT_RENDERER_SOFTWARE));
            }
    // Encoded pictures, with and without alpha, as the encoder makes them.
    for (const qzkt_settings& settings : {Settings(0, 0, 0, 2), Settings(1, 0, 1, 2)})
        for (const auto& size : {std::pair<int, int>{64, 48}, {322, 183}}) {
            const int w = size.first, h = size.second;
            const Bytes frame =
                EncodeThroughApi(MakePicture(w, h, 0, 3, settings.alpha != 0), w, h, 0, settings);
            EXPECT_EQ(Decoded(frame, w, h, QZKT_RENDERER_CPU), Decoded(frame, w, h, QZKT_RENDERER_SOFTWARE))
                << "alpha " << settings.alpha << " " << w << "x" << h;
        }
}

TEST(ApiCPUDecoder, EachRendererChoiceTakesItsPath) {
    EXPECT_EQ(qzkt_renderer_available(QZKT_RENDERER_CPU), 1);
    EXPECT_EQ(qzkt_renderer_available(QZKT_RENDERER_AUTO), 1);
    const bool gpu = qzkt_renderer_available(QZKT_RENDERER_HARDWARE) != 0;
    const struct {
        qzkt_renderer renderer;
        std::string path;
    } choices[] = {{QZKT_RENDERER_CPU, "cpu"},
                   {QZKT_RENDERER_SOFTWARE, "opengl"},
                   {QZKT_RENDERER_HARDWARE, "opengl"},
                   {QZKT_RENDERER_AUTO, gpu ? "opengl" : "cpu"}};
    const Bytes frame = RandomFrame(8, 8, false, true, 99);
    for (const auto& choice : choices) {
        qzkt_decoder* decoder = nullptr;
        ASSERT_EQ(qzkt_decoder_create(8, 8, choice.renderer, &decoder), QZKT_OK);
        EXPECT_EQ(qzkt_decoder_s3tc_path(decoder), choice.path) << choice.renderer;
        uint8_t argb[8 * 8 * 4];
        const qzkt_result result = qzkt_decode(decoder, frame.data(), frame.size(), argb, 0);
        // On the CPU decoder no OpenGL renderer is named.
        if (choice.path == "cpu") {
            EXPECT_EQ(result, QZKT_OK);
            EXPECT_STREQ(qzkt_decoder_renderer_name(decoder), "");
        } else if (result == QZKT_OK) {
            EXPECT_STRNE(qzkt_decoder_renderer_name(decoder), "");
        } else {
            EXPECT_EQ(result, QZKT_NO_RENDERER); // hardware only, on a machine without a GPU
            EXPECT_FALSE(gpu);
        }
        qzkt_decoder_destroy(decoder);
    }
}

// DXT24 frames of whole-block widths decode in the host, their LZF stream walked once; a frame
// with a packed second plane (which DXT24 decoding ignores) still goes through the
// decompressor. Both must give the same pixels: partial last block rows, the alpha flag's
// larger payload read with 10-byte blocks, raw and LZF payloads, padded rows with guards.
TEST(ApiCPUDecoder, DXT24FramesDecodedInTheHostMatchTheDecompressor) {
    unsigned seed = 100;
    for (const bool alpha : {false, true})
        for (const bool lzf : {false, true})
            for (const auto& size :
                 {std::pair<int, int>{4, 1}, {8, 3}, {12, 6}, {64, 7}, {320, 184}, {37, 29}}) {
                const int w = size.first, h = size.second;
                SCOPED_TRACE(std::string(alpha ? "alpha " : "") + (lzf ? "LZF " : "raw ") +
                             std::to_string(w) + "x" + std::to_string(h));
                Bytes blocks = RandomBytes(
                    static_cast<size_t>(KELBlockCount(w, h)) * KELBytesPerBlock(true, alpha), seed++);
                for (size_t i = 20; lzf && i + 10 <= blocks.size(); i += 30) // repeats for LZF to find
                    std::copy(blocks.begin() + static_cast<long>(i - 20),
                              blocks.begin() + static_cast<long>(i - 10),
                              blocks.begin() + static_cast<long>(i));
                KELHeader header{};
                header.blockKind = kKELBlockKindDXT24;
                header.alpha = alpha ? 1 : 0;
                header.packing = lzf ? kKELPackingLZF : 0;
                const Bytes stored = lzf ? Packed(blocks) : blocks;
                const Bytes inHost = HandFrame(header, stored);
                header.planeWidth = header.planeHeight = 1;
                header.planePacking = kKELPackingLZF;
                const Bytes inDecompressor = HandFrame(header, stored, Packed(Bytes{1, 2, 3, 4}));
                EXPECT_EQ(Decoded(inHost, w, h, QZKT_RENDERER_AUTO),
                          Decoded(inDecompressor, w, h, QZKT_RENDERER_AUTO));
            }
}
