// Reference blocks from the DXT24 codec and stb_dxt, and the pictures they stand for.
#include "support/reference_frames.h"
#include "support/frame_builders.h"
#include "support/movie_builders.h"

#include <algorithm>
#include <stb/stb_dxt.h>

#include "blocks/dxt24_image.h"
#include "stream/kel_header.h"

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

Bytes ClipFrames(int width, int height, int count) {
    Bytes clip;
    for (int i = 0; i < count; ++i) {
        const Bytes frame = ClipFrame(width, height, i);
        clip.insert(clip.end(), frame.begin(), frame.end());
    }
    return clip;
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
    if (kind == BlockKind::kDXT24) return DecodeDXT24Picture(blocks.data(), width, height);
    return DecodeS3TCPicture(blocks.data(), kind == BlockKind::kDXT5, width, height);
}
