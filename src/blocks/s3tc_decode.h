// CPU decoder for DXT1 and DXT5 (S3TC) blocks, giving exactly the pixels Mesa's llvmpipe
// renderer gives when the decoder's OpenGL path draws the same blocks, so that a machine
// without a GPU gets the same pictures whichever path decodes them:
// - colours 0 and 1 widen from 5:6:5 by repeating their top bits;
// - four-colour blocks (DXT5 always, DXT1 when colour 0 > colour 1 as 16-bit numbers):
//   colour 2 = c0 + floor(85 (c1 - c0) / 256) and colour 3 = c0 + floor(170 (c1 - c0) / 256),
//   per channel;
// - three-colour DXT1 blocks: colour 2 = (c0 + c1 + 1) / 2 rounded down, colour 3 transparent
//   black (alpha 0); the other colours of DXT1 have alpha 255;
// - DXT5 alpha: a0 and a1; between them (codes 2 to 7 when a0 > a1, 2 to 5 otherwise)
//   a0 + floor((a1 - a0) w / 256) with w = (2331 (code - 1)) >> 6 (seven steps) or
//   (3264 (code - 1)) >> 6 (five steps); codes 6 and 7 of five-step blocks are 0 and 255.
// DecodeS3TC takes the SIMD decoder of the best Highway target the CPU supports; the plain
// decoder, a palette per block and a 32-bit store per pixel, is the reference it matches
// byte for byte.
#pragma once

#include <cstdint>

// Decodes ceil(width/4) x ceil(height/4) blocks (8 bytes each for DXT1, 16 for DXT5: the
// alpha block, then the colour block) in raster order into exactly width x height pixels
// (bytes A, R, G, B) at dst, rows rowBytes apart; nothing outside them is written. Writes
// nothing when a side is below 1.
void DecodeS3TC(const uint8_t* blocks, bool dxt5, uint8_t* dst, int width, int height, int rowBytes);
// The plain reference: same arguments, same bytes.
void DecodeS3TCPlain(const uint8_t* blocks, bool dxt5, uint8_t* dst, int width, int height, int rowBytes);

// One block's 16 pixels as little-endian ARGB words (byte A first), in raster order: the
// palette rule above, for tests and the SIMD decoder's edges.
void DecodeS3TCBlock(const uint8_t* block, bool dxt5, uint32_t pixels[16]);
