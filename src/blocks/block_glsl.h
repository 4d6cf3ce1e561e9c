// The GLSL decoders of the block kinds, beside the CPU decoders they mirror: fragment shader
// bodies that draw a frame's blocks (as the frame reader, or qzkt_unpack_frame, unpacks them)
// into RGBA pixels on a host's own GPU. The host prepends the version line: "#version 130"
// (desktop OpenGL 3.0 or later) or "#version 300 es" (OpenGL ES 3.0).
//
// Both draw pixel (x, y) of the picture at the fragment whose window coordinates are
// (x + 0.5, y + 0.5): row 0 is the picture's top row and the first row of a texture or
// framebuffer in memory. Their one output is `out vec4 qzkt_rgba` (red, green, blue, alpha).
//
//   DXT24       `uniform usampler2D qzkt_blocks`: an 8-bit unsigned-integer texture (R8UI) of
//               (10 x blocks across) x (blocks down) texels, texel (10 bx + k, by) = byte k of
//               block (bx, by). The palette is the CPU decoder's integer one, (2a + b + 1) / 3
//               and (a + 2b + 1) / 3, so an 8-bit target gets exactly the CPU decoder's bytes.
//   DXT1, DXT5  `uniform sampler2D qzkt_texture`: the blocks uploaded as one compressed
//               texture (GL_COMPRESSED_RGBA_S3TC_DXT1_EXT, or _DXT5_EXT) of (4 x blocks
//               across) x (4 x blocks down) texels, sampled as the GPU samples it; DXT1 as
//               RGBA, so index 3 of a three-colour block is transparent black, as the decoder's
//               own OpenGL path gives it.
#pragma once

#include "block_coders.h"

const char* BlockFragmentShader(BlockKind kind);
