// Front ends of the Dialog Manager: what shows a dialog to a person and turns their choices
// into item hits. One front end serves the whole process; the terminal one is the default.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "dialog_model.h"

class DialogFrontEnd {
  public:
    virtual ~DialogFrontEnd() = default;
    // The dialog's window was shown.
    virtual void DialogShown(DialogRef) {}
    // Waits for the person's next action on dialog and returns the item hit; may change the
    // value of a popup control first (and then return that popup's item).
    virtual int16_t NextItemHit(DialogRef dialog) = 0;
    // The dialog is being disposed of.
    virtual void DialogDisposed(DialogRef) {}
};

// Installs frontEnd for the process (not owned; it must outlive its use). Null restores the
// terminal front end.
void SetDialogFrontEnd(DialogFrontEnd* frontEnd);
DialogFrontEnd* GetDialogFrontEnd();

// Plays back a script of actions, for tests. Each ModalDialog call takes the next action:
// Choose(item, value) sets the popup's value and reports a hit on it; Click(item) reports a
// hit on item. When the script is used up, the dialog's cancel item is hit (or its default
// item when it has no cancel item), so a dialog can never wait for ever.
class ScriptedDialogFrontEnd : public DialogFrontEnd {
  public:
    void Choose(int16_t item, int16_t value) { actions_.push_back({item, value}); }
    void Click(int16_t item) { actions_.push_back({item, kClick}); }

    void DialogShown(DialogRef dialog) override;
    int16_t NextItemHit(DialogRef dialog) override;

    // The control values (index = item - 1, 0 for static text) of each dialog at the first
    // ModalDialog call after it was shown: what the person saw.
    std::vector<std::vector<int16_t>> shownValues;
    int dialogsShown = 0;

  private:
    static constexpr int16_t kClick = INT16_MIN;
    std::vector<std::pair<int16_t, int16_t>> actions_;
    size_t next_ = 0;
    bool snapshotPending_ = false;
};

// The terminal front end (terminal_dialog.cpp): draws the dialog with ANSI text on the
// controlling terminal (/dev/tty, so it works when standard input or output are redirected
// and over SSH) and reads keys in raw mode. Without a terminal every dialog is cancelled.
DialogFrontEnd* TerminalDialogFrontEnd();
