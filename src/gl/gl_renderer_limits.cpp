// Renderer limits: one probe context per renderer policy, its answers kept for the process.
#include "gl/gl_renderer_limits.h"

#include <mutex>

#include "gl/gl_context.h"

namespace {

GLRendererLimits Probe(bool acceptSoftware) {
    GLRendererLimits limits;
    const GLRendererPolicy previous = GLContext::ThreadRendererPolicy();
    GLContext::SetThreadRendererPolicy(acceptSoftware ? GLRendererPolicy::kSoftwareAccepted
                                                      : GLRendererPolicy::kHardwareOnly);
    GLContext context;
    if (context.InitContext() && context.ActivateContext()) {
        const GLExtensions& ext = context.extensions;
        limits.available = true;
        limits.renderer = ext.rendererName;
        limits.maxTextureSize = ext.maxTextureSize;
        limits.maxRenderbufferSize = ext.maxRenderbufferSize;
        GLint viewport[2] = {0, 0};
        glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
        limits.maxViewportWidth = viewport[0];
        limits.maxViewportHeight = viewport[1];
        context.DeactivateContext();
    }
    context.DeleteContext();
    GLContext::SetThreadRendererPolicy(previous);
    return limits;
}

} // namespace

const GLRendererLimits& ProbeGLRenderer(bool acceptSoftware) {
    static std::mutex mutex;
    static GLRendererLimits probed[2];
    static bool done[2] = {false, false};
    const std::lock_guard<std::mutex> lock(mutex);
    if (!done[acceptSoftware]) {
        probed[acceptSoftware] = Probe(acceptSoftware);
        done[acceptSoftware] = true;
    }
    return probed[acceptSoftware];
}
