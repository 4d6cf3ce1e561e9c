// Writing and reading the encoded frame header, and the frame size bounds.
#include "kel_header.h"

#include <cstring>

#include "platform/little_endian.h"

void WriteKELHeader(uint8_t* dst, const KELHeader& header) {
    std::memset(dst, 0, kKELHeaderSize);
    WriteLE32(dst + kKELHeaderSizeOffset, header.headerSize);
    dst[kKELVersionOffset] = header.version;
    dst[kKELAlphaOffset] = header.alpha;
    dst[kKELPackingOffset] = header.packing;
    dst[kKELPlanePackingOffset] = header.planePacking;
    WriteLE32(dst + kKELPlaneWidthOffset, header.planeWidth);
    WriteLE32(dst + kKELPlaneHeightOffset, header.planeHeight);
    WriteLE32(dst + kKELStoredSizeOffset, header.storedSize);
    WriteLE32(dst + kKELPlaneStoredSizeOffset, header.planeStoredSize);
    dst[kKELPlanePixelSizeOffset] = header.planePixelSize;
    dst[kKELBlockColourPlaneOffset] = header.blockColourPlane;
    dst[kKELBlockKindOffset] = header.blockKind;
    dst[kKELReservedOffset] = header.reserved;
}

KELHeader ReadKELHeader(const uint8_t* src) {
    KELHeader header;
    header.headerSize = ReadLE32(src + kKELHeaderSizeOffset);
    header.version = src[kKELVersionOffset];
    header.alpha = src[kKELAlphaOffset];
    header.packing = src[kKELPackingOffset];
    header.planePacking = src[kKELPlanePackingOffset];
    header.planeWidth = ReadLE32(src + kKELPlaneWidthOffset);
    header.planeHeight = ReadLE32(src + kKELPlaneHeightOffset);
    header.storedSize = ReadLE32(src + kKELStoredSizeOffset);
    header.planeStoredSize = ReadLE32(src + kKELPlaneStoredSizeOffset);
    header.planePixelSize = src[kKELPlanePixelSizeOffset];
    header.blockColourPlane = src[kKELBlockColourPlaneOffset];
    header.blockKind = src[kKELBlockKindOffset];
    header.reserved = src[kKELReservedOffset];
    return header;
}

uint32_t KELBytesPerBlock(bool dxt24, bool alpha) {
    if (dxt24) return alpha ? kDXT24AlphaBlockBytes : kDXT24BlockBytes;
    return alpha ? kDXT5BlockBytes : kDXT1BlockBytes;
}

int32_t KELBlockCount(int32_t width, int32_t height) {
    if (width < 1 || height < 1) return 0;
    return ((width + 3) / 4) * ((height + 3) / 4);
}

uint32_t CalculateMaxKELDataSize(int32_t width, int32_t height, bool alpha, bool dxt24) {
    const uint32_t blocks = static_cast<uint32_t>(KELBlockCount(width, height));
    // The plane reserve rounds each side down, unlike the block count.
    uint32_t planeReserve = 0;
    if (!dxt24 && width > 0 && height > 0)
        planeReserve = static_cast<uint32_t>((width / 4) * (height / 4) * 4);
    return blocks * KELBytesPerBlock(dxt24, alpha) + planeReserve + kKELHeaderSize;
}
