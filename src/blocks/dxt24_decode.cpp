// DXT24 CPU decoder: the entry point that hands whole payloads to the SIMD decoder, and the
// plain decoder: a table of rounded thirds, a four-entry palette per block, and one 32-bit
// store per pixel.
#include "dxt24_decode.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "dxt24_simd.h"

unsigned char thirdsTable[65536];
bool initThirds = false;

namespace {

std::once_flag thirdsOnce;

void FillThirdsTable() {
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            double v = std::floor(b / 3.0 + (2 * a) / 3.0 + 0.5);
            if (v < 0) v = 0;
            if (v > 255) v = 255;
            thirdsTable[a * 256 + b] = static_cast<unsigned char>(v);
        }
    }
    initThirds = true;
}

// One output pixel as it lies in memory: A, R, G, B.
uint32_t ARGBWord(unsigned char r, unsigned char g, unsigned char b) {
    const unsigned char bytes[4] = {255, r, g, b};
    uint32_t word;
    std::memcpy(&word, bytes, 4);
    return word;
}

unsigned char Thirds(unsigned char a, unsigned char b) {
    return thirdsTable[(a << 8) | b];
}

} // namespace

void InitThirdsTable() {
    std::call_once(thirdsOnce, FillThirdsTable);
}

void DecodeDXT24(const unsigned char* src, unsigned char* dst, int width, int height, int rowBytes) {
    InitThirdsTable();

    const long w4 = (static_cast<long>(width) + 3) / 4 * 4;
    const long h4 = (static_cast<long>(height) + 3) / 4 * 4;
    if (h4 < 4 || w4 < 4) return;

    // The SIMD decoder writes a row of several blocks at once; where destination rows
    // overlap, only the plain decoder's order of writes gives its bytes.
    if (std::labs(static_cast<long>(rowBytes)) < w4 * 4)
        DecodeDXT24Plain(src, dst, width, height, rowBytes);
    else
        dxt24::DecodeImageSimd(src, dst, w4 / 4, h4 / 4, rowBytes);
}

void DecodeDXT24Plain(const unsigned char* src, unsigned char* dst, int width, int height, int rowBytes) {
    InitThirdsTable();

    const long w4 = (static_cast<long>(width) + 3) / 4 * 4;
    const long h4 = (static_cast<long>(height) + 3) / 4 * 4;
    if (h4 < 4 || w4 < 4) return;

    const long blocksAcross = w4 / 4;
    const long blocksDown = h4 / 4;

    for (long by = 0; by < blocksDown; ++by) {
        const unsigned char* block = src + by * blocksAcross * 10;
        unsigned char* out = dst + by * 4 * static_cast<long>(rowBytes);
        for (long bx = 0; bx < blocksAcross; ++bx, block += 10, out += 16) {
            const uint32_t palette[4] = {
                ARGBWord(block[0], block[1], block[2]),
                ARGBWord(block[3], block[4], block[5]),
                ARGBWord(Thirds(block[0], block[3]), Thirds(block[1], block[4]), Thirds(block[2], block[5])),
                ARGBWord(Thirds(block[3], block[0]), Thirds(block[4], block[1]), Thirds(block[5], block[2])),
            };
            const uint32_t indices = static_cast<uint32_t>(block[6]) | static_cast<uint32_t>(block[7]) << 8 |
                                     static_cast<uint32_t>(block[8]) << 16 |
                                     static_cast<uint32_t>(block[9]) << 24;
            for (int y = 0; y < 4; ++y) {
                unsigned char* row = out + y * static_cast<long>(rowBytes);
                for (int x = 0; x < 4; ++x) {
                    const uint32_t pixel = palette[(indices >> (2 * (4 * y + x))) & 3];
                    std::memcpy(row + x * 4, &pixel, 4);
                }
            }
        }
    }
}
