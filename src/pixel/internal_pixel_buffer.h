// Planar Y'CbCr 4:2:0 pixel buffers (three separately allocated, zero-filled planes with
// strides rounded to multiples of 16) and copies between that layout and chunky 4:2:2.
// The YUV copies are kept on purpose with no product caller (docs/kept-on-purpose.md).
#pragma once

#include <cstdint>

struct InternalPixelBuffer {
    uint8_t* y;         // luma, yRowBytes x height bytes
    uint32_t yRowBytes; // width rounded up to a multiple of 16
    uint8_t* u;         // Cb, (uRowBytes x height) / 2 bytes
    uint32_t uRowBytes; // width / 2 rounded up to a multiple of 16
    uint8_t* v;         // Cr, same size as u
    uint32_t vRowBytes; // equal to uRowBytes
};

// Frees whatever the record holds, then allocates zeroed planes for width x height.
// Returns 0, or -108 when a plane cannot be allocated (planes allocated before the failure
// stay in the record and are freed by the next allocation or freeInternalPixelBuffer).
// A never-allocated record must be all zero.
int callocInternalPixelBuffer(uint32_t width, uint32_t height, InternalPixelBuffer* buffer);

// Frees the three planes and nulls their pointers; harmless on a freed or empty record.
void freeInternalPixelBuffer(InternalPixelBuffer* buffer);

// Chunky 4:2:2 rows are groups of Cb, Y0, Cr, Y1 covering two pixels. Both copies work on
// whole 2x2 pixel groups: width and height must be even (an odd size reads or writes one
// row or column past the end). Both return 0; a height of 0 or a width of 0 copies nothing.

// Luma is copied; each chroma sample is the mean (rounded down) of the two rows' samples.
int CopyChunkyYUV422ToPlanarYUV420(uint32_t width, uint32_t height, const uint8_t* src, uint32_t srcRowBytes,
                                   uint8_t* dstY, uint32_t dstYRowBytes, uint8_t* dstU, uint32_t dstURowBytes,
                                   uint8_t* dstV, uint32_t dstVRowBytes);

// Luma is copied; each chroma sample is repeated on both rows of its pair.
int CopyPlanarYUV420ToChunkyYUV422(uint32_t width, uint32_t height, const uint8_t* srcY,
                                   uint32_t srcYRowBytes, const uint8_t* srcU, uint32_t srcURowBytes,
                                   const uint8_t* srcV, uint32_t srcVRowBytes, uint8_t* dst,
                                   uint32_t dstRowBytes);
