// qzkt play's keys, from the window and from the terminal.
#include "play/play_keys.h"

#include <cstring>

PlayAction ActionForKey(const std::string& name) {
    struct Binding {
        const char* key;
        PlayAction action;
    };
    static const Binding kBindings[] = {
        {"space", PlayAction::TogglePause},
        {"Right", PlayAction::SeekForward},
        {"Left", PlayAction::SeekBackward},
        {"Up", PlayAction::SeekForwardLong},
        {"Down", PlayAction::SeekBackwardLong},
        {"period", PlayAction::StepForward},
        {"comma", PlayAction::StepBackward},
        {"l", PlayAction::ToggleLoop},
        {"L", PlayAction::ToggleLoop},
        {"s", PlayAction::Stats},
        {"S", PlayAction::Stats},
        {"q", PlayAction::Quit},
        {"Q", PlayAction::Quit},
        {"Escape", PlayAction::Quit},
    };
    for (const Binding& binding : kBindings)
        if (name == binding.key) return binding.action;
    return PlayAction::None;
}

std::vector<std::string> TerminalKeys::Feed(const char* bytes, size_t count) {
    // The arrows' sequences in both cursor modes (ESC [ X and ESC O X).
    struct Sequence {
        const char* bytes;
        const char* key;
    };
    static const Sequence kSequences[] = {{"\033[A", "Up"},    {"\033[B", "Down"}, {"\033[C", "Right"},
                                          {"\033[D", "Left"},  {"\033OA", "Up"},   {"\033OB", "Down"},
                                          {"\033OC", "Right"}, {"\033OD", "Left"}};
    std::vector<std::string> keys;
    for (size_t i = 0; i < count; ++i) {
        const char c = bytes[i];
        if (!pending_.empty() || c == '\033') {
            pending_ += c;
            bool prefix = false;
            for (const Sequence& sequence : kSequences) {
                if (pending_ == sequence.bytes) {
                    keys.push_back(sequence.key);
                    pending_.clear();
                    prefix = false;
                    break;
                }
                if (std::strncmp(sequence.bytes, pending_.c_str(), pending_.size()) == 0) prefix = true;
            }
            if (pending_.empty() || prefix) continue;
            // A sequence of another key (F1, Home...): dropped.
            pending_.clear();
            continue;
        }
        switch (c) {
        case ' ':
            keys.push_back("space");
            break;
        case '.':
            keys.push_back("period");
            break;
        case ',':
            keys.push_back("comma");
            break;
        case '\n':
        case '\r':
            break;
        default:
            keys.push_back(std::string(1, c));
        }
    }
    // Escape on its own: terminals send a sequence in one piece, so an escape that ends what
    // was read is the key itself.
    if (pending_ == "\033") {
        keys.push_back("Escape");
        pending_.clear();
    }
    return keys;
}
