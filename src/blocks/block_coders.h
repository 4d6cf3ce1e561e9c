// Every block kind the codec writes, behind one table, as FFmpeg's texturedsp keeps its block
// kinds: the bytes of a block, the image encoder (the SIMD walker of the best Highway target
// the CPU supports, where the kind has one) with its plain reference beside it, and the CPU
// image decoder with its plain reference where the kind has one. Fast and plain give the same
// bytes; the block coders' suites prove it for every kind through this table.
#pragma once

#include <cstdint>

enum class BlockKind { kDXT1, kDXT5, kDXT24 };

// width x height ARGB pixels (bytes A, R, G, B), rows rowBytes apart, to ceil(width/4) x
// ceil(height/4) blocks in raster order at dst; the last row and column repeat at the edges.
// Nothing is written when a side is below 1.
typedef void (*BlockImageEncoder)(uint8_t* dst, const uint8_t* argb, int width, int height, int rowBytes);

// Those blocks to ARGB pixels, whole blocks (room for 4*ceil(width/4) pixels in each of
// 4*ceil(height/4) rows, rowBytes apart).
typedef void (*BlockImageDecoder)(const uint8_t* blocks, uint8_t* argb, int width, int height, int rowBytes);

struct BlockCoders {
    const char* name;
    uint32_t blockBytes;
    BlockImageEncoder encode;
    BlockImageEncoder encodePlain;
    BlockImageDecoder decode;      // null: the kind decodes through the decompressor's GPU path
    BlockImageDecoder decodePlain; // null with decode
};

const BlockCoders& CodersFor(BlockKind kind);
