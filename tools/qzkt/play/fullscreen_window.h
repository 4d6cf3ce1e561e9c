// qzkt play --fullscreen: an X11 window covering the screen, asked of the window manager as a
// fullscreen window, for the video sink to draw in (GstVideoOverlay). GStreamer's GL sink has
// no fullscreen mode of its own. The window also reports the keys pressed in it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class FullscreenWindow {
  public:
    // Opens the display named by DISPLAY; throws ToolError when there is none.
    FullscreenWindow();
    ~FullscreenWindow();
    FullscreenWindow(const FullscreenWindow&) = delete;
    FullscreenWindow& operator=(const FullscreenWindow&) = delete;

    uintptr_t handle() const; // the X window, for gst_video_overlay_set_window_handle
    int fd() const;           // the display connection, to watch for events
    // Reads the events waiting and calls onKey with each key's X11 name ("space", "Left").
    void DispatchEvents(const std::function<void(const std::string&)>& onKey);

  private:
    struct State;
    std::unique_ptr<State> state_;
};
