# The harness of the tests that drive a terminal dialog in a detached tmux session, sourced
# by them: a scratch folder ($work) and a tmux server ($socket) that are removed on exit,
# tmuxc to talk to that server, and wait_for TEXT, which waits (at most 10 s) until the pane of
# the current $session shows TEXT. On any failure the failing line and the pane are printed.
# Usage: source tmux_harness.sh <prefix of the scratch folder's name>
work=$(mktemp -d "/tmp/$1-XXXXXX")
socket=$work/tmux.sock
session=""
cleanup() { tmux -S "$socket" kill-server 2>/dev/null || true; rm -rf "$work"; }
trap cleanup EXIT
trap 'echo "failed at line $LINENO" >&2; tmux -S "$socket" capture-pane -p -t "$session" >&2 2>/dev/null || true' ERR

tmuxc() { tmux -S "$socket" "$@"; }

# The pane is captured first: with pipefail, grep -q ending a pipe early would fail it.
wait_for() {
  for _ in $(seq 100); do
    if grep -q -- "$1" <<<"$(tmuxc capture-pane -p -t "$session" 2>/dev/null)"; then return 0; fi
    sleep 0.1
  done
  echo "timed out waiting for: $1" >&2
  tmuxc capture-pane -p -t "$session" >&2 2>/dev/null || true
  return 1
}
