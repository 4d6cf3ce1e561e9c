// DXT24 CPU decoder: turns a DXT24 payload back into 32-bit ARGB pixels (alpha 255),
// writing whole 4x4 blocks. DecodeDXT24 takes the SIMD decoder of the best Highway target
// the CPU supports; the plain decoder, one palette and sixteen 32-bit stores per block, is
// the reference that it matches byte for byte.
#pragma once

// thirdsTable[(a << 8) | b] = (2a + b + 1) / 3: the rounded point two thirds of the way from
// b to a. Entry (c0, c1) is palette index 2, entry (c1, c0) palette index 3.
extern unsigned char thirdsTable[65536];
// Set once the table is filled.
extern bool initThirds;

// Fills thirdsTable once per process (thread-safe); later calls return at once. The
// decoder does this itself, so no caller needs to call it first. Kept on purpose as an entry
// point (docs/kept-on-purpose.md).
void InitThirdsTable();

// Decodes ceil(width/4) x ceil(height/4) blocks from src into dst, whose rows are rowBytes
// apart (used as given). Writes whole blocks: the destination must have room for
// 4*ceil(width/4) pixels in each of 4*ceil(height/4) rows. Writes nothing when width or
// height is 0 or less. Each pixel is the bytes A (255), R, G, B.
void DecodeDXT24(const unsigned char* src, unsigned char* dst, int width, int height, int rowBytes);
// The plain reference decoder: same arguments, same bytes as DecodeDXT24.
void DecodeDXT24Plain(const unsigned char* src, unsigned char* dst, int width, int height, int rowBytes);
