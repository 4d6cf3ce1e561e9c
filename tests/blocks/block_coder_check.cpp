// The SIMD-against-plain block coder checks and their generated blocks.
#include "block_coder_check.h"

#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>

#include <hwy/targets.h>

namespace {

std::string Hex(const unsigned char* p, size_t n) {
    std::string s;
    char buf[4];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(buf, sizeof buf, "%02x", p[i]);
        s += buf;
        if (i % 4 == 3 && i + 1 < n) s += ' ';
    }
    return s;
}

// Empty when equal, else the first different block with both encodings and its source
// pixels (ARGB, row by row).
std::string FirstDifference(const Bytes& simd, const Bytes& plain, size_t blockBytes, const Bytes& image,
                            size_t offset, int width, int height, int rowBytes) {
    if (simd.size() != plain.size()) return "payload sizes differ";
    for (size_t at = 0; at < simd.size(); at += blockBytes) {
        if (std::memcmp(&simd[at], &plain[at], blockBytes) == 0) continue;
        const int blocksAcross = (width + 3) / 4;
        const int bx = static_cast<int>(at / blockBytes) % blocksAcross,
                  by = static_cast<int>(at / blockBytes) / blocksAcross;
        const long pitch = rowBytes != 0 ? rowBytes : width * 4L;
        std::string pixels;
        for (int r = 0; r < 4 && by * 4 + r < height; ++r) {
            const int cols = width - bx * 4 < 4 ? width - bx * 4 : 4;
            pixels += " [" + Hex(&image[offset + (by * 4 + r) * pitch + bx * 16], cols * 4) + "]";
        }
        return "block (" + std::to_string(bx) + ", " + std::to_string(by) + "): simd " +
               Hex(&simd[at], blockBytes) + ", plain " + Hex(&plain[at], blockBytes) + "; pixels" + pixels;
    }
    return "";
}

unsigned char Clamp(int v) {
    return static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

struct Pixel {
    int a, r, g, b;
};

Pixel RandomPixel(Rng& rng) {
    return {static_cast<int>(rng() & 255), static_cast<int>(rng() & 255), static_cast<int>(rng() & 255),
            static_cast<int>(rng() & 255)};
}

void Put(unsigned char* p, const Pixel& c) {
    p[0] = Clamp(c.a), p[1] = Clamp(c.r), p[2] = Clamp(c.g), p[3] = Clamp(c.b);
}

// 64 blocks across, enough block rows for `blocks`, each block from make.
void ExpectSameBytesForBlocks(const BlockCoder& coder, int blocks, const BlockMaker& make, unsigned seed) {
    const int blocksAcross = 64, blocksDown = (blocks + blocksAcross - 1) / blocksAcross;
    const int width = blocksAcross * 4, height = blocksDown * 4;
    Bytes image(static_cast<size_t>(width) * height * 4);
    Rng rng(seed);
    unsigned char block[64];
    for (int by = 0; by < blocksDown; ++by)
        for (int bx = 0; bx < blocksAcross; ++bx) {
            make(rng, block);
            for (int r = 0; r < 4; ++r)
                std::memcpy(&image[((by * 4 + r) * static_cast<size_t>(width) + bx * 4) * 4], block + r * 16,
                            16);
        }
    SCOPED_TRACE("block kind " + std::to_string(seed));
    ExpectSameBytes(coder, image, width, height, 0);
}

} // namespace

void ExpectSameBytes(const BlockCoder& coder, Bytes& image, int width, int height, int rowBytes,
                     size_t offset) {
    const size_t size = static_cast<size_t>((width + 3) / 4) * ((height + 3) / 4) * coder.blockBytes;
    Bytes simd(size), plain(size);
    coder.simd(simd.data(), image.data() + offset, width, height, rowBytes);
    coder.plain(plain.data(), image.data() + offset, width, height, rowBytes);
    ASSERT_EQ(FirstDifference(simd, plain, coder.blockBytes, image, offset, width, height, rowBytes), "")
        << coder.name << " on " << hwy::TargetName(hwy::SupportedTargets()) << ": " << width << "x" << height
        << " rowBytes " << rowBytes << " offset " << offset;
}

