// DXT24 block encoder: one 4x4 block of RGBA pixels in, one 10-byte DXT24 block out
// (two exact 8:8:8 endpoints and sixteen 2-bit indices), or 18 bytes with a DXT5 alpha half.
//
// USAGE: call stb_compress_dxt_block_24() for every block; like stb_dxt, you must pad
// partial blocks yourself (the image walker in dxt24_image.h repeats the last row/column).
//
//   src   64 bytes, 16 pixels in row order, each R, G, B, A
//   dest  10 bytes (alpha == 0), or 8 alpha bytes + 10 colour bytes (alpha != 0)
//   mode  2 (stb_dxt's STB_DXT_HIGHQUAL) runs two refinement passes instead of one,
//         ~30-40% slower; 1 (dither) is ignored, this encoder never dithers.
//
// The endpoint search and refinement follow stb_dxt's colour compressor step for step,
// without any 5:6:5 quantisation. The whole module is built with -ffp-contract=off: the
// covariance, the power iteration and the re-fit are single-precision float code whose
// results decide bytes, so they must never be fused into multiply-adds.
#pragma once

// Encodes one block; see above.
void stb_compress_dxt_block_24(unsigned char* dest, const unsigned char* src, int alpha, int mode);

// Returns the 32-bit index mask (pixel i at bits 2i..2i+1) of block against the four-entry
// palette color (16 bytes: R, G, B, 0 for colour 0, colour 1, and the two thirds).
unsigned int stb__MatchColorsBlock24(unsigned char* block, unsigned char* color);

// Least-squares re-fit of both endpoints (packed 0x00RRGGBB) to the given index mask.
// Stores the new endpoints; returns non-zero when either of them changed.
int stb__RefineBlock24(unsigned char* block, unsigned int* pmax, unsigned int* pmin, unsigned int mask);
