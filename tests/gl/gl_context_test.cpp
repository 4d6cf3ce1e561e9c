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

#include "gl/gl_context.h"

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

// A small piece of GL work in `context`: clears and reads back one pixel.
bool DrawSomething(GLContext& context) {
    if (!context.ActivateContext()) return false;
    glClearColor(0.25f, 0.5f, 0.75f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glFinish();
    context.DeactivateContext();
    return true;
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
        ASSERT_TRUE(DrawSomething(context));
        EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "piece " << i;
    }
    EXPECT_EQ(gThreadReleases - before, software ? kPieces : 0);

    // The context was put down, so a second thread can take it up, and this one after it.
    bool drewElsewhere = false;
    std::thread other([&] { drewElsewhere = DrawSomething(context); });
    other.join();
    EXPECT_TRUE(drewElsewhere);
    EXPECT_TRUE(DrawSomething(context));

    ASSERT_TRUE(context.ActivateContext());
    context.DeactivateContext();
    context.DeleteContext();
}

} // namespace
