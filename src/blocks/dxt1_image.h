// DXT1/DXT5 block images: stb_dxt's encoder walked over a whole ARGB picture.
#pragma once

#include <cstdint>

// Compresses width x height ARGB pixels (rows rowBytes apart) into ceil(width/4) x
// ceil(height/4) blocks at dst in raster order: DXT5 (16 bytes) when alpha is non-zero, else
// DXT1 (8 bytes), through stb_dxt in high-quality mode. Edge blocks repeat the last real row and
// column. Writes nothing when a side is below 1. Many blocks at once through the SIMD walker
// (dxt24_simd.h) where the CPU allows, one at a time through stb_compress_dxt_block otherwise
// (stbCompressARGB32_plain); the bytes are the same.
void stbCompressARGB32(unsigned char* dst, const unsigned char* src, int width, int height, int rowBytes,
                       uint8_t alpha);

// The same, always one block at a time through stb_compress_dxt_block: the reference.
void stbCompressARGB32_plain(unsigned char* dst, const unsigned char* src, int width, int height,
                             int rowBytes, uint8_t alpha);
