// The terminal dialog front end: plain ANSI text on the controlling terminal, keys read in raw
// mode. Works in any terminal emulator and over SSH; needs no curses.
//
//   Up/Down, Tab/Shift-Tab, k/j   move between popups and buttons
//   Left/Right, h/l, Space        previous / next choice of the focused popup
//   1-9                           that choice of the focused popup
//   Enter                         the focused button, or the default button (OK) on a popup
//   Esc, q                        the cancel button
//   Ctrl-C                        the cancel button, then SIGINT once the terminal is restored,
//                                 so that the program ends as Ctrl-C ends it anywhere else
//                                 (status 130) unless it handles the signal
//
// The layout follows the terminal's width (read at every redraw) and fits 50 columns.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include "dialog_front_end.h"

namespace {

enum class Key { None, Up, Down, Left, Right, Enter, Cancel, Interrupt, Digit, Next, Closed };

class TerminalFrontEnd : public DialogFrontEnd {
  public:
    void DialogShown(DialogRef dialog) override {
        focus_ = FirstFocusable(dialog);
        if (++openDialogs_ > 1) return;
        fd_ = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (fd_ < 0) return;
        rawMode_ = tcgetattr(fd_, &saved_) == 0;
        if (rawMode_) {
            termios raw = saved_;
            raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG | IEXTEN);
            raw.c_iflag &= ~static_cast<tcflag_t>(IXON | ICRNL);
            raw.c_cc[VMIN] = 1;
            raw.c_cc[VTIME] = 0;
            tcsetattr(fd_, TCSAFLUSH, &raw);
        }
        Write("\x1b[?1049h\x1b[?25l"); // alternate screen, cursor hidden
    }

    void DialogDisposed(DialogRef) override {
        if (--openDialogs_ > 0 || fd_ < 0) return;
        Write("\x1b[?25h\x1b[?1049l");
        if (rawMode_) tcsetattr(fd_, TCSAFLUSH, &saved_);
        close(fd_);
        fd_ = -1;
        if (interrupted_) {
            interrupted_ = false;
            raise(SIGINT);
        }
    }

    int16_t NextItemHit(DialogRef dialog) override {
        const int16_t cancel = dialog->cancelItem != 0 ? dialog->cancelItem : dialog->defaultItem;
        if (fd_ < 0) return cancel;
        for (;;) {
            Draw(dialog);
            int digit = 0;
            const Key key = ReadKey(&digit);
            DialogItemRecord* focused = Focused(dialog);
            ControlRecord* popup = focused != nullptr && focused->item.kind == kPopupDialogItem
                                       ? focused->control.get()
                                       : nullptr;
            switch (key) {
            case Key::Interrupt:
                interrupted_ = true;
                return cancel;
            case Key::Closed:
            case Key::Cancel:
                return cancel;
            case Key::Enter:
                return focused != nullptr && focused->item.kind == kButtonDialogItem ? focus_
                                                                                     : dialog->defaultItem;
            case Key::Up:
                MoveFocus(dialog, -1);
                break;
            case Key::Down:
                MoveFocus(dialog, +1);
                break;
            case Key::Left:
            case Key::Right:
            case Key::Next:
                if (popup != nullptr) {
                    int16_t value = popup->value;
                    if (key == Key::Left)
                        value = static_cast<int16_t>(value > popup->minimum ? value - 1 : value);
                    if (key == Key::Right)
                        value = static_cast<int16_t>(value < popup->maximum ? value + 1 : value);
                    if (key == Key::Next)
                        value = static_cast<int16_t>(value < popup->maximum ? value + 1 : popup->minimum);
                    if (value != popup->value) {
                        popup->value = value;
                        return focus_;
                    }
                }
                break;
            case Key::Digit:
                if (popup != nullptr && digit >= popup->minimum && digit <= popup->maximum) {
                    popup->value = static_cast<int16_t>(digit);
                    return focus_;
                }
                break;
            case Key::None:
                break;
            }
        }
    }

