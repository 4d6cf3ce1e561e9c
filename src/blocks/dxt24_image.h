// DXT24 image walker: encodes a whole 32-bit ARGB image into a DXT24 payload on the
// calling thread, repeating the last row and column at the edges. The walker takes the
// SIMD block encoder of the best Highway target the CPU supports, several blocks at once;
// the plain walker, one block at a time through stb_compress_dxt_block_24, is the
// reference that it matches byte for byte.
#pragma once

// Encodes width x height ARGB pixels (bytes A, R, G, B in memory) from src, whose rows are
// rowBytes apart (0 means width * 4), into dst: ceil(width/4) x ceil(height/4) blocks of
// 10 bytes in raster order. dst need not be aligned despite its type.
//
// With alpha set each block is encoded with its alpha half but only its first 10 bytes are
// stored, so the payload keeps its 10-byte stride (the stored unit then holds the alpha
// block and two colour bytes; no decoder reads it as alpha). Writes nothing when width or
// height is below 1. Reentrant: several walkers may encode slices of one image at once.
void _stbCompressARGB32_to24(unsigned short* dst, unsigned char* src, int width, int height, int rowBytes,
                             bool alpha);

// The plain reference walker: same arguments, same bytes as above.
void stbCompressARGB32_to24_plain(unsigned short* dst, unsigned char* src, int width, int height,
                                  int rowBytes, bool alpha);
