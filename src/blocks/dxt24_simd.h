// SIMD paths of the DXT24 image walker and CPU decoder, and of the stb_dxt DXT1/DXT5 image
// walker, compiled for every Highway target and picked at run time (the one-lane fallback
// target runs the plain code). They give the same bytes as the
// plain paths (dxt24_image.h, dxt24_decode.h), whose public entry points call them; nothing else needs to.
#pragma once

namespace dxt24 {

// Encodes the whole image as _stbCompressARGB32_to24 does (rowBytes 0 means width * 4);
// width and height are at least 1.
void EncodeImageSimd(unsigned char* out, unsigned char* src, int width, int height, int rowBytes, bool alpha);

// Encodes the whole image (rowBytes 0 means width * 4; width and height at least 1) into the
// bytes of stb_compress_dxt_block(block, alpha, STB_DXT_HIGHQUAL) for every 4x4 block in row
// order, each block gathered as R, G, B, A with the last row and column repeated past the
// edges: 8 bytes a block, 16 with alpha (DXT5). False, with nothing written, where the CPU's
// target has no lane encoder; the caller then encodes the blocks with stb itself.
bool EncodeDXT1ImageSimd(unsigned char* out, const unsigned char* src, int width, int height, int rowBytes,
                         bool alpha);

// Decodes blocksAcross x blocksDown blocks (both at least 1) as DecodeDXT24 does. Rows of
// the destination must not overlap: |rowBytes| >= 16 * blocksAcross.
void DecodeImageSimd(const unsigned char* payload, unsigned char* dst, long blocksAcross, long blocksDown,
                     long rowBytes);

} // namespace dxt24
