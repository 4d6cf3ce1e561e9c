// Synthetic ARGB test pictures and a PSNR measure.
#include "synthetic_image.h"

#include <cmath>

namespace {

// A small fixed-seed hash, so noise is identical on every run and machine.
uint32_t Hash(uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    x ^= x >> 16;
    return x;
}

uint8_t Clamp8(int v) {
    return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// A crude 5x7 "glyph" made from the hash of its cell: blocky text-like detail.
bool GlyphPixel(int x, int y, int frame) {
    const int cellX = x / 6, cellY = y / 9, gx = x % 6, gy = y % 9;
    if (gx == 5 || gy >= 7) return false;
    const uint32_t bits = Hash(static_cast<uint32_t>(cellX * 7919 + cellY * 104729 + frame / 8));
    return (bits >> (gy * 5 + gx) % 32) & 1;
}

} // namespace

void FillSyntheticARGB(uint8_t* dst, int width, int height, int rowBytes, int frame, bool withAlpha) {
    const int shift = frame * 3;
    for (int y = 0; y < height; ++y) {
        uint8_t* row = dst + static_cast<long>(y) * rowBytes;
        for (int x = 0; x < width; ++x) {
            int r, g, b;
            const int region = (x * 4 / (width > 0 ? width : 1)) + 4 * (y * 2 / (height > 0 ? height : 1));
            switch (region) {
            case 0: // diagonal colour gradient
            case 5:
                r = (x + shift) * 255 / (width + 1);
                g = y * 255 / (height + 1);
                b = 255 - ((x + y + shift) * 255 / (width + height + 1));
                break;
            case 1: { // hard-edged checkerboard with moving squares
                const bool on = (((x + shift) / 8) + (y / 8)) & 1;
                r = on ? 230 : 20;
                g = on ? 40 : 200;
                b = on ? 60 : 30;
                break;
            }
            case 2: { // thin lines on a dark ground
                const bool line = ((x + shift) % 7 == 0) || (y % 5 == 0) || ((x + y) % 11 == 0);
                r = g = b = line ? 240 : 16;
                break;
            }
            case 3: { // noise over a mid grey
                const uint32_t n = Hash(static_cast<uint32_t>(y * 65537 + x * 31 + frame * 977));
                r = 128 + static_cast<int>(n & 63) - 32;
                g = 128 + static_cast<int>((n >> 8) & 63) - 32;
                b = 128 + static_cast<int>((n >> 16) & 63) - 32;
                break;
            }
            case 4: { // text-like detail on paper
                const bool ink = GlyphPixel(x + shift / 3, y, frame);
                r = ink ? 20 : 235;
                g = ink ? 20 : 230;
                b = ink ? 40 : 215;
                break;
            }
            case 6: { // soft rings (integer only, so the bytes never depend on libm)
                const int dx = x - width * 3 / 4, dy = y - height * 3 / 4;
                const int d = (dx * dx + dy * dy) / 16 + frame * 8;
                const int tri = d % 512 < 256 ? d % 256 : 255 - d % 256;
                r = 40 + tri * 3 / 4;
                g = 200 - tri / 2;
                b = 90 + (tri * tri) / 512;
                break;
            }
            default: { // horizontal hue bars with a sharp boundary
                const int bar = ((x + shift) / 16) % 6;
                static const int hues[6][3] = {{255, 0, 0},   {255, 255, 0}, {0, 255, 0},
                                               {0, 255, 255}, {0, 0, 255},   {255, 0, 255}};
                r = hues[bar][0];
                g = hues[bar][1];
                b = hues[bar][2];
                break;
            }
            }
            int a = 255;
            if (withAlpha) {
                a = x * 255 / (width > 1 ? width - 1 : 1);
                const int cx = x - width / 2, cy = y - height / 2;
                if (cx * cx + cy * cy < (width * width) / 36) a = 0;
            }
            uint8_t* p = row + x * 4;
            p[0] = Clamp8(a);
            p[1] = Clamp8(r);
            p[2] = Clamp8(g);
            p[3] = Clamp8(b);
        }
    }
}

double PSNRofARGB(const uint8_t* a, int aRowBytes, const uint8_t* b, int bRowBytes, int width, int height) {
    double sum = 0.0;
    for (int y = 0; y < height; ++y) {
        const uint8_t* pa = a + static_cast<long>(y) * aRowBytes;
        const uint8_t* pb = b + static_cast<long>(y) * bRowBytes;
        for (int x = 0; x < width; ++x)
            for (int c = 1; c < 4; ++c) {
                const double d = static_cast<double>(pa[x * 4 + c]) - pb[x * 4 + c];
                sum += d * d;
            }
    }
    const double samples = 3.0 * width * height;
    if (samples <= 0 || sum == 0.0) return 99.0;
    return 10.0 * std::log10(255.0 * 255.0 / (sum / samples));
}
