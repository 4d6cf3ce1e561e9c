// GLContext on EGL, and every other EGL call of the GL layer: an offscreen desktop-OpenGL
// context without any surface, on the device platform (EGL_EXT_platform_device) or, where EGL
// cannot enumerate devices, the surfaceless platform (EGL_MESA_platform_surfaceless).
#include "gl/gl_context.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <atomic>
#include <cstring>
#include <dlfcn.h>

#include "gl/gl_library.h"

namespace {

std::atomic<bool> gAllowSoftwareRenderer{false};
thread_local GLRendererPolicy tRendererPolicy = GLRendererPolicy::kProcessDefault;

// Most EGL devices we consider; machines have a handful (each GPU plus Mesa's software device).
constexpr int kMaxDevices = 16;

// A display to try, and whether EGL already told us it renders in software.
struct Candidate {
    EGLDisplay display;
    bool software;
};

struct PlatformEntryPoints {
    PFNEGLGETPLATFORMDISPLAYEXTPROC getPlatformDisplay = nullptr;
    PFNEGLQUERYDEVICESEXTPROC queryDevices = nullptr;
    PFNEGLQUERYDEVICESTRINGEXTPROC queryDeviceString = nullptr;
};

// True when the space-separated list `extensions` holds `name` as a whole word.
bool HasExtension(const char* extensions, const char* name) {
    if (extensions == nullptr) return false;
    const size_t length = std::strlen(name);
    for (const char* p = extensions; (p = std::strstr(p, name)) != nullptr; p += length) {
        const bool starts = p == extensions || p[-1] == ' ';
        const bool ends = p[length] == '\0' || p[length] == ' ';
        if (starts && ends) return true;
    }
    return false;
}

template <typename Function> Function LoadEgl(const char* name) {
    return reinterpret_cast<Function>(eglGetProcAddress(name));
}

const PlatformEntryPoints& Platform() {
    static const PlatformEntryPoints entryPoints = [] {
        PlatformEntryPoints e;
        e.getPlatformDisplay = LoadEgl<PFNEGLGETPLATFORMDISPLAYEXTPROC>("eglGetPlatformDisplayEXT");
        e.queryDevices = LoadEgl<PFNEGLQUERYDEVICESEXTPROC>("eglQueryDevicesEXT");
        e.queryDeviceString = LoadEgl<PFNEGLQUERYDEVICESTRINGEXTPROC>("eglQueryDeviceStringEXT");
        return e;
    }();
    return entryPoints;
}

// The displays to try, hardware devices first. Mesa marks its software device with
// EGL_MESA_device_software; the renderer string is checked as well once a context exists,
// since a device whose driver is missing can still end up on a software rasterizer.
int FindCandidates(Candidate (&candidates)[kMaxDevices]) {
    const PlatformEntryPoints& egl = Platform();
    const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    if (egl.getPlatformDisplay == nullptr) return 0;

    int count = 0;
    if (HasExtension(client, "EGL_EXT_platform_device") && egl.queryDevices != nullptr &&
        egl.queryDeviceString != nullptr) {
        EGLDeviceEXT devices[kMaxDevices];
        EGLint deviceCount = 0;
        if (!egl.queryDevices(kMaxDevices, devices, &deviceCount)) deviceCount = 0;
        for (int pass = 0; pass < 2; ++pass) {
            const bool wantSoftware = pass == 1;
            for (EGLint i = 0; i < deviceCount; ++i) {
                const bool software = HasExtension(egl.queryDeviceString(devices[i], EGL_EXTENSIONS),
                                                   "EGL_MESA_device_software");
                if (software != wantSoftware) continue;
                EGLDisplay display = egl.getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
                if (display != EGL_NO_DISPLAY) candidates[count++] = {display, software};
            }
        }
    } else if (HasExtension(client, "EGL_MESA_platform_surfaceless")) {
        EGLDisplay display =
            egl.getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (display != EGL_NO_DISPLAY) candidates[count++] = {display, false};
    }
    return count;
}

// Creates a compatibility-profile context on `display` and makes it current, or returns
// EGL_NO_CONTEXT. The display stays initialised either way: displays are shared by every
// context on the same device, and terminating one would pull the rug from under other
// decoder instances, so they live until the process ends.
EGLContext CreateCurrentContext(EGLDisplay display) {
    if (!eglInitialize(display, nullptr, nullptr)) return EGL_NO_CONTEXT;
    if (!HasExtension(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context")) {
        return EGL_NO_CONTEXT;
    }
    if (!eglBindAPI(EGL_OPENGL_API)) return EGL_NO_CONTEXT;

    // The config only fixes the colour and depth sizes; no surface is ever made from it.
    const EGLint configAttributes[] = {
        EGL_RED_SIZE,     8, EGL_GREEN_SIZE, 8,  EGL_BLUE_SIZE,       8,
        EGL_ALPHA_SIZE,   8, EGL_DEPTH_SIZE, 24, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT,
        EGL_SURFACE_TYPE, 0, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint configCount = 0;
    if (!eglChooseConfig(display, configAttributes, &config, 1, &configCount) || configCount < 1) {
        return EGL_NO_CONTEXT;
    }

    const EGLint contextAttributes[] = {EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                        EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT, EGL_NONE};
    EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, contextAttributes);
    if (context == EGL_NO_CONTEXT) return EGL_NO_CONTEXT;
    if (!eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context)) {
        eglDestroyContext(display, context);
        return EGL_NO_CONTEXT;
    }
    return context;
}

// Puts down whatever context is current on this thread and, with releaseThread, the thread's
// EGL state too, so that the thread keeps none between frames. On Mesa's software renderers
// a thread that still held that state would free it on its way out; when that happens while
// the process exits, as a GStreamer streaming thread ending beside gst-launch's exit does, it
// races EGL's own teardown, which corrupted the heap (glibc's "malloc_consolidate(): invalid
// chunk size") in about one exit in 200 on llvmpipe. There the release costs nothing
// measurable. A hardware driver rebuilds the state at the next eglMakeCurrent instead, which
// made a 1080p DXT1 frame cost 36.5 ms on NVIDIA's driver (an H100) against 2.5 ms without
// the release (23 ms of it in eglMakeCurrent, 9 ms in eglReleaseThread): a thread of a
// hardware renderer keeps its state until it ends.
void ClearCurrentContext(bool releaseThread) {
    EGLDisplay current = eglGetCurrentDisplay();
    if (current != EGL_NO_DISPLAY) eglMakeCurrent(current, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (releaseThread) eglReleaseThread();
}

} // namespace

void GLContext::SetAllowSoftwareRenderer(bool allow) {
    gAllowSoftwareRenderer = allow;
}

bool GLContext::AllowsSoftwareRenderer() {
    return gAllowSoftwareRenderer;
}

void GLContext::SetThreadRendererPolicy(GLRendererPolicy policy) {
    tRendererPolicy = policy;
}

GLRendererPolicy GLContext::ThreadRendererPolicy() {
    return tRendererPolicy;
}

bool GLContext::AcceptsSoftwareRendererOnThisThread() {
    switch (tRendererPolicy) {
    case GLRendererPolicy::kHardwareOnly:
        return false;
    case GLRendererPolicy::kSoftwareAccepted:
        return true;
    case GLRendererPolicy::kProcessDefault:
        break;
    }
    return AllowsSoftwareRenderer();
}

bool GLContext::IsSoftwareRenderer(const char* rendererName) {
    // Mesa's rasterizers name themselves in GL_RENDERER ("llvmpipe (LLVM 15.0.6, 256 bits)").
    static const char* const kSoftwareRenderers[] = {"llvmpipe", "softpipe", "swrast", "Software Rasterizer"};
    if (rendererName == nullptr) return false;
    for (const char* software : kSoftwareRenderers) {
        if (std::strstr(rendererName, software) != nullptr) return true;
    }
    return false;
}

bool GLContext::InitContext() {
    if (context != nullptr) return true;

    const bool allowSoftware = AcceptsSoftwareRendererOnThisThread();
    Candidate candidates[kMaxDevices];
    const int count = FindCandidates(candidates);
    for (int i = 0; i < count; ++i) {
        if (candidates[i].software && !allowSoftware) continue;
        EGLContext created = CreateCurrentContext(candidates[i].display);
        if (created == EGL_NO_CONTEXT) continue;
        const bool software = IsSoftwareRenderer(reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
        if (software && !allowSoftware) {
            ClearCurrentContext(true);
            eglDestroyContext(candidates[i].display, created);
            continue;
        }
        context = created;
        display = candidates[i].display;
        softwareRenderer = software;
        extensions.Initialize();
        maxTextureSize = extensions.maxTextureSize;
        ClearCurrentContext(software);
        return true;
    }
    return false;
}

bool GLContext::ActivateContext() {
    if (context == nullptr) return false;
    // The bound API is per thread; the decoder may activate on a thread that never bound it.
    eglBindAPI(EGL_OPENGL_API);
    return eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context) == EGL_TRUE;
}

void GLContext::DeactivateContext() {
    ClearCurrentContext(softwareRenderer);
}

void GLContext::DeleteContext() {
    if (context == nullptr) return;
    EGLContext old = context;
    context = nullptr;
    eglDestroyContext(display, old);
}

void* LookUpGLFunction(const char* name) {
    // The GL library is already loaded (we link it); this only takes a handle on it.
    static void* const library = [] {
        void* handle = dlopen("libGL.so.1", RTLD_LAZY | RTLD_NOLOAD);
        return handle != nullptr ? handle : dlopen("libGL.so.1", RTLD_LAZY);
    }();
    if (library == nullptr || name == nullptr) return nullptr;

    // eglGetProcAddress hands out a dispatch stub for any name that starts with "gl", defined
    // or not, so the library's export table decides whether the function exists; the address
    // itself comes from EGL, which knows the entry the current API dispatches to.
    void* exported = dlsym(library, name);
    if (exported == nullptr) return nullptr;
    void* dispatched = reinterpret_cast<void*>(eglGetProcAddress(name));
    return dispatched != nullptr ? dispatched : exported;
}