  private:
    static bool Focusable(const DialogItemRecord& record) { return record.control != nullptr; }

    static int16_t FirstFocusable(DialogRef dialog) {
        for (size_t i = 0; i < dialog->items.size(); ++i)
            if (dialog->items[i].item.kind == kPopupDialogItem) return static_cast<int16_t>(i + 1);
        return dialog->defaultItem;
    }

    DialogItemRecord* Focused(DialogRef dialog) const {
        if (focus_ < 1 || focus_ > static_cast<int16_t>(dialog->items.size())) return nullptr;
        return &dialog->items[static_cast<size_t>(focus_ - 1)];
    }

    // Focus order: popups top to bottom, then the buttons.
    std::vector<int16_t> FocusOrder(DialogRef dialog) const {
        std::vector<int16_t> order;
        for (DialogItemKind kind : {kPopupDialogItem, kButtonDialogItem})
            for (size_t i = 0; i < dialog->items.size(); ++i)
                if (dialog->items[i].item.kind == kind && Focusable(dialog->items[i]))
                    order.push_back(static_cast<int16_t>(i + 1));
        return order;
    }

    void MoveFocus(DialogRef dialog, int step) {
        const std::vector<int16_t> order = FocusOrder(dialog);
        if (order.empty()) return;
        size_t at = 0;
        while (at < order.size() && order[at] != focus_)
            ++at;
        if (at == order.size()) at = 0;
        at = (at + (step > 0 ? 1 : order.size() - 1)) % order.size();
        focus_ = order[at];
    }

