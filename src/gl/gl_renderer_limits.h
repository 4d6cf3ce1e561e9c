// The size limits of the OpenGL renderer that a GLContext would be made on, found by making
// one: what a host checks before it hands a frame to the GPU path, so that a frame larger
// than the renderer can hold is reported instead of drawn as nothing.
#pragma once

#include <cstdint>
#include <string>

struct GLRendererLimits {
    bool available = false;          // a context could be made
    std::string renderer;            // GL_RENDERER ("llvmpipe (LLVM 15.0.6, 256 bits)")
    int32_t maxTextureSize = 0;      // GL_MAX_TEXTURE_SIZE, a side of a 2D texture
    int32_t maxRenderbufferSize = 0; // GL_MAX_RENDERBUFFER_SIZE, 0 where not reported
    int32_t maxViewportWidth = 0;    // GL_MAX_VIEWPORT_DIMS
    int32_t maxViewportHeight = 0;
};

// The limits of the renderer InitContext picks when software renderers are (or are not)
// accepted. The first call for each value makes a context on the calling thread, reads the
// limits and deletes it (a few milliseconds; no context is current afterwards); the answer is
// kept for the life of the process. Thread-safe.
const GLRendererLimits& ProbeGLRenderer(bool acceptSoftware);
