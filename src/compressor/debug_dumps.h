// Diagnostic image dumps for developing the encoder: write 8-bit images to standard 24-bit BMP
// files without ever overwriting an existing file. No codec path calls them.
// Kept on purpose with no product caller (docs/kept-on-purpose.md).
#pragma once

#include <cstdint>

// pixels: width x height tightly packed R, G, B rows, top row first. When fileName exists the
// image goes to "<base>_1.<ext>", "<base>_2.<ext>", ... (the first free one), base and
// extension being the file name split at its first '.'. Failures are not reported.
void WriteUInt8Bitmap24(const unsigned char* pixels, uint32_t width, uint32_t height, const char* fileName);

// pixels: tightly packed B, G, R, A; alpha is dropped.
void WriteUInt8Bitmap32BGRA(const unsigned char* pixels, uint32_t width, uint32_t height,
                            const char* fileName);
