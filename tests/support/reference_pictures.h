// What the suites compare decoded pictures against: a plain CPU S3TC decoder (DXT1 and DXT5 as
// the S3TC texture formats define them) and the DXT24 CPU decoder, both giving the visible
// width x height picture as 32-bit ARGB bytes, rows width * 4 apart.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

using Bytes = std::vector<uint8_t>;

// ceil(width/4) x ceil(height/4) DXT1 (8-byte) or DXT5 (16-byte) blocks. A DXT1 block whose
// colour 0 is not above colour 1 has three colours and a transparent black.
Bytes DecodeS3TCPicture(const uint8_t* blocks, bool dxt5, int width, int height);

// ceil(width/4) x ceil(height/4) 10-byte DXT24 blocks through DecodeDXT24.
Bytes DecodeDXT24Picture(const uint8_t* blocks, int width, int height);

// The visible width x height picture a frame should decode to: its payload unpacked (zero-filled
// past the stored data), decoded by DecodeDXT24Picture when the block kind is DXT24, else as
// DXT1/DXT5.
Bytes ExpectedPicture(const Bytes& frame, int width, int height);

// ARGB pixels (bytes A, R, G, B) as RGBA (R, G, B, A), the order OpenGL reads back.
Bytes ARGBToRGBA(const Bytes& argb);

// The first width pixels of each of height rows of an image whose rows are stride bytes apart.
Bytes Visible(const uint8_t* image, size_t stride, int width, int height);

// The largest difference of two bytes at the same place; 256 when the sizes differ.
int LargestDifference(const Bytes& a, const Bytes& b);
