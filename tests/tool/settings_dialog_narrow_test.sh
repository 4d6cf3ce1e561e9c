#!/usr/bin/env bash
# qzkt settings in a 50-column terminal (a detached tmux session), for a user without a
# machine-wide settings folder: no line of the dialog wraps; Enter saves the choice into
# $XDG_CONFIG_HOME/qzkt/; Ctrl-C cancels with status 130 and Esc with status 0, both saving
# nothing. HOME and XDG_CONFIG_HOME point into a temporary folder.
# Usage: settings_dialog_narrow_test.sh <qzkt binary>
set -euo pipefail
qzkt=$1
if [ -e /Library/Preferences/Quenholt ]; then echo "the machine-wide settings folder exists: skipped"; exit 0; fi
source "$(dirname "$0")/../support/tmux_harness.sh" qzkt-narrow-dialog
run_settings() {
  session=$1
  tmuxc new-session -d -s "$session" -x 50 -y 30 \
    "HOME='$work/home' XDG_CONFIG_HOME='$work/config' '$qzkt' settings; echo EXITED \$?; sleep 30"
  wait_for "QZKT compression settings"
}
# Lines joined where the terminal wrapped them: none may be wider than the window.
no_wrapped_lines() {
  local widest
  widest=$(tmuxc capture-pane -p -J -t "$session" | awk '{ if (length($0) > w) w = length($0) } END { print w }')
  [ "$widest" -le 50 ] || { echo "a line of $widest columns in a 50-column terminal" >&2; return 1; }
}
file=$work/config/qzkt/KELPreferences.dat

# 1. Alpha on, then the threads popup (the longest choices), Enter: saved for the user.
run_settings saved
tmuxc send-keys -t "$session" Right
wait_for "< On (DXT5 with alpha) >"
no_wrapped_lines
tmuxc send-keys -t "$session" Down Down 1
wait_for "< One per physical core >"
no_wrapped_lines
tmuxc send-keys -t "$session" Enter
wait_for "EXITED 0"
grep -q "saved to $file" <<<"$(tmuxc capture-pane -p -J -t "$session")"
expected="01000000010000000000000001000000"
actual=$(od -An -tx1 -v "$file" | tr -d ' \n')
[ "$actual" = "$expected" ] || { echo "settings file: $actual, expected $expected" >&2; exit 1; }

# 2. A change, then Ctrl-C: status 130, nothing saved.
run_settings interrupted
tmuxc send-keys -t "$session" Left
wait_for "< Off (opaque) >"
tmuxc send-keys -t "$session" C-c
wait_for "EXITED 130"
actual=$(od -An -tx1 -v "$file" | tr -d ' \n')
[ "$actual" = "$expected" ] || { echo "Ctrl-C changed the file: $actual" >&2; exit 1; }

# 3. A change, then Esc: status 0, nothing saved.
run_settings cancelled
tmuxc send-keys -t "$session" Left
wait_for "< Off (opaque) >"
tmuxc send-keys -t "$session" Escape
wait_for "EXITED 0"
grep -q "settings unchanged" <<<"$(tmuxc capture-pane -p -t "$session")"
actual=$(od -An -tx1 -v "$file" | tr -d ' \n')
[ "$actual" = "$expected" ] || { echo "Esc changed the file: $actual" >&2; exit 1; }
echo "qzkt settings dialog in 50 columns: 3 passed"
