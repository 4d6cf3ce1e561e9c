// GLContext: the offscreen OpenGL context a decoder instance does its GL work in, together
// with the GLExtensions record filled in that context. The context has no drawable at all:
// drawing goes into framebuffer objects and is read back with glReadPixels.
//
// Calling order: InitContext() once (creates the context and loads `extensions`; later calls
// are no-ops), then around each piece of GL work ActivateContext() ... DeactivateContext() on
// the thread doing the work; at teardown ActivateContext(), release the GL objects,
// DeleteContext(). The destructor releases nothing: call DeleteContext() first.
#pragma once

#include <cstdint>

#include "gl/gl_extensions.h"

// Which renderers InitContext may use on a thread.
enum class GLRendererPolicy {
    kProcessDefault,   // as SetAllowSoftwareRenderer says
    kHardwareOnly,     // a hardware renderer only
    kSoftwareAccepted, // a hardware renderer when there is one, else a software one
};

class GLContext {
  public:
    // Process-wide: whether InitContext may settle for a software renderer (Mesa's llvmpipe,
    // softpipe or swrast) when no hardware renderer is available. Off by default; tests and
    // machines without a GPU turn it on. A hardware renderer is always preferred.
    static void SetAllowSoftwareRenderer(bool allow);
    static bool AllowsSoftwareRenderer();

    // Per thread: the policy InitContext follows on the calling thread, over the process-wide
    // switch (kProcessDefault, the starting value of every thread, defers to it). A host that
    // decodes through a component, which makes its context on the decoding thread during the
    // first GPU frame, sets it around its calls to choose that decoder's renderer.
    static void SetThreadRendererPolicy(GLRendererPolicy policy);
    static GLRendererPolicy ThreadRendererPolicy();
    // Whether InitContext on the calling thread would accept a software renderer now.
    static bool AcceptsSoftwareRendererOnThisThread();

    GLContext() = default;
    // Does nothing: it neither destroys the context nor clears the current context.
    virtual ~GLContext() = default;

    // Creates a desktop OpenGL compatibility-profile context (32-bit colour, 24-bit depth, no
    // sharing, no surface) on a renderer the calling thread's policy accepts, makes it current
    // just long enough to fill `extensions` and `maxTextureSize`, and leaves no context
    // current. True when a context exists on return;
    // a second call returns true at once without refreshing anything. False when no renderer
    // that is allowed could be found; it may be retried later.
    bool InitContext();

    // Makes the context current on the calling thread. False, with no GL state touched, when
    // there is no context (or, which does not happen in practice, EGL refuses it).
    bool ActivateContext();

    // Makes no context current on the calling thread, whichever context that was and whether
    // or not this object has one. On Mesa's software renderers it also releases the thread's
    // EGL state; a thread of a hardware renderer keeps it (its driver rebuilds it at great
    // cost on every activation) until the thread ends.
    void DeactivateContext();

    // Destroys the context, if any. It does not clear the current context: a context still
    // current somewhere goes away when it is released there.
    void DeleteContext();

    // Whether `rendererName` (a GL_RENDERER string) names one of Mesa's software rasterizers.
    static bool IsSoftwareRenderer(const char* rendererName);

    // True between a successful InitContext and DeleteContext.
    bool HasContext() const { return context != nullptr; }
    // The EGL context handle (EGLContext), null while none exists.
    void* NativeContext() const { return context; }

    int32_t maxTextureSize = 0; // copy of extensions.maxTextureSize, taken at InitContext
    GLExtensions extensions;    // driver facts and entry points of this context

  private:
    void* context = nullptr;       // EGLContext
    void* display = nullptr;       // EGLDisplay the context belongs to
    bool softwareRenderer = false; // the context renders on Mesa's software rasterizers
};
