// SIMD DXT24 CPU decoder: one block per 128-bit part of a vector. Each part builds its
// block's palette (entries 0 and 1 from the bytes, 2 and 3 as the rounded thirds
// (2a + b + 1) / 3 in 16-bit lanes), turns the 16 two-bit indices into byte offsets, and
// writes each pixel row with one byte shuffle of the palette. Same bytes as the plain
// decoder (dxt24_decode.cpp); compiled once per Highway target, picked at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "blocks/dxt24_decode_simd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include "blocks/block_rows_simd-inl.h"
#include "blocks/picture_stores.h"

#include "blocks/dxt24_decode.h"
#include "blocks/dxt24_simd.h"

HWY_BEFORE_NAMESPACE();
namespace dxt24 {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE

// The one-lane fallback target has no byte shuffles, and scalable vectors do not split into
// halves here: the plain decoder is their decoder.
void DecodeImage(const unsigned char* payload, unsigned char* dst, long blocksAcross, long blocksDown,
                 long rowBytes) {
    DecodeDXT24Plain(payload, dst, static_cast<int>(blocksAcross * 4), static_cast<int>(blocksDown * 4),
                     static_cast<int>(rowBytes));
}

#else

namespace hn = hwy::HWY_NAMESPACE;
namespace {

// Shuffle tables for one 128-bit part (one block); Z selects a zero byte. Output pixels
// are the bytes A (255), R, G, B.
constexpr uint8_t Z = 0x80;
// Colour 0 then colour 1 as 16-bit words 0, R, G, B, and the same swapped: 2 * first +
// second + 1 over 3 gives palette entries 2 and 3.
alignas(16) constexpr uint8_t kEndpointWords[16] = {Z, Z, 0, Z, 1, Z, 2, Z, Z, Z, 3, Z, 4, Z, 5, Z};
alignas(16) constexpr uint8_t kSwappedWords[16] = {Z, Z, 3, Z, 4, Z, 5, Z, Z, Z, 0, Z, 1, Z, 2, Z};
// Palette entries 0 and 1 from the block bytes, entries 2 and 3 from the thirds' low bytes.
alignas(16) constexpr uint8_t kEndpointBytes[16] = {Z, 0, 1, 2, Z, 3, 4, 5, Z, Z, Z, Z, Z, Z, Z, Z};
alignas(16) constexpr uint8_t kThirdsBytes[16] = {Z, Z, Z, Z, Z, Z, Z, Z, 0, 2, 4, 6, 8, 10, 12, 14};
alignas(16) constexpr uint8_t kAlpha[16] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0};
// Pixel p = 4y + x: its row's index byte, block byte 6 + y (block_rows_simd-inl.h).
alignas(16) constexpr uint8_t kIndexRow[16] = {6, 6, 6, 6, 7, 7, 7, 7, 8, 8, 8, 8, 9, 9, 9, 9};

// Block k of the group (10 bytes at p + 10k, and the 6 bytes after them) in part k.
template <class D> HWY_INLINE hn::Vec<D> LoadBlocks(D d, const uint8_t* HWY_RESTRICT p) {
    if constexpr (hn::MaxLanes(D()) <= 16) {
        return hn::LoadU(d, p);
    } else {
        const hn::Half<D> dh;
        constexpr size_t kHalfBlocks = hn::MaxLanes(hn::Half<D>()) / 16;
        return hn::Combine(d, LoadBlocks(dh, p + 10 * kHalfBlocks), LoadBlocks(dh, p));
    }
}

// The tables above as vectors of D, made once before the loops over a picture's blocks and
// pinned there (block_rows_simd-inl.h).
template <class D> struct Tables {
    using D16 = hn::Repartition<uint16_t, D>;
    explicit Tables(D d)
        : rows(d), endpointWords(Pin(d, kEndpointWords)), swappedWords(Pin(d, kSwappedWords)),
          endpointBytes(Pin(d, kEndpointBytes)), thirdsBytes(Pin(d, kThirdsBytes)), alpha(Pin(d, kAlpha)),
          indexRow(Pin(d, kIndexRow)), one(block_rows::HWY_NAMESPACE::Pinned(hn::Set(D16(), 1))),
          third(block_rows::HWY_NAMESPACE::Pinned(hn::Set(D16(), 0xAAAB))) {}
    static hn::Vec<D> Pin(D d, const uint8_t* table) {
        return block_rows::HWY_NAMESPACE::PinnedTable(d, table);
    }

    block_rows::HWY_NAMESPACE::RowTables<D> rows;
    hn::Vec<D> endpointWords, swappedWords, endpointBytes, thirdsBytes, alpha, indexRow;
    hn::Vec<D16> one, third;
};

// Decodes Lanes(d) / 16 consecutive blocks into 4 rows of 4 pixels each, streamed or not
// (StoreRow). Reads 16 bytes from each block's start, so the last block of a payload must not
// come through here.
template <class D>
HWY_INLINE void DecodeBlocks(D d, const uint8_t* HWY_RESTRICT blocks, uint8_t* out, ptrdiff_t rowBytes,
                             const Tables<D>& t, bool stream = false) {
    namespace rows = block_rows::HWY_NAMESPACE;
    const hn::Repartition<uint16_t, D> d16;
    const auto v = LoadBlocks(d, blocks);

    const auto ends = hn::BitCast(d16, hn::TableLookupBytesOr0(v, t.endpointWords));
    const auto swapped = hn::BitCast(d16, hn::TableLookupBytesOr0(v, t.swappedWords));
    // (2a + b + 1) / 3 for sums up to 766: the high half of * 0xAAAB, shifted right once more.
    const auto sum = hn::Add(hn::Add(ends, ends), hn::Add(swapped, t.one));
    const auto thirds = hn::BitCast(d, hn::ShiftRight<1>(hn::MulHigh(sum, t.third)));
    const auto palette = hn::Or(
        hn::Or(hn::TableLookupBytesOr0(v, t.endpointBytes), hn::TableLookupBytesOr0(thirds, t.thirdsBytes)),
        t.alpha);

    const auto offsets = rows::PaletteOffsets(d, v, t.indexRow, t.rows);
    for (int y = 0; y < 4; ++y)
        rows::StoreRow(d, rows::PixelRow(palette, offsets, y, t.rows), out + y * rowBytes, stream);
}

// The image walk with plain or streaming stores, the choice a constant in its loops.
template <bool kStream>
void DecodeImageAs(const unsigned char* payload, unsigned char* dst, long blocksAcross, long blocksDown,
                   long rowBytes) {
    const hn::ScalableTag<uint8_t> d;
    const hn::Full128<uint8_t> d1;
    const long groupBlocks = static_cast<long>(hn::Lanes(d) / 16);
    const Tables<hn::ScalableTag<uint8_t>> tables(d);
    const Tables<hn::Full128<uint8_t>> tables1(d1);
    for (long by = 0; by < blocksDown; ++by) {
        const uint8_t* in = payload + by * blocksAcross * 10;
        uint8_t* out = dst + by * 4 * rowBytes;
        // Every block but the payload's last is followed by at least 10 bytes, so its
        // 16-byte load stays inside the payload; the last one is copied out first.
        const bool lastRow = by + 1 == blocksDown;
        const long loadable = lastRow ? blocksAcross - 1 : blocksAcross;
        long bx = 0;
        // The groups start at whole vectors from dst: streamed where the picture is.
        for (; bx + groupBlocks <= loadable; bx += groupBlocks)
            DecodeBlocks(d, in + bx * 10, out + bx * 16, rowBytes, tables, kStream);
        for (; bx < loadable; ++bx)
            DecodeBlocks(d1, in + bx * 10, out + bx * 16, rowBytes, tables1);
        if (lastRow) {
            uint8_t padded[16] = {};
            std::memcpy(padded, in + bx * 10, 10);
            DecodeBlocks(d1, padded, out + bx * 16, rowBytes, tables1);
        }
    }
}

} // namespace

void DecodeImage(const unsigned char* payload, unsigned char* dst, long blocksAcross, long blocksDown,
                 long rowBytes) {
    const size_t vectorBytes = hn::Lanes(hn::ScalableTag<uint8_t>());
    if (StreamsPicture(dst, rowBytes, blocksDown * 4, static_cast<size_t>(blocksAcross) * 16, vectorBytes)) {
        DecodeImageAs<true>(payload, dst, blocksAcross, blocksDown, rowBytes);
        hwy::FlushStream();
    } else {
        DecodeImageAs<false>(payload, dst, blocksAcross, blocksDown, rowBytes);
    }
}

#endif // HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE

} // namespace HWY_NAMESPACE
} // namespace dxt24
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dxt24 {

HWY_EXPORT(DecodeImage);

void DecodeImageSimd(const unsigned char* payload, unsigned char* dst, long blocksAcross, long blocksDown,
                     long rowBytes) {
    HWY_DYNAMIC_DISPATCH(DecodeImage)(payload, dst, blocksAcross, blocksDown, rowBytes);
}

} // namespace dxt24
#endif
