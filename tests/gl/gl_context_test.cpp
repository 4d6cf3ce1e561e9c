// GLContext's hand-over between pieces of GL work: after DeactivateContext no context is
// current on the thread, and another thread can take the context up; the thread's EGL state
// is put down after each piece of work on Mesa's software renderers and kept on a hardware
// renderer, whose driver rebuilds it at the next eglMakeCurrent at great cost.
#include <EGL/egl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "gl/gl_context.h"
#include "gl/gl_fbo.h"

namespace {
std::atomic<int> gThreadReleases{0};
} // namespace

// Stands in for libEGL's eglReleaseThread in this program, counting the calls the GL layer
// makes before passing them on.
extern "C" EGLBoolean eglReleaseThread(void) {
    ++gThreadReleases;
    using Function = EGLBoolean (*)();
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "eglReleaseThread"));
    return real != nullptr ? real() : EGL_FALSE;
}

namespace {

// A small piece of GL work in `context`: clears a framebuffer to `red` and reads back that
// pixel's red byte, or -1 when the context could not be made current.
int DrawSomething(GLContext& context, int red = 64) {
    if (!context.ActivateContext()) return -1;
    GLExtensions& ext = context.extensions;
    GLFBOClass framebuffer;
    unsigned char pixel[4] = {};
    if (framebuffer.Create(4, 4, 0, 0, ext) && framebuffer.BindAsRenderTarget(ext)) {
        glViewport(0, 0, 4, 4);
        glClearColor(static_cast<float>(red) / 255.0f, 0.5f, 0.75f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        glReadPixels(1, 1, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
        framebuffer.UnbindAsRenderTarget(ext);
    }
    framebuffer.FreeResources(ext);
    context.DeactivateContext();
    return pixel[0];
}

TEST(GLContextHandOver, NothingStaysCurrentAndTheThreadStateGoesOnlyOnSoftware) {
    GLContext::SetAllowSoftwareRenderer(true);
    GLContext context;
    ASSERT_TRUE(context.InitContext());
    ASSERT_TRUE(context.ActivateContext());
    const std::string renderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
    context.DeactivateContext();
    SCOPED_TRACE(renderer);
    const bool software = GLContext::IsSoftwareRenderer(renderer.c_str());

    const int before = gThreadReleases;
    constexpr int kPieces = 5;
    for (int i = 0; i < kPieces; ++i) {
        ASSERT_EQ(DrawSomething(context, 10 * i + 5), 10 * i + 5);
        EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "piece " << i;
    }
    EXPECT_EQ(gThreadReleases - before, software ? kPieces : 0);

    // The context was put down, so a second thread can take it up, and this one after it.
    int drewElsewhere = -1;
    std::thread other([&] { drewElsewhere = DrawSomething(context, 77); });
    other.join();
    EXPECT_EQ(drewElsewhere, 77);
    EXPECT_EQ(DrawSomething(context, 99), 99);

    ASSERT_TRUE(context.ActivateContext());
    context.DeactivateContext();
    context.DeleteContext();
}

// Decoders on several threads at once each have a context of their own: every thread keeps
// drawing its own colour, piece after piece, while the others do the same.
TEST(GLContextHandOver, ContextsOnSeveralThreadsAtOnce) {
    GLContext::SetAllowSoftwareRenderer(true);
    constexpr int kThreads = 4, kPieces = 20;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &wrong] {
            GLContext context;
            if (!context.InitContext()) {
                ++wrong;
                return;
            }
            for (int i = 0; i < kPieces; ++i)
                if (DrawSomething(context, 40 * t + i + 1) != 40 * t + i + 1) ++wrong;
            if (eglGetCurrentContext() != EGL_NO_CONTEXT) ++wrong;
            context.ActivateContext();
            context.DeactivateContext();
            context.DeleteContext();
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