void ExpectSameBytesForEveryBlockKind(const BlockCoder& coder, int blocksPerKind) {
    // Noise: every byte random, the common principal-axis path.
    ExpectSameBytesForBlocks(
        coder, blocksPerKind,
        [](Rng& rng, unsigned char* p) {
            for (int i = 0; i < 64; ++i)
                p[i] = static_cast<unsigned char>(rng());
        },
        1);

    // Two colours in a random pattern (alpha random too): exact endpoints, indices 0/1.
    ExpectSameBytesForBlocks(
        coder, blocksPerKind,
        [](Rng& rng, unsigned char* p) {
            const Pixel c[2] = {RandomPixel(rng), RandomPixel(rng)};
            const unsigned pattern = rng();
            for (int i = 0; i < 16; ++i)
                Put(p + i * 4, c[(pattern >> i) & 1]);
        },
        2);

    // Solid blocks, and near-solid ones: the same colour with some alpha bytes changed, or
    // one pixel off by one in one channel (the luminance axis, the all-equal re-fit).
    ExpectSameBytesForBlocks(
        coder, blocksPerKind,
        [](Rng& rng, unsigned char* p) {
            const Pixel c = RandomPixel(rng);
            for (int i = 0; i < 16; ++i)
                Put(p + i * 4, c);
            switch (rng() % 4) {
            case 0:
                break;
            case 1:
                p[(rng() % 16) * 4] ^= static_cast<unsigned char>(1 + rng() % 255);
                break;
            default: {
                unsigned char& v = p[(rng() % 16) * 4 + 1 + rng() % 3];
                v = static_cast<unsigned char>(v == 255 ? 254 : v + 1);
            }
            }
        },
        3);

    // Small noise around one colour: power-iteration vectors near the 4.0 threshold.
    ExpectSameBytesForBlocks(
        coder, blocksPerKind,
        [](Rng& rng, unsigned char* p) {
            const Pixel c = RandomPixel(rng);
            const int spread = 1 + static_cast<int>(rng() % 4);
            const unsigned channels = 1 + rng() % 7;
            for (int i = 0; i < 16; ++i) {
                auto noise = [&](unsigned bit) {
                    return (channels & bit) ? static_cast<int>(rng() % (2 * spread + 1)) - spread : 0;
                };
                Put(p + i * 4, {c.a, c.r + noise(1), c.g + noise(2), c.b + noise(4)});
            }
        },
        4);

    // A few nearby levels: many exact halves and midpoints in the re-fit, ties in matching.
    ExpectSameBytesForBlocks(
        coder, blocksPerKind,
        [](Rng& rng, unsigned char* p) {
            const Pixel base = RandomPixel(rng);
            Pixel levels[4];
            const int count = 2 + static_cast<int>(rng() % 3);
            for (int k = 0; k < count; ++k)
                levels[k] = {base.a, base.r + static_cast<int>(rng() % 7),
                             base.g + static_cast<int>(rng() % 7), base.b + static_cast<int>(rng() % 7)};
            for (int i = 0; i < 16; ++i)
                Put(p + i * 4, levels[rng() % count]);
        },
        5);

    // Gradients between two colours along the pixel order, with rounding noise.
    ExpectSameBytesForBlocks(
        coder, blocksPerKind,
        [](Rng& rng, unsigned char* p) {
            const Pixel a = RandomPixel(rng), b = RandomPixel(rng);
            const int noise = static_cast<int>(rng() % 2);
            for (int i = 0; i < 16; ++i) {
                auto mix = [&](int x, int y) {
                    return x + ((y - x) * i + 7) / 15 + (noise ? static_cast<int>(rng() % 3) - 1 : 0);
                };
                Put(p + i * 4, {255, mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b)});
            }
        },
        6);

    // Greys: every projection on the grey axis, many equal dots (first pixel wins).
    ExpectSameBytesForBlocks(
        coder, blocksPerKind,
        [](Rng& rng, unsigned char* p) {
            const int base = static_cast<int>(rng() % 256), range = 1 + static_cast<int>(rng() % 40);
            for (int i = 0; i < 16; ++i) {
                const int v = base + static_cast<int>(rng() % range);
                Put(p + i * 4, {255, v, v, v});
            }
        },
        7);

    // Extreme channel values: clamping of the re-fit at 0 and 255, large covariances.
    ExpectSameBytesForBlocks(
        coder, blocksPerKind,
        [](Rng& rng, unsigned char* p) {
            static const int kValues[6] = {0, 1, 127, 128, 254, 255};
            for (int i = 0; i < 64; ++i)
                p[i] = static_cast<unsigned char>(kValues[rng() % 6]);
        },
        8);
}

void ExpectSameBytesAtEveryEdgeAndPitch(const BlockCoder& coder) {
    const int widths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 15, 16, 17, 31, 33, 63, 64, 65, 67, 127, 129};
    const int heights[] = {1, 2, 3, 4, 5, 6, 7, 9, 13};
    Rng rng(9);
    for (int width : widths) {
        for (int height : heights) {
            for (int extra : {0, 4, 3, 52}) {
                const int rowBytes = width * 4 + extra;
                for (size_t offset : {size_t{0}, size_t{1}, size_t{3}}) {
                    Bytes image(offset + static_cast<size_t>(rowBytes) * height);
                    for (unsigned char& b : image)
                        b = static_cast<unsigned char>(rng() % 5 == 0 ? rng() : 0x40);
                    ExpectSameBytes(coder, image, width, height, rowBytes, offset);
                    if (extra == 0 && offset == 0) ExpectSameBytes(coder, image, width, height, 0);
                }
            }
        }
    }
}

BlockCoder TableCoder(BlockKind kind) {
    const BlockCoders& coders = CodersFor(kind);
    const auto call = [](BlockImageEncoder encode) {
        return [encode](unsigned char* out, unsigned char* image, int width, int height, int rowBytes) {
            encode(out, image, width, height, rowBytes != 0 ? rowBytes : width * 4);
        };
    };
    return {coders.name, coders.blockBytes, call(coders.encode), call(coders.encodePlain)};
}