    // The columns a line may fill: the terminal's width less one (a line that fills the last
    // column wraps on some terminals), at most 78.
    size_t Columns() const {
        winsize size{};
        const size_t width = ioctl(fd_, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
        return std::min<size_t>(width > 1 ? width - 1 : 1, 78);
    }

    // The focused popup's choices as "[n] text", wrapped under its value at columns.
    static std::string ChoiceLines(const std::vector<std::string>& choices, size_t indent, size_t columns) {
        std::string lines, line(indent, ' ');
        for (size_t c = 0; c < choices.size(); ++c) {
            const std::string choice = "[" + std::to_string(c + 1) + "] " + choices[c] + "  ";
            if (line.size() + choice.size() > columns + 2 && line.size() > indent) {
                lines += line + "\r\n";
                line.assign(indent, ' ');
            }
            line += choice;
        }
        return lines + line + "\r\n";
    }

    void Draw(DialogRef dialog) {
        const size_t columns = Columns();
        const size_t rule =
            std::min(dialog->title.size() < 20 ? 40 : dialog->title.size(), columns > 2 ? columns - 2 : 1);
        std::string screen =
            "\x1b[H\x1b[2J\r\n  " + dialog->title + "\r\n  " + std::string(rule, '=') + "\r\n\r\n";
        size_t labelWidth = 0;
        for (const DialogItemRecord& record : dialog->items)
            if (record.item.kind == kPopupDialogItem)
                labelWidth = std::max(labelWidth, record.item.title.size());
        std::string buttons;
        for (size_t i = 0; i < dialog->items.size(); ++i) {
            const DialogItemRecord& record = dialog->items[i];
            const bool focused = static_cast<int16_t>(i + 1) == focus_;
            const std::string on = focused ? "\x1b[7m" : "", off = focused ? "\x1b[0m" : "";
            if (record.item.kind == kPopupDialogItem) {
                const int16_t value = record.control->value;
                const std::string choice =
                    value >= 1 && value <= static_cast<int16_t>(record.item.choices.size())
                        ? record.item.choices[static_cast<size_t>(value - 1)]
                        : std::string("?");
                const std::string label = std::string(focused ? "> " : "  ") + record.item.title + ":" +
                                          std::string(labelWidth + 2 - record.item.title.size(), ' ');
                const std::string shown = "< " + choice + " >";
                const std::string position =
                    "  (" + std::to_string(value) + " of " + std::to_string(record.item.choices.size()) + ")";
                // The position goes where the line has no room for it: the choices below
                // number them anyway.
                screen += label + on + shown + off +
                          (label.size() + shown.size() + position.size() <= columns ? position : "") + "\r\n";
                if (focused) {
                    size_t longest = 0;
                    for (const std::string& c : record.item.choices)
                        longest = std::max(longest, c.size() + 4);
                    const size_t indent = labelWidth + 5 + longest <= columns ? labelWidth + 5 : 4;
                    screen += ChoiceLines(record.item.choices, indent, columns);
                }
            } else if (record.item.kind == kButtonDialogItem) {
                const bool isDefault = static_cast<int16_t>(i + 1) == dialog->defaultItem;
                buttons += "  " + on + (isDefault ? "[[ " : "[ ") + record.item.title +
                           (isDefault ? " ]]" : " ]") + off;
            } else {
                screen += "  " + record.item.title + "\r\n";
            }
        }
        screen += "\r\n" + buttons + "\r\n\r\n";
        const std::string keys = "  Up/Down: move   Left/Right or 1-9: choose",
                          ends = "   Enter: OK   Esc: Cancel";
        screen +=
            keys.size() + ends.size() <= columns ? keys + ends + "\r\n" : keys + "\r\n " + ends + "\r\n";
        Write(screen);
    }

    Key ReadKey(int* digit) {
        unsigned char c;
        if (!ReadByte(&c, -1)) return Key::Closed;
        switch (c) {
        case '\r':
        case '\n':
            return Key::Enter;
        case 3: // Ctrl-C
            return Key::Interrupt;
        case 'q':
        case 'Q':
            return Key::Cancel;
        case '\t':
        case 'j':
            return Key::Down;
        case 'k':
            return Key::Up;
        case 'h':
            return Key::Left;
        case 'l':
            return Key::Right;
        case ' ':
            return Key::Next;
        case 0x1b:
            return ReadEscape();
        default:
            if (c >= '1' && c <= '9') {
                *digit = c - '0';
                return Key::Digit;
            }
            return Key::None;
        }
    }

    // An Esc alone is Cancel; Esc [ X or Esc O X are the arrow keys (and Shift-Tab).
    Key ReadEscape() {
        unsigned char c;
        if (!ReadByte(&c, 50)) return Key::Cancel;
        if (c != '[' && c != 'O') return Key::None;
        unsigned char final = 0;
        while (ReadByte(&final, 50) && !(final >= 0x40 && final <= 0x7E)) {
        }
        switch (final) {
        case 'A':
            return Key::Up;
        case 'B':
            return Key::Down;
        case 'C':
            return Key::Right;
        case 'D':
            return Key::Left;
        case 'Z':
            return Key::Up;
        default:
            return Key::None;
        }
    }

    // Reads one byte, waiting at most timeoutMs (-1: for ever). False on timeout or end of input.
    bool ReadByte(unsigned char* c, int timeoutMs) {
        pollfd p = {fd_, POLLIN, 0};
        for (;;) {
            const int ready = poll(&p, 1, timeoutMs);
            if (ready < 0 && errno == EINTR) continue;
            if (ready <= 0) return false;
            const ssize_t got = read(fd_, c, 1);
            if (got < 0 && errno == EINTR) continue;
            return got == 1;
        }
    }

    void Write(const std::string& text) {
        size_t done = 0;
        while (fd_ >= 0 && done < text.size()) {
            const ssize_t wrote = write(fd_, text.data() + done, text.size() - done);
            if (wrote < 0 && errno == EINTR) continue;
            if (wrote <= 0) return;
            done += static_cast<size_t>(wrote);
        }
    }

    int fd_ = -1;
    bool rawMode_ = false;
    termios saved_{};
    int openDialogs_ = 0;
    bool interrupted_ = false; // Ctrl-C ended the dialog: SIGINT follows its disposal
    int16_t focus_ = 0;
};

} // namespace

DialogFrontEnd* TerminalDialogFrontEnd() {
    static TerminalFrontEnd frontEnd;
    return &frontEnd;
}
