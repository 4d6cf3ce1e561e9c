// What a key does in qzkt play, for keys from the window (X11 key names, as GStreamer's
// navigation events and XKeysymToString name them) and from the terminal (bytes, escape
// sequences for the arrows).
#pragma once

#include <string>
#include <vector>

enum class PlayAction {
    None,
    TogglePause,      // space
    SeekForward,      // Right: 5 s
    SeekBackward,     // Left
    SeekForwardLong,  // Up: 60 s
    SeekBackwardLong, // Down
    StepForward,      // '.' : one frame, paused
    StepBackward,     // ','
    ToggleLoop,       // l
    Stats,            // s
    Quit,             // q, Escape
};

// The action of a key named as X11 names it ("space", "Right", "period", "q"...); None for
// keys that do nothing.
PlayAction ActionForKey(const std::string& name);

// Turns the bytes a terminal sends into key names, keeping an escape sequence that arrives in
// pieces until it is whole.
class TerminalKeys {
  public:
    std::vector<std::string> Feed(const char* bytes, size_t count);

  private:
    std::string pending_; // the start of an escape sequence
};
