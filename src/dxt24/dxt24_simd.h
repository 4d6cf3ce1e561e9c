// SIMD paths of the DXT24 image walker and CPU decoder, compiled for every Highway target
// and picked at run time (the one-lane fallback target runs the plain code). They give the same bytes as the
// plain paths (dxt24_image.h, dxt24_decode.h), whose public entry points call them; nothing else needs to.
#pragma once

namespace dxt24 {

// Encodes the whole image as _stbCompressARGB32_to24 does (rowBytes 0 means width * 4);
// width and height are at least 1.
void EncodeImageSimd(unsigned char* out, unsigned char* src, int width, int height, int rowBytes, bool alpha);

// Decodes blocksAcross x blocksDown blocks (both at least 1) as DecodeDXT24 does. Rows of
// the destination must not overlap: |rowBytes| >= 16 * blocksAcross.
void DecodeImageSimd(const unsigned char* payload, unsigned char* dst, long blocksAcross, long blocksDown,
                     long rowBytes);

} // namespace dxt24
