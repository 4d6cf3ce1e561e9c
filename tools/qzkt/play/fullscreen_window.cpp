// qzkt play's fullscreen window on X11.
#include "play/fullscreen_window.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include "cli/tool_error.h"

struct FullscreenWindow::State {
    Display* display = nullptr;
    Window window = 0;
};

FullscreenWindow::FullscreenWindow() : state_(new State) {
    state_->display = XOpenDisplay(nullptr);
    if (state_->display == nullptr)
        throw ToolError("--fullscreen needs an X11 display, and none could be opened (is DISPLAY set?)");
    Display* display = state_->display;
    const int screen = DefaultScreen(display);
    state_->window = XCreateSimpleWindow(display, RootWindow(display, screen), 0, 0,
                                         DisplayWidth(display, screen), DisplayHeight(display, screen), 0,
                                         BlackPixel(display, screen), BlackPixel(display, screen));
    XStoreName(display, state_->window, "qzkt play");
    XSelectInput(display, state_->window, KeyPressMask);
    // _NET_WM_STATE_FULLSCREEN set before the window is mapped: the window manager shows it
    // without decorations over everything. Without a window manager it simply covers the screen.
    Atom state = XInternAtom(display, "_NET_WM_STATE", False);
    Atom fullscreen = XInternAtom(display, "_NET_WM_STATE_FULLSCREEN", False);
    XChangeProperty(display, state_->window, state, XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(&fullscreen), 1);
    XMapRaised(display, state_->window);
    XFlush(display);
}

FullscreenWindow::~FullscreenWindow() {
    XDestroyWindow(state_->display, state_->window);
    XCloseDisplay(state_->display);
}

uintptr_t FullscreenWindow::handle() const {
    return static_cast<uintptr_t>(state_->window);
}

int FullscreenWindow::fd() const {
    return ConnectionNumber(state_->display);
}

void FullscreenWindow::DispatchEvents(const std::function<void(const std::string&)>& onKey) {
    while (XPending(state_->display) > 0) {
        XEvent event;
        XNextEvent(state_->display, &event);
        if (event.type != KeyPress) continue;
        const KeySym symbol = XLookupKeysym(&event.xkey, 0);
        const char* name = XKeysymToString(symbol);
        if (name != nullptr) onKey(name);
    }
}
