// SIMD S3TC CPU decoder: one block per 128-bit part of a vector. The block's two 5:6:5 colours widen in
// 16-bit lanes (a multiply that moves each channel's bits into place and repeats its top bits),
// colours 2 and 3 follow the plain decoder's rule, the four entries pack to 16 palette bytes,
// and each row of pixels is one byte shuffle of the palette. DXT5's eight alpha values come
// from one multiply in 16-bit lanes; its 3-bit codes are moved to the top of 16-bit lanes by a
// multiply each, and a byte shuffle of the alpha values puts each pixel's alpha in place;
// where every alpha block of a vector is flat (one value), that value is taken directly.
// Large pictures are written with streaming stores (picture_stores.h).
// Same bytes as the plain decoder (s3tc_decode.cpp); compiled once per Highway target, picked
// at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "blocks/s3tc_decode_simd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include "blocks/block_rows_simd-inl.h"
#include "blocks/picture_stores.h"

#include "blocks/s3tc_decode.h"
#include "blocks/s3tc_simd.h"

HWY_BEFORE_NAMESPACE();
namespace s3tc {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE

// The one-lane fallback target has no byte shuffles, and scalable vectors are not split into
// 128-bit blocks here: the plain decoder is their decoder.
void DecodeImage(const uint8_t* blocks, bool dxt5, uint8_t* dst, int width, int height, int rowBytes) {
    DecodeS3TCPlain(blocks, dxt5, dst, width, height, rowBytes);
}

#else

namespace hn = hwy::HWY_NAMESPACE;
namespace {

constexpr uint8_t Z = 0x80; // selects a zero byte

// Colour 0 in 16-bit lanes 0-3 and colour 1 in lanes 4-7, from the colour block at offset 0
// (DXT1) or 8 (DXT5); in each colour's blue lane the low byte moves up, so that every channel's
// bits sit at the top of its lane or within reach of it.
alignas(16) constexpr uint8_t kColourWords[2][16] = {{0, 1, 0, 1, 0, 1, Z, 0, 2, 3, 2, 3, 2, 3, Z, 2},
                                                     {8, 9, 8, 9, 8, 9, Z, 8, 10, 11, 10, 11, 10, 11, Z, 10}};
// Lanes A, R, G, B of each colour: the channel's bits, then the high half of * kWiden puts the
// channel, its top bits repeated below it, in the lane's low byte (red 5 bits from bit 11,
// green 6 from bit 5, blue 5 from bit 8).
alignas(16) constexpr uint16_t kChannelBits[8] = {0, 0xF800, 0x07E0, 0x1F00, 0, 0xF800, 0x07E0, 0x1F00};
alignas(16) constexpr uint16_t kWiden[8] = {0, 264, 8320, 2112, 0, 264, 8320, 2112};
// The low bytes of 16-bit lanes, into the lower or upper half.
alignas(16) constexpr uint8_t kLowBytesLower[16] = {0, 2, 4, 6, 8, 10, 12, 14, Z, Z, Z, Z, Z, Z, Z, Z};
alignas(16) constexpr uint8_t kLowBytesUpper[16] = {Z, Z, Z, Z, Z, Z, Z, Z, 0, 2, 4, 6, 8, 10, 12, 14};
// Lane 1's two bytes into every lane.
alignas(16) constexpr uint8_t kLane1[16] = {2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3, 2, 3};
// DXT1's alpha 255 in both colours: the steps and the mean keep it, the three-colour black is 0.
alignas(16) constexpr uint16_t kOpaque[8] = {255, 0, 0, 0, 255, 0, 0, 0};

// Pixel p = 4y + x: its row's index byte, colour block byte 4 + y (block_rows_simd-inl.h).
alignas(16) constexpr uint8_t kIndexRow[2][16] = {
    {4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7},
    {12, 12, 12, 12, 13, 13, 13, 13, 14, 14, 14, 14, 15, 15, 15, 15}};

// DXT5 alpha: a0 and a1 in every 16-bit lane; 64 * the weight of each code (code 1's 256
// gives a1 itself) for seven and five steps; codes 6 and 7 of five steps are 0 and 255.
alignas(16) constexpr uint8_t kAlpha0[16] = {0, Z, 0, Z, 0, Z, 0, Z, 0, Z, 0, Z, 0, Z, 0, Z};
alignas(16) constexpr uint8_t kAlpha1[16] = {1, Z, 1, Z, 1, Z, 1, Z, 1, Z, 1, Z, 1, Z, 1, Z};
alignas(16) constexpr int16_t kSevenSteps[8] = {0,        64 * 256, 64 * 36,  64 * 72,
                                                64 * 109, 64 * 145, 64 * 182, 64 * 218};
alignas(16) constexpr int16_t kFiveSteps[8] = {0, 64 * 256, 64 * 51, 64 * 102, 64 * 153, 64 * 204, 0, 0};
alignas(16) constexpr int16_t kFiveStepEnds[8] = {0, 0, 0, 0, 0, 0, 0, 255};
alignas(16) constexpr int16_t kFiveStepEndLanes[8] = {0, 0, 0, 0, 0, 0, -1, -1};
// Pixel i's 3-bit code starts at bit 3i of bytes 2-7: the two bytes holding it in lane i, and
// the multiplier that moves its bits to the lane's top three (2^(13 - (3i mod 8))).
alignas(16) constexpr uint8_t kCodePairs[2][16] = {{2, 3, 2, 3, 2, 3, 3, 4, 3, 4, 3, 4, 4, 5, 4, 5},
                                                   {5, 6, 5, 6, 5, 6, 6, 7, 6, 7, 6, 7, 7, 8, 7, 8}};
alignas(16) constexpr uint16_t kCodeShifts[8] = {8192, 1024, 128, 4096, 512, 64, 2048, 256};
// Row y's pixel alphas into each pixel's byte 0.
alignas(16) constexpr uint8_t kAlphaRow[4][16] = {{0, Z, Z, Z, 1, Z, Z, Z, 2, Z, Z, Z, 3, Z, Z, Z},
                                                  {4, Z, Z, Z, 5, Z, Z, Z, 6, Z, Z, Z, 7, Z, Z, Z},
                                                  {8, Z, Z, Z, 9, Z, Z, Z, 10, Z, Z, Z, 11, Z, Z, Z},
                                                  {12, Z, Z, Z, 13, Z, Z, Z, 14, Z, Z, Z, 15, Z, Z, Z}};

// Each part's block: DXT5 blocks fill their 16 bytes; a DXT1 block is 8 bytes, so part k
// loads the 16 bytes from block k on.
template <class D> HWY_INLINE hn::Vec<D> LoadBlocks(D d, const uint8_t* HWY_RESTRICT p, bool dxt5) {
    if constexpr (hn::MaxLanes(D()) <= 16) {
        return hn::LoadU(d, p);
    } else {
        if (dxt5) return hn::LoadU(d, p);
        const hn::Half<D> dh;
        constexpr size_t kHalfBlocks = hn::MaxLanes(hn::Half<D>()) / 16;
        return hn::Combine(d, LoadBlocks(dh, p + 8 * kHalfBlocks, false), LoadBlocks(dh, p, false));
    }
}

// Byte 0 of each part (a flat alpha block's a0) into byte 0 of each of its pixels.
alignas(16) constexpr uint8_t kFlatAlpha[16] = {0, Z, Z, Z, 0, Z, Z, Z, 0, Z, Z, Z, 0, Z, Z, Z};

// Alpha blocks with one value for all 16 pixels as the encoder writes them: a0 = a1 and every
// code 0 or every code 1 (0x249249249249 is sixteen 3-bit ones). Opaque and fully transparent
// areas are made of them. Lanes hold whole 64-bit halves: the alpha block in the even ones.
constexpr uint64_t kCodesField = 0xFFFFFFFFFFFF0000ull, kEveryCodeOne = 0x2492492492490000ull;

// The tables above as vectors of D, made once before the loops over a picture's blocks and
// pinned there (block_rows_simd-inl.h).
template <class D> struct Tables {
    using D16 = hn::Repartition<uint16_t, D>;
    using DI16 = hn::Repartition<int16_t, D>;
    using D64 = hn::Repartition<uint64_t, D>;
    template <class DT, typename T> static hn::Vec<DT> Pin(DT dt, const T* table) {
        return block_rows::HWY_NAMESPACE::PinnedTable(dt, table);
    }

    Tables(D d, bool dxt5)
        : rows(d), colourWords(Pin(d, kColourWords[dxt5])), indexRow(Pin(d, kIndexRow[dxt5])),
          lowBytesLower(Pin(d, kLowBytesLower)), lowBytesUpper(Pin(d, kLowBytesUpper)), lane1(Pin(d, kLane1)),
          channelBits(Pin(D16(), kChannelBits)), widen(Pin(D16(), kWiden)), opaque(Pin(D16(), kOpaque)),
          times85(block_rows::HWY_NAMESPACE::Pinned(hn::Set(DI16(), 85))), alpha0(Pin(d, kAlpha0)),
          alpha1(Pin(d, kAlpha1)), codePairs{Pin(d, kCodePairs[0]), Pin(d, kCodePairs[1])},
          alphaRow{Pin(d, kAlphaRow[0]), Pin(d, kAlphaRow[1]), Pin(d, kAlphaRow[2]), Pin(d, kAlphaRow[3])},
          flatAlpha(Pin(d, kFlatAlpha)), sevenSteps(Pin(DI16(), kSevenSteps)),
          fiveSteps(Pin(DI16(), kFiveSteps)), fiveStepEnds(Pin(DI16(), kFiveStepEnds)),
          fiveStepEndLanes(Pin(DI16(), kFiveStepEndLanes)), codeShifts(Pin(D16(), kCodeShifts)),
          codesField(block_rows::HWY_NAMESPACE::Pinned(hn::Set(D64(), kCodesField))),
          everyCodeOne(block_rows::HWY_NAMESPACE::Pinned(hn::Set(D64(), kEveryCodeOne))),
          lowByte(block_rows::HWY_NAMESPACE::Pinned(hn::Set(D64(), 0xFF))),
          colourHalves(
              block_rows::HWY_NAMESPACE::Pinned(hn::OddEven(hn::Set(D64(), ~0ull), hn::Zero(D64())))) {}

    block_rows::HWY_NAMESPACE::RowTables<D> rows;
    hn::Vec<D> colourWords, indexRow, lowBytesLower, lowBytesUpper, lane1;
    hn::Vec<D16> channelBits, widen, opaque;
    hn::Vec<DI16> times85;
    hn::Vec<D> alpha0, alpha1, codePairs[2], alphaRow[4], flatAlpha;
    hn::Vec<DI16> sevenSteps, fiveSteps, fiveStepEnds, fiveStepEndLanes;
    hn::Vec<D16> codeShifts;
    hn::Vec<D64> codesField, everyCodeOne, lowByte, colourHalves;
};

// The 16 palette bytes (entries 0-3, bytes A, R, G, B) of the colour block in each part of v.
template <class D> HWY_INLINE hn::Vec<D> ColourPalette(D d, hn::Vec<D> v, bool dxt5, const Tables<D>& t) {
    const hn::Repartition<uint16_t, D> d16;
    const hn::Repartition<int16_t, D> di16;
    const hn::Repartition<uint64_t, D> d64;
    const auto words = hn::BitCast(d16, hn::TableLookupBytesOr0(v, t.colourWords));
    auto wide = hn::MulHigh(hn::And(words, t.channelBits), t.widen);
    if (!dxt5) wide = hn::Or(wide, t.opaque);
    const auto wide64 = hn::BitCast(d64, wide);
    const auto v0 = hn::BitCast(d16, hn::InterleaveLower(d64, wide64, wide64));
    const auto v1 = hn::BitCast(d16, hn::InterleaveUpper(d64, wide64, wide64));

    // Four colours: v0 + floor(85 d / 256) and v0 + floor(170 d / 256) = v0 + floor(85 d / 128).
    const auto m = hn::Mul(hn::BitCast(di16, hn::Sub(v1, v0)), t.times85);
    const auto steps =
        hn::OddEven(hn::BitCast(d64, hn::ShiftRight<7>(m)), hn::BitCast(d64, hn::ShiftRight<8>(m)));
    const auto four = hn::Add(v0, hn::BitCast(d16, steps));
    // Three colours: the rounded-up mean, then black.
    const auto three =
        hn::BitCast(d16, hn::OddEven(hn::Zero(d64), hn::BitCast(d64, hn::AverageRound(v0, v1))));

    hn::Vec<decltype(d16)> second = four; // entries 2 and 3
    if (!dxt5) {
        // Colour 0 > colour 1: lane 1 compares the two words (lanes 4-7 compare them the other
        // way round, and the blue lanes hold a moved byte); its answer goes to every lane.
        const auto swapped = hn::BitCast(d16, hn::Shuffle01(hn::BitCast(d64, words)));
        const auto greater = hn::BitCast(d, hn::VecFromMask(d16, hn::Gt(words, swapped)));
        const auto fourColours = hn::BitCast(d16, hn::TableLookupBytes(greater, t.lane1));
        second = hn::IfThenElse(hn::MaskFromVec(fourColours), four, three);
    }
    const auto first = wide; // entries 0 and 1
    return hn::Or(hn::TableLookupBytesOr0(hn::BitCast(d, first), t.lowBytesLower),
                  hn::TableLookupBytesOr0(hn::BitCast(d, second), t.lowBytesUpper));
}

// Each pixel's alpha (16 bytes a part, pixel order) from the DXT5 alpha block in the part's
// bytes 0-7.
template <class D> HWY_INLINE hn::Vec<D> PixelAlphas(D d, hn::Vec<D> v, const Tables<D>& t) {
    const hn::Repartition<uint16_t, D> d16;
    const hn::Repartition<int16_t, D> di16;
    const auto a0 = hn::BitCast(d16, hn::TableLookupBytesOr0(v, t.alpha0));
    const auto a1 = hn::BitCast(d16, hn::TableLookupBytesOr0(v, t.alpha1));
    const auto sevenSteps = hn::Gt(a0, a1);
    const auto weights = hn::IfThenElse(hn::RebindMask(di16, sevenSteps), t.sevenSteps, t.fiveSteps);
    // a0 + floor((a1 - a0) w / 256), as the high half of (4 (a1 - a0)) (64 w).
    const auto delta4 = hn::ShiftLeft<2>(hn::BitCast(di16, hn::Sub(a1, a0)));
    const auto between = hn::Add(hn::BitCast(di16, a0), hn::MulHigh(delta4, weights));
    const auto fiveStep = hn::IfThenElse(hn::MaskFromVec(t.fiveStepEndLanes), t.fiveStepEnds, between);
    const auto values = hn::IfThenElse(hn::RebindMask(di16, sevenSteps), between, fiveStep);
    const auto table = hn::TableLookupBytesOr0(hn::BitCast(d, values), t.lowBytesLower);

    hn::Vec<decltype(d16)> codes[2];
    for (int half = 0; half < 2; ++half) {
        const auto pairs = hn::BitCast(d16, hn::TableLookupBytes(v, t.codePairs[half]));
        codes[half] = hn::ShiftRight<13>(hn::Mul(pairs, t.codeShifts));
    }
    const auto codeBytes = hn::Or(hn::TableLookupBytesOr0(hn::BitCast(d, codes[0]), t.lowBytesLower),
                                  hn::TableLookupBytesOr0(hn::BitCast(d, codes[1]), t.lowBytesUpper));
    return hn::TableLookupBytes(table, codeBytes);
}

// Whether every alpha block in v has one value throughout, as above (kCodesField); its pixels
// then take byte 0 of the block (a0) without the codes being read.
template <class D> HWY_INLINE bool EveryAlphaBlockFlat(D, hn::Vec<D> v, const Tables<D>& t) {
    const hn::Repartition<uint64_t, D> d64;
    const auto blocks = hn::BitCast(d64, v);
    const auto codes = hn::And(blocks, t.codesField);
    const auto oneCode = hn::Or(hn::Eq(codes, hn::Zero(d64)), hn::Eq(codes, t.everyCodeOne));
    const auto equalEnds = hn::Eq(hn::And(blocks, t.lowByte), hn::And(hn::ShiftRight<8>(blocks), t.lowByte));
    const auto colourHalves = hn::MaskFromVec(t.colourHalves);
    return hn::AllTrue(d64, hn::Or(hn::And(oneCode, equalEnds), colourHalves));
}

// Lanes(d) / 16 consecutive blocks into 4 rows of their pixels, rowBytes apart, streamed or
// not (StoreRow). A DXT1 group reads 8 bytes past its last block.
template <class D>
HWY_INLINE void DecodeBlocks(D d, const uint8_t* HWY_RESTRICT blocks, bool dxt5, uint8_t* out,
                             ptrdiff_t rowBytes, const Tables<D>& t, bool stream = false) {
    namespace rows = block_rows::HWY_NAMESPACE;
    const auto v = LoadBlocks(d, blocks, dxt5);
    const auto palette = ColourPalette(d, v, dxt5, t);
    const auto offsets = rows::PaletteOffsets(d, v, t.indexRow, t.rows);
    if (dxt5 && EveryAlphaBlockFlat(d, v, t)) {
        const auto alpha = hn::TableLookupBytesOr0(v, t.flatAlpha);
        for (int y = 0; y < 4; ++y)
            rows::StoreRow(d, hn::Or(rows::PixelRow(palette, offsets, y, t.rows), alpha), out + y * rowBytes,
                           stream);
        return;
    }
    const auto alphas = dxt5 ? PixelAlphas(d, v, t) : hn::Zero(d);
    for (int y = 0; y < 4; ++y) {
        auto pixels = rows::PixelRow(palette, offsets, y, t.rows);
        if (dxt5) pixels = hn::Or(pixels, hn::TableLookupBytesOr0(alphas, t.alphaRow[y]));
        rows::StoreRow(d, pixels, out + y * rowBytes, stream);
    }
}

// The image walk for one block kind and one kind of store: both are constants in its loops,
// so that the blocks' shuffle tables stay in registers (a DXT1 1080p decode took 20% longer
// when the kind was read inside them).
template <bool kDXT5, bool kStream>
void DecodeImageAs(const uint8_t* blocks, uint8_t* dst, int width, int height, int rowBytes) {
    const hn::ScalableTag<uint8_t> d;
    const hn::Full128<uint8_t> d1;
    const int groupBlocks = static_cast<int>(hn::Lanes(d) / 16);
    const int across = (width + 3) / 4, down = (height + 3) / 4, blockBytes = kDXT5 ? 16 : 8;
    const int wholeAcross = width / 4;
    const Tables<hn::ScalableTag<uint8_t>> tables(d, kDXT5);
    const Tables<hn::Full128<uint8_t>> tables1(d1, kDXT5);
    for (int by = 0; by < down; ++by) {
        const uint8_t* in = blocks + static_cast<ptrdiff_t>(by) * across * blockBytes;
        uint8_t* out = dst + static_cast<ptrdiff_t>(by) * 4 * rowBytes;
        const int rows = height - by * 4 < 4 ? height - by * 4 : 4;
        int bx = 0;
        if (rows == 4) {
            // A DXT1 load reads 8 bytes past its blocks: the payload's last block is decoded
            // aside below.
            const bool lastBlockInRow = by + 1 == down && !kDXT5 && wholeAcross == across;
            const int direct = lastBlockInRow ? wholeAcross - 1 : wholeAcross;
            // The groups start at whole vectors from dst: streamed where the picture is.
            for (; bx + groupBlocks <= direct; bx += groupBlocks)
                DecodeBlocks(d, in + bx * blockBytes, kDXT5, out + bx * 16, rowBytes, tables, kStream);
            for (; bx < direct; ++bx)
                DecodeBlocks(d1, in + bx * blockBytes, kDXT5, out + bx * 16, rowBytes, tables1);
        }
        // Blocks cut by the picture's edge, and the payload's last DXT1 block: decoded aside,
        // their visible pixels copied.
        for (; bx < across; ++bx) {
            uint8_t padded[16] = {};
            std::memcpy(padded, in + bx * blockBytes, static_cast<size_t>(blockBytes));
            alignas(16) uint8_t pixels[64];
            DecodeBlocks(d1, padded, kDXT5, pixels, 16, tables1);
            const int columns = width - bx * 4 < 4 ? width - bx * 4 : 4;
            for (int y = 0; y < rows; ++y)
                std::memcpy(out + static_cast<ptrdiff_t>(y) * rowBytes + bx * 16, pixels + y * 16,
                            static_cast<size_t>(columns) * 4);
        }
    }
}

} // namespace

void DecodeImage(const uint8_t* blocks, bool dxt5, uint8_t* dst, int width, int height, int rowBytes) {
    if (width < 1 || height < 1) return;
    const size_t vectorBytes = hn::Lanes(hn::ScalableTag<uint8_t>());
    const bool stream = StreamsPicture(dst, rowBytes, height, static_cast<size_t>(width) * 4, vectorBytes);
    if (dxt5 && stream)
        DecodeImageAs<true, true>(blocks, dst, width, height, rowBytes);
    else if (dxt5)
        DecodeImageAs<true, false>(blocks, dst, width, height, rowBytes);
    else if (stream)
        DecodeImageAs<false, true>(blocks, dst, width, height, rowBytes);
    else
        DecodeImageAs<false, false>(blocks, dst, width, height, rowBytes);
    if (stream) hwy::FlushStream();
}

#endif // HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE

} // namespace HWY_NAMESPACE
} // namespace s3tc
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace s3tc {
HWY_EXPORT(DecodeImage);
} // namespace s3tc

void DecodeS3TCSimd(const uint8_t* blocks, bool dxt5, uint8_t* dst, int width, int height, int rowBytes) {
    HWY_DYNAMIC_DISPATCH(s3tc::DecodeImage)(blocks, dxt5, dst, width, height, rowBytes);
}
#endif
