// The GPU path's size rule, against the limits the renderer reports.
#include "gpu_size_rule.h"

#include <algorithm>
#include <cstdint>

#include "gl/gl_renderer_limits.h"
#include "gl/gl_texture.h"

namespace {

std::string SizeText(int64_t width, int64_t height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

} // namespace

std::string GPUPathProblem(int width, int height, bool acceptSoftware) {
    const GLRendererLimits& limits = ProbeGLRenderer(acceptSoftware);
    if (!limits.available)
        return acceptSoftware ? "no OpenGL renderer, not even a software one"
                              : "no OpenGL renderer (hardware only was asked for)";
    const std::string renderer = "the OpenGL renderer (" + limits.renderer + ")";
    const int blockWidth = (width + 3) / 4 * 4, blockHeight = (height + 3) / 4 * 4;

    const int textureWidth = NextPowerOfTwo(blockWidth), textureHeight = NextPowerOfTwo(blockHeight);
    if (textureWidth > limits.maxTextureSize || textureHeight > limits.maxTextureSize)
        return "the frame needs a " + SizeText(textureWidth, textureHeight) + " texture (" +
               SizeText(blockWidth, blockHeight) + " rounded up to powers of two); " + renderer +
               " allows at most " + std::to_string(limits.maxTextureSize) + " a side";

    int64_t targetLimit = limits.maxTextureSize;
    if (limits.maxRenderbufferSize > 0 && limits.maxRenderbufferSize < targetLimit)
        targetLimit = limits.maxRenderbufferSize;
    const int64_t viewportLimit = std::min<int64_t>(limits.maxViewportWidth, limits.maxViewportHeight);
    if (viewportLimit > 0 && viewportLimit < targetLimit) targetLimit = viewportLimit;
    if (blockWidth > targetLimit || blockHeight > targetLimit)
        return "the frame needs a " + SizeText(blockWidth, blockHeight) + " render target; " + renderer +
               " allows at most " + std::to_string(targetLimit) + " a side";
    return "";
}
