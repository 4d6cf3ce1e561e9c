#!/usr/bin/env bash
# The compressor's settings dialog through qzkt_settings_dialog, driven in a detached tmux
# session: a confirmed choice is saved into a folder that did not exist; a confirmed choice
# that cannot be saved is reported (QZKT_SETTINGS_NOT_SAVED, 7); without a terminal the dialog
# is cancelled at once.
# Usage: settings_dialog_test.sh <library_dialog_host binary>
set -euo pipefail
host=$1
source "$(dirname "$0")/../support/tmux_harness.sh" qzkt-api-dialog
run_host() { # session name, settings folder
  session=$1
  tmuxc new-session -d -s "$session" -x 100 -y 24 "$host '$2'; echo EXITED; sleep 30"
  wait_for "QZKT compression settings"
}

# 1. Alpha on, Enter: saved in a new folder (with its parents).
run_host saved "$work/prefs/deeper"
tmuxc send-keys -t "$session" Right
wait_for "< On (DXT5 with alpha) >"
tmuxc send-keys -t "$session" Enter
wait_for "EXITED"
screen=$(tmuxc capture-pane -p -t "$session")
grep -q "result 0 saved 1 alpha 1 dxt24 1 no_lzf 0 threads 2" <<<"$screen"
actual=$(od -An -tx1 -v "$work/prefs/deeper/KELPreferences.dat" | tr -d ' \n')
[ "$actual" = "01000000010000000000000002000000" ] || { echo "settings file: $actual" >&2; exit 1; }

# 2. Enter, but the folder cannot exist (its parent is a file): reported, not silent.
echo "a file" >"$work/file"
run_host unsaved "$work/file/prefs"
tmuxc send-keys -t "$session" Enter
wait_for "EXITED"
grep -q "result 7 saved 0" <<<"$(tmuxc capture-pane -p -t "$session")"

# 3. No controlling terminal: cancelled at once.
output=$(setsid -w "$host" "$work/prefs/deeper" </dev/null 2>&1)
grep -q "result 0 saved 0 alpha 1 dxt24 1 no_lzf 0 threads 2" <<<"$output" || { echo "$output" >&2; exit 1; }
echo "settings dialog through the library: 3 passed"
