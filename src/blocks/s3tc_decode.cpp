// The plain S3TC decoder: a four-colour palette per block (and for DXT5 an eight-entry alpha
// palette), then one 32-bit word per pixel.
#include "s3tc_decode.h"

#include <cstring>

#include "s3tc_simd.h"

namespace {

// floor(x / 256) for any int (a right shift of a negative number is the compiler's to define).
int FloorDiv256(int x) {
    return x >= 0 ? x / 256 : -((-x + 255) / 256);
}

// A pixel word as it lies in memory: bytes A, R, G, B.
uint32_t Word(int a, int r, int g, int b) {
    const uint8_t bytes[4] = {static_cast<uint8_t>(a), static_cast<uint8_t>(r), static_cast<uint8_t>(g),
                              static_cast<uint8_t>(b)};
    uint32_t word;
    std::memcpy(&word, bytes, 4);
    return word;
}

void Widen565(unsigned c, int rgb[3]) {
    const int r = c >> 11 & 31, g = c >> 5 & 63, b = c & 31;
    rgb[0] = r << 3 | r >> 2;
    rgb[1] = g << 2 | g >> 4;
    rgb[2] = b << 3 | b >> 2;
}

// The colour block's palette; DXT5's colours carry alpha 0, to be filled from its alpha block.
void ColourPalette(const uint8_t* block, bool dxt5, uint32_t palette[4]) {
    const unsigned c0 = block[0] | block[1] << 8, c1 = block[2] | block[3] << 8;
    int v0[3], v1[3], v2[3], v3[3];
    Widen565(c0, v0);
    Widen565(c1, v1);
    const bool fourColours = dxt5 || c0 > c1;
    for (int k = 0; k < 3; ++k) {
        const int delta = v1[k] - v0[k];
        v2[k] = fourColours ? v0[k] + FloorDiv256(85 * delta) : (v0[k] + v1[k] + 1) >> 1;
        v3[k] = fourColours ? v0[k] + FloorDiv256(170 * delta) : 0;
    }
    const int opaque = dxt5 ? 0 : 255;
    palette[0] = Word(opaque, v0[0], v0[1], v0[2]);
    palette[1] = Word(opaque, v1[0], v1[1], v1[2]);
    palette[2] = Word(opaque, v2[0], v2[1], v2[2]);
    palette[3] = Word(fourColours ? opaque : 0, v3[0], v3[1], v3[2]);
}

void AlphaPalette(const uint8_t* block, uint8_t alphas[8]) {
    const int a0 = block[0], a1 = block[1];
    const bool sevenSteps = a0 > a1;
    alphas[0] = static_cast<uint8_t>(a0);
    alphas[1] = static_cast<uint8_t>(a1);
    for (int code = 2; code < 8; ++code) {
        const int weight = ((sevenSteps ? 2331 : 3264) * (code - 1)) >> 6;
        int alpha = a0 + FloorDiv256((a1 - a0) * weight);
        if (!sevenSteps && code == 6) alpha = 0;
        if (!sevenSteps && code == 7) alpha = 255;
        alphas[code] = static_cast<uint8_t>(alpha);
    }
}

} // namespace

void DecodeS3TCBlock(const uint8_t* block, bool dxt5, uint32_t pixels[16]) {
    uint32_t palette[4];
    const uint8_t* colour = dxt5 ? block + 8 : block;
    ColourPalette(colour, dxt5, palette);
    for (int i = 0; i < 16; ++i)
        pixels[i] = palette[colour[4 + i / 4] >> 2 * (i % 4) & 3];
    if (!dxt5) return;
    uint8_t alphas[8];
    AlphaPalette(block, alphas);
    uint64_t codes = 0;
    for (int i = 0; i < 6; ++i)
        codes |= static_cast<uint64_t>(block[2 + i]) << 8 * i;
    for (int i = 0; i < 16; ++i)
        pixels[i] |= Word(alphas[codes >> 3 * i & 7], 0, 0, 0);
}

void DecodeS3TCPlain(const uint8_t* blocks, bool dxt5, uint8_t* dst, int width, int height, int rowBytes) {
    if (width < 1 || height < 1) return;
    const int across = (width + 3) / 4, down = (height + 3) / 4, blockBytes = dxt5 ? 16 : 8;
    uint32_t pixels[16];
    for (int by = 0; by < down; ++by)
        for (int bx = 0; bx < across; ++bx, blocks += blockBytes) {
            DecodeS3TCBlock(blocks, dxt5, pixels);
            const int rows = height - by * 4 < 4 ? height - by * 4 : 4;
            const int columns = width - bx * 4 < 4 ? width - bx * 4 : 4;
            for (int y = 0; y < rows; ++y)
                std::memcpy(dst + static_cast<long>(by * 4 + y) * rowBytes + bx * 16, pixels + y * 4,
                            static_cast<size_t>(columns) * 4);
        }
}

void DecodeS3TC(const uint8_t* blocks, bool dxt5, uint8_t* dst, int width, int height, int rowBytes) {
    DecodeS3TCSimd(blocks, dxt5, dst, width, height, rowBytes);
}
