// Whether the decompressor's GPU path can take DXT1/DXT5 frames of a size on this machine's
// OpenGL renderer: the same texture and render-target sizes the frame renderer asks GL for
// (gl_frame_render.cpp with gl/gl_texture.cpp), checked before any frame is drawn so that a
// host can say why instead of getting a blank picture.
#pragma once

#include <string>

// "" when the renderer that acceptSoftware allows can decode width x height frames; otherwise
// why not: no such renderer, or a texture or render target larger than it takes. The blocks go
// to a 2D texture of the block-rounded size rounded up to powers of two, and are drawn into a
// 2D texture of the block-rounded size.
std::string GPUPathProblem(int width, int height, bool acceptSoftware);
