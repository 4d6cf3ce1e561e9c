// The encoded frame: a 28-byte header (KELHeader) followed by a payload of 4x4 colour blocks
// and an optional second plane. Frames carry no dimensions; both sides take width and height
// from the image description.
//
//   offset  width  field                     written as
//   0       u32    header size               28 (the payload starts this far from the frame start)
//   4       u8     format version            1
//   5       u8     alpha flag                the alpha setting (0 or 1)
//   6       u8     payload packing           1 = LZF, anything else = raw
//   7       u8     second-plane packing      1 = LZF, anything else = raw (always 0)
//   8       u32    second-plane width        0
//   12      u32    second-plane height       0
//   16      u32    payload stored size       LZF output length, or the raw payload size
//   20      u32    second-plane stored size  0
//   24      u8     second-plane pixel size   non-zero = RGB, 0 = RGBA (always 0)
//   25      u8     block-colour-plane flag   DXT24 setting XOR 1
//   26      u8     block kind                1 = DXT24 blocks, 0 = DXT1/DXT5 blocks
//   27      u8     reserved                  0
//
// All fields are little-endian; bytes not listed as written are zero. Payload size before
// packing = ceil(W/4) * ceil(H/4) * bytes per block (8 DXT1, 16 DXT5, 10 DXT24, 18 DXT24 with
// alpha), blocks in raster order with no padding. A written frame is 28 + payload stored size.
#pragma once

#include <cstdint>

const uint32_t kKELHeaderSize = 28;
// Largest frame side in pixels, for every reader and writer: the image description keeps the
// width and height in signed 16-bit fields.
const int32_t kKELMaxSide = 32767;
const uint8_t kKELFormatVersion = 1;
const uint8_t kKELPackingLZF = 1;

// Values of the block-kind byte (offset 26) that the encoder writes. Readers differ on the
// others on purpose: the frame reader unpacks any value but kKELBlockKindDXT24 as DXT1/DXT5
// blocks, while the GPU path uploads any value but kKELBlockKindS3TC as DXT24 and draws only
// kKELBlockKindDXT24 with the DXT24 program.
const uint8_t kKELBlockKindS3TC = 0;
const uint8_t kKELBlockKindDXT24 = 1;

// Byte offsets of the header fields.
const uint32_t kKELHeaderSizeOffset = 0;
const uint32_t kKELVersionOffset = 4;
const uint32_t kKELAlphaOffset = 5;
const uint32_t kKELPackingOffset = 6;
const uint32_t kKELPlanePackingOffset = 7;
const uint32_t kKELPlaneWidthOffset = 8;
const uint32_t kKELPlaneHeightOffset = 12;
const uint32_t kKELStoredSizeOffset = 16;
const uint32_t kKELPlaneStoredSizeOffset = 20;
const uint32_t kKELPlanePixelSizeOffset = 24;
const uint32_t kKELBlockColourPlaneOffset = 25;
const uint32_t kKELBlockKindOffset = 26;
const uint32_t kKELReservedOffset = 27;

// Bytes per 4x4 block for each block format.
const uint32_t kDXT1BlockBytes = 8;
const uint32_t kDXT5BlockBytes = 16;
const uint32_t kDXT24BlockBytes = 10;
const uint32_t kDXT24AlphaBlockBytes = 18;

// The header's fields as numbers.
struct KELHeader {
    uint32_t headerSize;
    uint8_t version;
    uint8_t alpha;
    uint8_t packing;
    uint8_t planePacking;
    uint32_t planeWidth;
    uint32_t planeHeight;
    uint32_t storedSize;
    uint32_t planeStoredSize;
    uint8_t planePixelSize;
    uint8_t blockColourPlane;
    uint8_t blockKind;
    uint8_t reserved;
};

// Writes all 28 bytes of header to dst.
void WriteKELHeader(uint8_t* dst, const KELHeader& header);

// Reads the 28 bytes at src. Nothing is validated: the reader of a frame decides what to trust.
KELHeader ReadKELHeader(const uint8_t* src);

// Bytes per block: DXT24 blocks when dxt24 is set (10, or 18 with alpha), else DXT1 (8) or
// DXT5 (16, with alpha).
uint32_t KELBytesPerBlock(bool dxt24, bool alpha);

// ceil(width/4) * ceil(height/4), each side rounded up in signed 32-bit arithmetic; 0 when a
// side is below 1.
int32_t KELBlockCount(int32_t width, int32_t height);

// Upper bound of an encoded frame for these dimensions and settings: blocks * bytes per block
// (by the alpha and DXT24 settings as given, so alpha + DXT24 counts 18 even though such frames
// are written as DXT5), plus floor(W/4) * floor(H/4) * 4 for a second RGBA plane when dxt24 is
// off (the encoder never writes that plane; the room is kept), plus the 28-byte header.
uint32_t CalculateMaxKELDataSize(int32_t width, int32_t height, bool alpha, bool dxt24);
