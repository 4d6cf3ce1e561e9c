// Reference frames from the DXT24 codec and stb_dxt, with a plain CPU S3TC decoder.
#include "reference_frames.h"

#include <algorithm>
#include <cstdlib>
#include <stb/stb_dxt.h>

#include "dxt24/dxt24_decode.h"
#include "dxt24/dxt24_image.h"
#include "stream/kel_header.h"
#include "stream/little_endian.h"

namespace {

// One S3TC block into 16 RGBA pixels: the 5:6:5 colour block (three colours and transparent
// black when a DXT1 block has c0 <= c1), and for DXT5 the interpolated alpha block before it.
void DecodeS3TCBlock(const uint8_t* block, bool dxt5, int out[16][4]) {
    const uint8_t* colour = dxt5 ? block + 8 : block;
    const unsigned c[2] = {ReadLE16(colour), ReadLE16(colour + 2)};
    int palette[4][4];
    for (int i = 0; i < 2; ++i) {
        palette[i][0] = (c[i] >> 11 & 31) << 3 | (c[i] >> 13 & 7);
        palette[i][1] = (c[i] >> 5 & 63) << 2 | (c[i] >> 9 & 3);
        palette[i][2] = (c[i] & 31) << 3 | (c[i] >> 2 & 7);
    }
    const bool threeColours = !dxt5 && c[0] <= c[1];
    for (int ch = 0; ch < 3; ++ch) {
        const int a = palette[0][ch], b = palette[1][ch];
        palette[2][ch] = threeColours ? (a + b) / 2 : (2 * a + b) / 3;
        palette[3][ch] = threeColours ? 0 : (a + 2 * b) / 3;
    }
    for (int i = 0; i < 4; ++i)
        palette[i][3] = threeColours && i == 3 ? 0 : 255;
    for (int p = 0; p < 16; ++p)
        std::copy_n(palette[colour[4 + p / 4] >> (2 * (p % 4)) & 3], 4, out[p]);
    if (!dxt5) return;

    const int a0 = block[0], a1 = block[1];
    int alphas[8] = {a0, a1};
    for (int i = 2; i < 8; ++i)
        alphas[i] = a0 > a1 ? ((8 - i) * a0 + (i - 1) * a1) / 7
                            : (i < 6 ? ((6 - i) * a0 + (i - 1) * a1) / 5 : (i - 6) * 255);
    uint64_t bits = 0;
    for (int i = 7; i >= 2; --i)
        bits = bits << 8 | block[i];
    for (int p = 0; p < 16; ++p)
        out[p][3] = alphas[bits >> (3 * p) & 7];
}

} // namespace

Bytes ClipFrame(int width, int height, int index) {
    Bytes argb(static_cast<size_t>(width) * height * 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = &argb[(static_cast<size_t>(y) * width + x) * 4];
            const unsigned noise = (x * 7919u + y * 104729u + index * 31u) * 2654435761u >> 27;
            p[0] = static_cast<uint8_t>(x * 255 / std::max(1, width - 1));
            p[1] = static_cast<uint8_t>(x * 5 + index * 9 + noise);
            p[2] = static_cast<uint8_t>(y * 6 - index * 4);
            p[3] = ((x + index) / 6 + y / 5) % 2 ? 230 : static_cast<uint8_t>(20 + noise);
        }
    return argb;
}

Bytes ReferenceBlocks(BlockKind kind, const Bytes& argb, int width, int height) {
    const int across = (width + 3) / 4, down = (height + 3) / 4;
    if (kind == BlockKind::kDXT24) {
        Bytes blocks(static_cast<size_t>(across) * down * kDXT24BlockBytes), source = argb;
        _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(blocks.data()), source.data(), width,
                                height, width * 4, false);
        return blocks;
    }
    const bool dxt5 = kind == BlockKind::kDXT5;
    const size_t blockBytes = dxt5 ? kDXT5BlockBytes : kDXT1BlockBytes;
    Bytes blocks(static_cast<size_t>(across) * down * blockBytes);
    for (size_t b = 0; b < blocks.size() / blockBytes; ++b) {
        uint8_t rgba[64]; // past the edges the last row and column repeat
        for (int p = 0; p < 16; ++p) {
            const int x = std::min<int>(b % across * 4 + p % 4, width - 1);
            const int y = std::min<int>(b / across * 4 + p / 4, height - 1);
            for (int ch = 0; ch < 4; ++ch)
                rgba[p * 4 + ch] = argb[(static_cast<size_t>(y) * width + x) * 4 + (ch + 1) % 4];
        }
        stb_compress_dxt_block(&blocks[b * blockBytes], rgba, dxt5, STB_DXT_HIGHQUAL);
    }
    return blocks;
}

Bytes DecodeBlocks(BlockKind kind, const Bytes& blocks, int width, int height) {
    const int across = (width + 3) / 4;
    Bytes argb(static_cast<size_t>(width) * height * 4);
    if (kind == BlockKind::kDXT24) {
        // The decoder writes whole blocks: decode into a padded picture, then crop.
        Bytes padded(static_cast<size_t>(across) * 4 * ((height + 3) / 4 * 4) * 4);
        DecodeDXT24(blocks.data(), padded.data(), width, height, across * 16);
        for (int y = 0; y < height; ++y)
            std::copy_n(&padded[static_cast<size_t>(y) * across * 16], width * 4,
                        &argb[static_cast<size_t>(y) * width * 4]);
        return argb;
    }
    const size_t blockBytes = kind == BlockKind::kDXT5 ? kDXT5BlockBytes : kDXT1BlockBytes;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            int pixels[16][4];
            DecodeS3TCBlock(&blocks[(static_cast<size_t>(y / 4) * across + x / 4) * blockBytes],
                            kind == BlockKind::kDXT5, pixels);
            for (int ch = 0; ch < 4; ++ch)
                argb[(static_cast<size_t>(y) * width + x) * 4 + ch] =
                    static_cast<uint8_t>(pixels[(y % 4) * 4 + x % 4][(ch + 3) % 4]);
        }
    return argb;
}

int MaxDifference(const Bytes& a, const Bytes& b) {
    int most = a.size() == b.size() ? 0 : 256;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        most = std::max(most, std::abs(a[i] - b[i]));
    return most;
}
