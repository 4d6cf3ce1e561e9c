#!/usr/bin/env bash
# Drives the terminal settings dialog as a person would, inside a detached tmux session:
# choose values with the keys, confirm with Enter, and check the saved preferences file;
# then open it again, change something, leave with Esc, and check nothing was saved.
# With the qzkt tool as a second argument, its dialog (the library's: a fourth compression
# choice) brings DXT1 without LZF back as itself.
# Usage: terminal_dialog_test.sh <settings_dialog_host binary> [qzkt]  (QZKT_SCREEN_OUT=file
# keeps the captured screen)
set -euo pipefail
host=$1
qzkt=${2:-}
source "$(dirname "$0")/../support/tmux_harness.sh" qzkt-tmux

# Each run gets a session of its own on the same server: killing the only session ends the
# server, and a new session started right then can meet the server on its way out.
run_host() {
  session="dialog-$1"
  tmuxc new-session -d -s "$session" -x 100 -y 24 \
    "$host '$work/prefs'; echo EXITED; sleep 30"
  wait_for "QZKT compression settings"
}

# 1. Alpha on (Right), compression choice 3 (Down, 3), one thread per core (Down, 1), OK.
run_host 1
tmuxc send-keys -t "$session" Right
wait_for "< On (DXT5 with alpha) >"
tmuxc send-keys -t "$session" Down 3
wait_for "< DXT24, no LZF >"
tmuxc send-keys -t "$session" Down 1
wait_for "< One per physical core >"
tmuxc capture-pane -p -t "$session" > "$work/screen.txt"
tmuxc send-keys -t "$session" Enter
wait_for "EXITED"
# The pane is captured first: with pipefail, grep -q ending the pipe early would fail it.
screen=$(tmuxc capture-pane -p -t "$session")
grep -q "saved status 0 alpha 1 dxt24 1 noLZF 1 threads 1" <<<"$screen"
expected="01000000010000000100000001000000"
actual=$(od -An -tx1 -v "$work/prefs/KELPreferences.dat" | tr -d ' \n')
[ "$actual" = "$expected" ] || { echo "preferences file: $actual, expected $expected" >&2; exit 1; }

# 2. The dialog shows the saved values; a change left with Esc is not saved.
run_host 2
wait_for "< On (DXT5 with alpha) >"
tmuxc send-keys -t "$session" Left
wait_for "< Off (opaque) >"
tmuxc send-keys -t "$session" Escape
wait_for "EXITED"
screen=$(tmuxc capture-pane -p -t "$session")
grep -q "cancelled status 0 alpha 1 dxt24 1 noLZF 1 threads 1" <<<"$screen"
actual=$(od -An -tx1 -v "$work/prefs/KELPreferences.dat" | tr -d ' \n')
[ "$actual" = "$expected" ] || { echo "cancel changed the file: $actual" >&2; exit 1; }

passed=2
# 3. qzkt settings shows a saved DXT1 without LZF as itself, and Enter keeps it.
if [ -n "$qzkt" ]; then
  "$qzkt" settings --prefs-dir "$work/tool" --set compression=dxt1-nolzf alpha=on >/dev/null
  session=dialog-3
  tmuxc new-session -d -s "$session" -x 100 -y 24 "$qzkt settings --prefs-dir '$work/tool'; echo EXITED; sleep 30"
  wait_for "< DXT1, no LZF >"
  tmuxc send-keys -t "$session" Enter
  wait_for "EXITED"
  shown=$("$qzkt" settings --prefs-dir "$work/tool" --show)
  grep -q "^compression      DXT1, no LZF" <<<"$shown" || { echo "qzkt settings saved: $shown" >&2; exit 1; }
  grep -q "^alpha channel    on" <<<"$shown" || { echo "qzkt settings saved: $shown" >&2; exit 1; }
  passed=3
fi

cat "$work/screen.txt"
if [ -n "${QZKT_SCREEN_OUT:-}" ]; then cp "$work/screen.txt" "$QZKT_SCREEN_OUT"; fi
echo "terminal dialog: $passed passed, 0 failed"
