// The GPU decoder of DXT24 payloads: the source of the GLSL fragment program that decodes one
// output pixel from the payload uploaded as a one-byte unsigned-integer rectangle texture.
//
// The texture is (blocks across x 10) x (blocks down) texels, texel (10 bx + k, by) = byte k of
// block (bx, by). Drawn over 4 x blocks across by 4 x blocks down pixels with s running 0 to
// 10 x blocks across and t 0 to blocks down, each pixel finds its block (x = floor(s) rounded
// down to a multiple of 10, y = floor(t)), its column (fract(s / 10) x 4) and row (fract(t) x 4)
// in the block, reads the two endpoints and its index row, and writes the palette colour. The
// thirds are computed in floating point, so they may differ by one from the CPU decoder's
// rounded table. The output channels are shifted by one on purpose: red = 1.0 and green, blue,
// alpha = the colour, so 8-bit RGBA read-back bytes land as A, R, G, B in memory.
//
// The program is written as one line of statements separated by runs of spaces; the only newline
// ends the #extension directive, which must stand on a line of its own.
#pragma once

// The program for opaque DXT24 payloads (1207 characters).
extern const char kDXT24ShaderSource[];

// The program for DXT24 payloads with alpha: only a closing brace, which does not compile.
// DXT24 with alpha has no GPU decoder (its payload holds no usable alpha either); the program
// is still built and made current like the other one.
extern const char kDXT24AlphaShaderSource[];
