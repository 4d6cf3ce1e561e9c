// Device-independent bitmap files as this codec's tools write them: a 16-byte file header
// (the standard 14 bytes with two padding bytes after the "BM" type, so every later field
// sits two bytes further on than in a standard BMP), the info block (BITMAPINFOHEADER,
// colour masks, palette) and the pixel bits, each as they lie in memory. Rows are not
// padded to 4 bytes. Files written by SaveDIBitmap are read by LoadDIBitmap, not by
// standard BMP readers.
//
//   offset  size  field
//   0       2     type "BM" (0x4D42)
//   2       2     padding (written as 0, ignored on load)
//   4       4     file size = 16 + info size + image size
//   8       2     reserved, 0
//   10      2     reserved, 0
//   12      4     offset of bits = 16 + info size
//   16      ...   info block, then the bits
// Kept on purpose with no product caller (docs/kept-on-purpose.md).
#pragma once

// Reads path. Returns the pixel bits in a new heap block and stores a new heap block
// holding the info block where info points; the caller frees both with free(). Returns
// null on any failure (missing file, wrong type, short file, an info block smaller than a
// BITMAPINFOHEADER); the pointer left in *info must then not be used.
void* LoadDIBitmap(const char* path, void** info);

// Writes info (a BITMAPINFOHEADER followed by masks and palette as its compression and
// bit count call for) and bits to path. Returns 0, or -1 on failure (a partly written
// file is left on disk).
int SaveDIBitmap(const char* path, const void* info, const void* bits);
