// What the decompressor suites compare against: a plain CPU S3TC decoder (DXT1 and DXT5 as the
// S3TC texture formats define them), each frame's expected picture (DXT24 blocks through
// DecodeDXT24, DXT1/DXT5 blocks through the decoder here), and frames encoded through the host
// compression entry.
#pragma once

#include <lzf.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "compressor/compressor_component.h"
#include "dxt24/dxt24_decode.h"
#include "pixel/synthetic_image.h"
#include "platform/host_compression.h"
#include "platform/preferences_directory.h"
#include "stream/kel_header.h"

using Bytes = std::vector<uint8_t>;

namespace s3tc {

// One 8-byte colour block into the A, R, G, B bytes of 16 pixels. A DXT1 block whose colour 0
// is not above colour 1 has three colours and a transparent black; in DXT5 there are always four.
inline void ColourBlock(const uint8_t* b, bool dxt5, uint8_t out[16][4]) {
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
inline void AlphaBlock(const uint8_t* b, uint8_t out[16][4]) {
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

// ceil(w/4) x ceil(h/4) blocks into a picture of whole blocks, rows 16 * ceil(w/4) bytes apart.
inline Bytes Decode(const uint8_t* blocks, bool dxt5, int w, int h) {
    const int across = (w + 3) / 4, down = (h + 3) / 4, stride = across * 16;
    Bytes out(static_cast<size_t>(stride) * down * 4);
    uint8_t pixels[16][4];
    for (int by = 0; by < down; ++by)
        for (int bx = 0; bx < across; ++bx, blocks += dxt5 ? 16 : 8) {
            ColourBlock(blocks + (dxt5 ? 8 : 0), dxt5, pixels);
            if (dxt5) AlphaBlock(blocks, pixels);
            for (int i = 0; i < 16; ++i)
                std::copy(pixels[i], pixels[i] + 4, &out[(by * 4 + i / 4) * stride + (bx * 4 + i % 4) * 4]);
        }
    return out;
}

} // namespace s3tc

// The first w pixels of each of h rows of an image whose rows are `stride` bytes apart.
inline Bytes Visible(const uint8_t* image, size_t stride, int w, int h) {
    Bytes out;
    for (int y = 0; y < h; ++y)
        out.insert(out.end(), image + y * stride, image + y * stride + w * 4);
    return out;
}

// Bytes of a w x h picture's buffer outside the picture that no longer hold `guard`.
inline size_t TouchedOutside(const Bytes& buffer, size_t rowBytes, int w, int h, uint8_t guard) {
    size_t touched = 0;
    for (size_t i = 0; i < buffer.size(); ++i)
        touched += buffer[i] != guard && (i / rowBytes >= size_t(h) || i % rowBytes >= size_t(w) * 4);
    return touched;
}

inline int LargestDifference(const Bytes& a, const Bytes& b) {
    int largest = a.size() == b.size() ? 0 : 256;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

// The visible w x h picture a frame should decode to: its payload unpacked (zero-filled past
// the stored data), decoded by DecodeDXT24 when the block kind is 1, else as DXT1/DXT5.
inline Bytes ExpectedPicture(const Bytes& frame, int w, int h) {
    const KELHeader header = ReadKELHeader(frame.data());
    const bool dxt24 = header.blockKind == 1, alpha = header.alpha != 0;
    Bytes payload(KELBlockCount(w, h) * KELBytesPerBlock(dxt24, alpha));
    const uint8_t* stored = frame.data() + header.headerSize;
    if (header.packing == kKELPackingLZF)
        lzf_decompress(stored, header.storedSize, payload.data(), static_cast<unsigned>(payload.size()));
    else
        std::copy(stored, stored + std::min<size_t>(header.storedSize, payload.size()), payload.begin());
    const size_t stride = static_cast<size_t>((w + 3) / 4) * 16;
    if (!dxt24) return Visible(s3tc::Decode(payload.data(), alpha, w, h).data(), stride, w, h);
    Bytes whole(stride * ((h + 3) / 4 * 4));
    DecodeDXT24(payload.data(), whole.data(), w, h, static_cast<int>(stride));
    return Visible(whole.data(), stride, w, h);
}

// A frame encoded through the host compression entry with these settings. The compressor only
// reads the preferences file; it is pointed at a folder that does not exist, never the system's.
inline Bytes EncodeFrame(const Bytes& argb, int w, int h, KELSettingsValues settings) {
    SetPreferencesDirectory("/nonexistent/qzkt-decompressor-tests");
    ZQN_CompressorRegister();
    Bytes frame;
    auto keep = [](void* out, const uint8_t* data, size_t size) {
        static_cast<Bytes*>(out)->assign(data, data + size);
    };
    HostCompression* compression = nullptr;
    if (HostCompressionCreate(w, h, &settings, keep, &frame, &compression) == noErr)
        HostCompressionEncodeFrame(compression, argb.data(), 0);
    HostCompressionClose(compression);
    return frame;
}

// A generated picture encoded as above.
inline Bytes EncodedSynthetic(int w, int h, KELSettingsValues settings) {
    Bytes source(size_t(w) * h * 4);
    FillSyntheticARGB(source.data(), w, h, w * 4, 1, settings.alpha != 0);
    return EncodeFrame(source, w, h, settings);
}
