// The block kinds' table.
#include "block_coders.h"

#include "dxt1_image.h"
#include "dxt24_decode.h"
#include "dxt24_image.h"
#include "stream/kel_header.h"

namespace {

void EncodeDXT1(uint8_t* dst, const uint8_t* argb, int width, int height, int rowBytes) {
    stbCompressARGB32(dst, argb, width, height, rowBytes, 0);
}
void EncodeDXT1Plain(uint8_t* dst, const uint8_t* argb, int width, int height, int rowBytes) {
    stbCompressARGB32_plain(dst, argb, width, height, rowBytes, 0);
}
void EncodeDXT5(uint8_t* dst, const uint8_t* argb, int width, int height, int rowBytes) {
    stbCompressARGB32(dst, argb, width, height, rowBytes, 1);
}
void EncodeDXT5Plain(uint8_t* dst, const uint8_t* argb, int width, int height, int rowBytes) {
    stbCompressARGB32_plain(dst, argb, width, height, rowBytes, 1);
}
// The DXT24 walkers only read their source; their parameter is not const because the
// encoder's entry point is declared so.
void EncodeDXT24(uint8_t* dst, const uint8_t* argb, int width, int height, int rowBytes) {
    _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(dst), const_cast<uint8_t*>(argb), width, height,
                            rowBytes, false);
}
void EncodeDXT24Plain(uint8_t* dst, const uint8_t* argb, int width, int height, int rowBytes) {
    stbCompressARGB32_to24_plain(reinterpret_cast<unsigned short*>(dst), const_cast<uint8_t*>(argb), width,
                                 height, rowBytes, false);
}

const BlockCoders kCoders[] = {
    {"DXT1", kDXT1BlockBytes, EncodeDXT1, EncodeDXT1Plain, nullptr, nullptr},
    {"DXT5", kDXT5BlockBytes, EncodeDXT5, EncodeDXT5Plain, nullptr, nullptr},
    {"DXT24", kDXT24BlockBytes, EncodeDXT24, EncodeDXT24Plain, DecodeDXT24, DecodeDXT24Plain},
};

} // namespace

const BlockCoders& CodersFor(BlockKind kind) {
    return kCoders[static_cast<int>(kind)];
}
