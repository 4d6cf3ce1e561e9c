// Reference decoders for the suites.
#include "reference_pictures.h"

#include <algorithm>
#include <cstdlib>

#include <lzf.h>

#include "blocks/dxt24_decode.h"
#include "stream/kel_header.h"

namespace {

// One 8-byte colour block into the A, R, G, B bytes of 16 pixels.
void ColourBlock(const uint8_t* b, bool dxt5, uint8_t out[16][4]) {
    const unsigned c[2] = {b[0] | unsigned(b[1]) << 8, b[2] | unsigned(b[3]) << 8}; // 5:6:5, little-endian
    const bool fourColours = dxt5 || c[0] > c[1];
    int p[4][4];
    for (int i = 0; i < 2; ++i) {
        const int r = c[i] >> 11 & 31, g = c[i] >> 5 & 63, bl = c[i] & 31;
        p[i][0] = 255, p[i][1] = r << 3 | r >> 2, p[i][2] = g << 2 | g >> 4, p[i][3] = bl << 3 | bl >> 2;
    }
    for (int k = 0; k < 4; ++k) {
        p[2][k] = fourColours ? (2 * p[0][k] + p[1][k]) / 3 : (p[0][k] + p[1][k]) / 2;
        p[3][k] = fourColours ? (p[0][k] + 2 * p[1][k]) / 3 : 0;
    }
    for (int i = 0; i < 16; ++i)
        for (int k = 0; k < 4; ++k)
            out[i][k] = static_cast<uint8_t>(p[b[4 + i / 4] >> 2 * (i % 4) & 3][k]);
}

// The 8-byte alpha block of DXT5 into the alpha bytes of 16 pixels.
void AlphaBlock(const uint8_t* b, uint8_t out[16][4]) {
    const int a0 = b[0], a1 = b[1];
    int a[8] = {a0, a1};
    for (int i = 1; i < 7; ++i)
        a[i + 1] = a0 > a1  ? ((7 - i) * a0 + i * a1) / 7
                   : i < 5  ? ((5 - i) * a0 + i * a1) / 5
                   : i == 5 ? 0
                            : 255;
    uint64_t bits = 0;
    for (int i = 0; i < 6; ++i)
        bits |= static_cast<uint64_t>(b[2 + i]) << 8 * i;
    for (int i = 0; i < 16; ++i)
        out[i][0] = static_cast<uint8_t>(a[bits >> 3 * i & 7]);
}

} // namespace

Bytes DecodeS3TCPicture(const uint8_t* blocks, bool dxt5, int width, int height) {
    const int across = (width + 3) / 4, down = (height + 3) / 4, stride = across * 16;
    Bytes whole(static_cast<size_t>(stride) * down * 4);
    uint8_t pixels[16][4];
    for (int by = 0; by < down; ++by)
        for (int bx = 0; bx < across; ++bx, blocks += dxt5 ? 16 : 8) {
            ColourBlock(blocks + (dxt5 ? 8 : 0), dxt5, pixels);
            if (dxt5) AlphaBlock(blocks, pixels);
            for (int i = 0; i < 16; ++i)
                std::copy(pixels[i], pixels[i] + 4, &whole[(by * 4 + i / 4) * stride + (bx * 4 + i % 4) * 4]);
        }
    return Visible(whole.data(), static_cast<size_t>(stride), width, height);
}

Bytes DecodeDXT24Picture(const uint8_t* blocks, int width, int height) {
    // The decoder writes whole blocks: decode into a padded picture, then crop.
    const size_t stride = static_cast<size_t>((width + 3) / 4) * 16;
    Bytes whole(stride * ((height + 3) / 4 * 4));
    DecodeDXT24(blocks, whole.data(), width, height, static_cast<int>(stride));
    return Visible(whole.data(), stride, width, height);
}

Bytes Visible(const uint8_t* image, size_t stride, int width, int height) {
    Bytes out;
    for (int y = 0; y < height; ++y)
        out.insert(out.end(), image + y * stride, image + y * stride + width * 4);
    return out;
}

int LargestDifference(const Bytes& a, const Bytes& b) {
    int largest = a.size() == b.size() ? 0 : 256;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

Bytes ExpectedPicture(const Bytes& frame, int w, int h) {
    const KELHeader header = ReadKELHeader(frame.data());
    const bool dxt24 = header.blockKind == kKELBlockKindDXT24, alpha = header.alpha != 0;
    Bytes payload(KELBlockCount(w, h) * KELBytesPerBlock(dxt24, alpha));
    const uint8_t* stored = frame.data() + header.headerSize;
    if (header.packing == kKELPackingLZF)
        lzf_decompress(stored, header.storedSize, payload.data(), static_cast<unsigned>(payload.size()));
    else
        std::copy(stored, stored + std::min<size_t>(header.storedSize, payload.size()), payload.begin());
    return dxt24 ? DecodeDXT24Picture(payload.data(), w, h) : DecodeS3TCPicture(payload.data(), alpha, w, h);
}

Bytes ARGBToRGBA(const Bytes& argb) {
    Bytes rgba(argb.size());
    for (size_t i = 0; i + 3 < argb.size(); i += 4) {
        rgba[i] = argb[i + 1];
        rgba[i + 1] = argb[i + 2];
        rgba[i + 2] = argb[i + 3];
        rgba[i + 3] = argb[i];
    }
    return rgba;
}
