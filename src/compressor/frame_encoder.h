// The frame encoder: one ARGB source frame in, one encoded key frame out (header, DXT1, DXT5 or
// DXT24 blocks, LZF packing when it shrinks the payload), emitted to the host's session.
#pragma once

#include <cstdint>

#include "compressor_component.h"

// Encodes the source frame and emits it; useDXT24 picks DXT24 blocks over stb_dxt's DXT1/DXT5.
// unused is kept for the original parameter list. Returns the first failing host status,
// memFullErr when the payload buffer cannot be allocated, or paramErr when the source frame is
// larger than the prepared size.
ComponentResult CompressDXTOnly(KELCompressorGlobalsPtr globals, ICMCompressorSourceFrameRef sourceFrame,
                                void* unused, bool useDXT24);

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

// The DXT24 thread count for a thread setting: 1 = one per physical core, 2 = 1 (deliberately
// not 2), 3..9 = 2, 4, 6, 8, 12, 16, 24; anything else 1.
int DXT24ThreadCount(int32_t threadSetting);

// The machine's physical core count, asked of the system once per process (1 if it says 0).
int CachedPhysicalCoreCount();
