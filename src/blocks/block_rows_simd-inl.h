// What the SIMD block decoders share, one block per 128-bit part of a vector: turning the four
// index bytes of each block (2 bits a pixel, row y in byte y) into the byte offsets of each
// pixel's palette entry, and picking a row of pixels out of a 16-byte palette (4 entries of
// 4 bytes) with one byte shuffle, and storing such rows; and keeping the constant vectors of
// their block loops in registers (Pinned). Included once per Highway target
// (foreach_target.h) by the DXT24 and S3TC decoders, inside their HWY_NAMESPACE, on targets
// with byte shuffles.

// Per-target include guard, as Highway requires for headers included once per target.
#if defined(QZKT_BLOCK_ROWS_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef QZKT_BLOCK_ROWS_SIMD_INL_H_
#undef QZKT_BLOCK_ROWS_SIMD_INL_H_
#else
#define QZKT_BLOCK_ROWS_SIMD_INL_H_
#endif

#include <cstdint>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace block_rows {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Pixel p = 4y + x takes its row's index byte (the caller's control puts byte y of the
// indices at bytes 4y..4y+3); columns 2 and 3 take it shifted right by 4, then bits 0-1 (even
// columns) or 2-3 (odd columns) hold the index.
alignas(16) constexpr uint8_t kHighColumns[16] = {0, 0, 255, 255, 0, 0, 255, 255,
                                                  0, 0, 255, 255, 0, 0, 255, 255};
alignas(16) constexpr uint8_t kIndexBits[16] = {3, 12, 3, 12, 3, 12, 3, 12, 3, 12, 3, 12, 3, 12, 3, 12};
// Index in bits 0-1 or already times 4 in bits 2-3 -> index * 4, the entry's palette offset.
alignas(16) constexpr uint8_t kTimesFour[16] = {0, 4, 8, 12, 4, 0, 0, 0, 8, 0, 0, 0, 12, 0, 0, 0};
// Row y's four pixel offsets, each repeated for the pixel's four bytes, plus the byte.
alignas(16) constexpr uint8_t kRowPixels[4][16] = {
    {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3},
    {4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7},
    {8, 8, 8, 8, 9, 9, 9, 9, 10, 10, 10, 10, 11, 11, 11, 11},
    {12, 12, 12, 12, 13, 13, 13, 13, 14, 14, 14, 14, 15, 15, 15, 15}};
alignas(16) constexpr uint8_t kPixelBytes[16] = {0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3};

// v as a value the compiler cannot see through, so that a constant made before a loop stays in
// a register (or a spill slot) inside it. GCC otherwise builds such constants again at each
// use, from a general register or with a broadcast shuffle, and byte shuffles are what these
// loops are short of.
template <class V> HWY_INLINE V Pinned(V v) {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSSE3
    asm("" : "+v"(v.raw));
#endif
    return v;
}

// A 16-byte table in every 128-bit part of a vector of D, pinned.
template <class D, typename T> HWY_INLINE hn::Vec<D> PinnedTable(D d, const T* table) {
    return Pinned(hn::LoadDup128(d, table));
}

// The tables of PaletteOffsets and PixelRow as vectors, made once before a loop of blocks.
template <class D> struct RowTables {
    explicit RowTables(D d)
        : highColumns(PinnedTable(d, kHighColumns)), indexBits(PinnedTable(d, kIndexBits)),
          timesFour(PinnedTable(d, kTimesFour)),
          pixelBytes(PinnedTable(d, kPixelBytes)), rowPixels{PinnedTable(d, kRowPixels[0]),
                                                             PinnedTable(d, kRowPixels[1]),
                                                             PinnedTable(d, kRowPixels[2]),
                                                             PinnedTable(d, kRowPixels[3])} {}
    hn::Vec<D> highColumns, indexBits, timesFour, pixelBytes, rowPixels[4];
};

// Each pixel's palette offset (0, 4, 8 or 12), pixel order, from the blocks in v; indexRow
// picks each pixel's row byte of the indices.
template <class D>
HWY_INLINE hn::Vec<D> PaletteOffsets(D d, hn::Vec<D> v, hn::Vec<D> indexRow, const RowTables<D>& tables) {
    const hn::Repartition<uint16_t, D> d16;
    const auto rows = hn::TableLookupBytes(v, indexRow);
    const auto shifted = hn::BitCast(d, hn::ShiftRight<4>(hn::BitCast(d16, rows)));
    const auto picked = hn::IfThenElse(hn::MaskFromVec(tables.highColumns), shifted, rows);
    return hn::TableLookupBytes(tables.timesFour, hn::And(picked, tables.indexBits));
}

// Stores a row of pixels: streamed (picture_stores.h: p aligned to the vector) or as usual.
// A decoder that streams calls hwy::FlushStream before the picture counts as written.
template <class D> HWY_INLINE void StoreRow(D d, hn::Vec<D> row, uint8_t* HWY_RESTRICT p, bool stream) {
    if (stream)
        hn::Stream(row, d, p);
    else
        hn::StoreU(row, d, p);
}

// Row y's four pixels, each its palette entry's four bytes.
template <class D>
HWY_INLINE hn::Vec<D> PixelRow(hn::Vec<D> palette, hn::Vec<D> offsets, int y, const RowTables<D>& tables) {
    const auto select = hn::Or(hn::TableLookupBytes(offsets, tables.rowPixels[y]), tables.pixelBytes);
    return hn::TableLookupBytes(palette, select);
}

} // namespace HWY_NAMESPACE
} // namespace block_rows
HWY_AFTER_NAMESPACE();

#endif // QZKT_BLOCK_ROWS_SIMD_INL_H_
