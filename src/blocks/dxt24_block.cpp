// DXT24 block encoder: principal-axis endpoint search, palette matching and least-squares
// refinement on exact 8-bit endpoints, in the order of stb_dxt's colour compressor.
#include "dxt24_block.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include <stb/stb_dxt.h>

namespace {

// Refinement weights per current index, as stb_dxt: w1 is the weight of colour 0 in
// thirds, and prods packs the products (w1*w1, w2*w2, w1*w2) into one accumulator word.
const int w1Tab[4] = {3, 0, 2, 1};
const int prods[4] = {0x090000, 0x000900, 0x040102, 0x010402};

unsigned int PackRGB(int r, int g, int b) {
    return (static_cast<unsigned int>(r) << 16) | (static_cast<unsigned int>(g) << 8) |
           static_cast<unsigned int>(b);
}

unsigned int PixelColor(const unsigned char* p) {
    return PackRGB(p[0], p[1], p[2]);
}

void StoreRGB(unsigned char* out, unsigned int c) {
    out[0] = static_cast<unsigned char>(c >> 16);
    out[1] = static_cast<unsigned char>(c >> 8);
    out[2] = static_cast<unsigned char>(c);
}

// Palette for matching: colour 0, colour 1 and the two thirds, truncated (the decoders
// round; this asymmetry is part of the format's design).
void EvalColors24(unsigned char* color, unsigned int c0, unsigned int c1) {
    StoreRGB(color + 0, c0);
    StoreRGB(color + 4, c1);
    color[3] = 0;
    color[7] = 0;
    for (int ch = 0; ch < 3; ++ch) {
        color[8 + ch] = static_cast<unsigned char>((2 * color[ch] + color[4 + ch]) / 3);
        color[12 + ch] = static_cast<unsigned char>((color[ch] + 2 * color[4 + ch]) / 3);
    }
    color[11] = 0;
    color[15] = 0;
}

unsigned int MatchColors(const unsigned char* block, const unsigned char* color) {
    const int dirr = color[0 * 4 + 0] - color[1 * 4 + 0];
    const int dirg = color[0 * 4 + 1] - color[1 * 4 + 1];
    const int dirb = color[0 * 4 + 2] - color[1 * 4 + 2];

    int stops[4];
    for (int i = 0; i < 4; ++i)
        stops[i] = color[i * 4 + 0] * dirr + color[i * 4 + 1] * dirg + color[i * 4 + 2] * dirb;

    // Project every pixel on the endpoint line and pick the nearest stop through the three
    // crossover points. The half-sums are shifted, not doubled against twice the dot: the
    // rounding of the shift is part of the format's bytes.
    const int c0Point = (stops[1] + stops[3]) >> 1;
    const int halfPoint = (stops[3] + stops[2]) >> 1;
    const int c3Point = (stops[2] + stops[0]) >> 1;

    unsigned int mask = 0;
    for (int i = 15; i >= 0; --i) {
        const int dot = block[i * 4 + 0] * dirr + block[i * 4 + 1] * dirg + block[i * 4 + 2] * dirb;
        mask <<= 2;
        if (dot < halfPoint)
            mask |= (dot < c0Point) ? 1 : 3;
        else
            mask |= (dot < c3Point) ? 2 : 0;
    }
    return mask;
}

// Endpoints from the block's principal axis: the two pixels with the smallest and the
// largest projection, taken exactly as they are.
void OptimizeColorsBlock24(const unsigned char* block, unsigned int* pmax, unsigned int* pmin) {
    const int nIterPower = 4;
    int mu[3], min[3], max[3];

    for (int ch = 0; ch < 3; ++ch) {
        const unsigned char* bp = block + ch;
        int muv = bp[0], minv = bp[0], maxv = bp[0];
        for (int i = 4; i < 64; i += 4) {
            muv += bp[i];
            if (bp[i] < minv)
                minv = bp[i];
            else if (bp[i] > maxv)
                maxv = bp[i];
        }
        mu[ch] = (muv + 8) >> 4;
        min[ch] = minv;
        max[ch] = maxv;
    }

    int cov[6] = {0, 0, 0, 0, 0, 0};
    for (int i = 0; i < 16; ++i) {
        const int r = block[i * 4 + 0] - mu[0];
        const int g = block[i * 4 + 1] - mu[1];
        const int b = block[i * 4 + 2] - mu[2];
        cov[0] += r * r;
        cov[1] += r * g;
        cov[2] += r * b;
        cov[3] += g * g;
        cov[4] += g * b;
        cov[5] += b * b;
    }

    float covf[6];
    for (int i = 0; i < 6; ++i)
        covf[i] = static_cast<float>(cov[i]) / 255.0f;

    float vfr = static_cast<float>(max[0] - min[0]);
    float vfg = static_cast<float>(max[1] - min[1]);
    float vfb = static_cast<float>(max[2] - min[2]);
    for (int iter = 0; iter < nIterPower; ++iter) {
        const float r = vfr * covf[0] + vfg * covf[1] + vfb * covf[2];
        const float g = vfr * covf[1] + vfg * covf[3] + vfb * covf[4];
        const float b = vfr * covf[2] + vfg * covf[4] + vfb * covf[5];
        vfr = r;
        vfg = g;
        vfb = b;
    }

    double magn = std::fabs(static_cast<double>(vfr));
    if (std::fabs(static_cast<double>(vfg)) > magn) magn = std::fabs(static_cast<double>(vfg));
    if (std::fabs(static_cast<double>(vfb)) > magn) magn = std::fabs(static_cast<double>(vfb));

    int v_r, v_g, v_b;
    if (magn < 4.0) { // too small, default to luminance (JPEG luma weights x 1000)
        v_r = 299;
        v_g = 587;
        v_b = 114;
    } else {
        magn = 512.0 / magn;
        v_r = static_cast<int>(vfr * magn);
        v_g = static_cast<int>(vfg * magn);
        v_b = static_cast<int>(vfb * magn);
    }

    // The first pixel to reach an extreme wins (strict comparisons).
    int mind = 0x7FFFFFFF, maxd = -0x7FFFFFFF;
    const unsigned char* minp = block;
    const unsigned char* maxp = block;
    for (int i = 0; i < 16; ++i) {
        const int dot = block[i * 4 + 0] * v_r + block[i * 4 + 1] * v_g + block[i * 4 + 2] * v_b;
        if (dot < mind) {
            mind = dot;
            minp = block + i * 4;
        }
        if (dot > maxd) {
            maxd = dot;
            maxp = block + i * 4;
        }
    }

    *pmax = PixelColor(maxp);
    *pmin = PixelColor(minp);
}

// One channel of the re-fit: single precision throughout, +0.5, truncation, clamping.
int RefitChannel(int numerator, float f) {
    const int v = static_cast<int>(static_cast<float>(numerator) * f + 0.5f);
    return v < 0 ? 0 : (v > 255 ? 255 : v);
}

int RefineBlock(const unsigned char* block, unsigned int* pmax, unsigned int* pmin, unsigned int mask) {
    const unsigned int oldMin = *pmin;
    const unsigned int oldMax = *pmax;
    unsigned int newMax, newMin;

    if ((mask ^ (mask << 2)) < 4) {
        // All pixels share one index: the system is singular, so both endpoints become
        // the rounded mean colour, stored exactly.
        int r = 8, g = 8, b = 8;
        for (int i = 0; i < 16; ++i) {
            r += block[i * 4 + 0];
            g += block[i * 4 + 1];
            b += block[i * 4 + 2];
        }
        newMax = newMin = PackRGB(r >> 4, g >> 4, b >> 4);
    } else {
        int akku = 0;
        int At1_r = 0, At1_g = 0, At1_b = 0;
        int At2_r = 0, At2_g = 0, At2_b = 0;
        unsigned int cm = mask;
        for (int i = 0; i < 16; ++i, cm >>= 2) {
            const int step = static_cast<int>(cm & 3);
            const int w1 = w1Tab[step];
            const int r = block[i * 4 + 0];
            const int g = block[i * 4 + 1];
            const int b = block[i * 4 + 2];
            akku += prods[step];
            At1_r += w1 * r;
            At1_g += w1 * g;
            At1_b += w1 * b;
            At2_r += r;
            At2_g += g;
            At2_b += b;
        }
        At2_r = 3 * At2_r - At1_r;
        At2_g = 3 * At2_g - At1_g;
        At2_b = 3 * At2_b - At1_b;

        const int xx = akku >> 16;
        const int yy = (akku >> 8) & 0xff;
        const int xy = akku & 0xff;

        // Never zero here: the determinant vanishes only when all indices are equal.
        const float f = 3.0f / static_cast<float>(xx * yy - xy * xy);

        newMax = PackRGB(RefitChannel(At1_r * yy - At2_r * xy, f), RefitChannel(At1_g * yy - At2_g * xy, f),
                         RefitChannel(At1_b * yy - At2_b * xy, f));
        newMin = PackRGB(RefitChannel(At2_r * xx - At1_r * xy, f), RefitChannel(At2_g * xx - At1_g * xy, f),
                         RefitChannel(At2_b * xx - At1_b * xy, f));
    }

    *pmin = newMin;
    *pmax = newMax;
    return oldMin != newMin || oldMax != newMax;
}

bool IsSolidBlock(const unsigned char* block) {
    uint32_t first, pixel;
    std::memcpy(&first, block, 4);
    for (int i = 1; i < 16; ++i) {
        std::memcpy(&pixel, block + i * 4, 4);
        if (pixel != first) return false;
    }
    return true;
}

void CompressColorBlock24(unsigned char* dest, const unsigned char* block, int mode) {
    const int refinecount = (mode & STB_DXT_HIGHQUAL) ? 2 : 1;
    unsigned int mask, max, min;
    unsigned char color[16];

    if (IsSolidBlock(block)) { // constant colour (alpha byte included): exact, every index 2
        max = min = PixelColor(block);
        mask = 0xAAAAAAAAu;
    } else {
        OptimizeColorsBlock24(block, &max, &min);
        if (max != min) {
            EvalColors24(color, max, min);
            mask = MatchColors(block, color);
        } else {
            mask = 0;
        }

        for (int i = 0; i < refinecount; ++i) {
            const unsigned int lastmask = mask;
            if (!RefineBlock(block, &max, &min, mask)) break;
            if (max == min) {
                mask = 0;
                break;
            }
            EvalColors24(color, max, min);
            mask = MatchColors(block, color);
            if (mask == lastmask) break;
        }
    }

    // Colour 0 is always the larger packed value; swapping flips 0<->1 and 2<->3.
    if (max < min) {
        const unsigned int t = min;
        min = max;
        max = t;
        mask ^= 0x55555555u;
    }

    StoreRGB(dest + 0, max);
    StoreRGB(dest + 3, min);
    dest[6] = static_cast<unsigned char>(mask);
    dest[7] = static_cast<unsigned char>(mask >> 8);
    dest[8] = static_cast<unsigned char>(mask >> 16);
    dest[9] = static_cast<unsigned char>(mask >> 24);
}

} // namespace

unsigned int stb__MatchColorsBlock24(unsigned char* block, unsigned char* color) {
    return MatchColors(block, color);
}

int stb__RefineBlock24(unsigned char* block, unsigned int* pmax, unsigned int* pmin, unsigned int mask) {
    return RefineBlock(block, pmax, pmin, mask);
}

void stb_compress_dxt_block_24(unsigned char* dest, const unsigned char* src, int alpha, int mode) {
    if (alpha) {
        // The alpha half is stb_dxt's own DXT5 alpha block (largest, smallest, 16 3-bit
        // indices); its BC4 entry point encodes exactly that from one byte per pixel.
        unsigned char alphas[16];
        for (int i = 0; i < 16; ++i)
            alphas[i] = src[i * 4 + 3];
        stb_compress_bc4_block(dest, alphas);
        dest += 8;
    }
    CompressColorBlock24(dest, src, mode);
}
