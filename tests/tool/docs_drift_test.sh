#!/usr/bin/env bash
# The man page and the bash completion against the tool itself: every command that
# `qzkt --help` lists, and every option that `qzkt COMMAND --help` lists, must be described in
# that command's section of the man page and offered by the completion after `qzkt COMMAND -`.
# On failure it names what is missing, so that new options get documented.
# Usage: docs_drift_test.sh <qzkt> <qzkt.1> <completion file>
set -uo pipefail
qzkt=$1
manpage=$2
completion=$3

# The command names: the lines of the "commands:" block of the tool's usage.
commands=$("$qzkt" --help | sed -n '/^commands:/,/^$/p' | sed -n 's/^  \([a-z][a-z-]*\) .*/\1/p')
[ -n "$commands" ] || { echo "no commands found in qzkt --help" >&2; exit 1; }

# The options of one command: on the lines of its help that start with an option, the options
# named before the description (which begins after two spaces), such as "--threads N|auto" or
# ffmpeg's "-c:v".
options_of() {
    "$qzkt" "$1" --help | grep -E '^  -' | sed -E 's/^  //; s/  .*//' |
        grep -oE '(^|[ ,/])--?[A-Za-z][A-Za-z0-9:_-]*' | sed -E 's/^[ ,/]//' | sort -u
}

# The man page section of one command (from its .SS line to the next .SS or .SH), with roff's
# \- written as -.
man_section() {
    awk -v command="$1" '
        /^\.S[SH] / { inside = ($1 == ".SS" && index($0, "\"qzkt " command) == 1 + length(".SS ")) }
        inside' "$manpage" | sed 's/\\-/-/g'
}

# What the completion offers after `qzkt WORDS...` with the cursor on the last word.
complete_words() {
    bash -c '
        source "$1"; shift
        COMP_WORDS=(qzkt "$@"); COMP_CWORD=$#
        _qzkt qzkt "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf "%s\n" "${COMPREPLY[@]}"' _ "$completion" "$@"
}

missing=()
offered_commands=$(complete_words "")
for command in $commands; do
    grep -qx -- "$command" <<<"$offered_commands" || missing+=("completion: command '$command'")
    section=$(man_section "$command")
    if [ -z "$section" ]; then
        missing+=("man page: no section .SS \"qzkt $command ...\"")
    fi
    offered=$(complete_words "$command" -)
    options=$(options_of "$command") || true
    for option in $options; do
        grep -qE -- "(^|[^A-Za-z0-9-])${option}([^A-Za-z0-9-]|\$)" <<<"$section" ||
            missing+=("man page: qzkt $command $option")
        grep -qx -- "$option" <<<"$offered" || missing+=("completion: qzkt $command $option")
    done
done

# Values: the KEY=VALUE pairs after settings --set (the second pair too), and -c:v's encoders.
pairs=$(complete_words settings --set "")
grep -qx "compression=dxt1-nolzf" <<<"$pairs" || missing+=("completion: qzkt settings --set KEY=VALUE")
pairs=$(complete_words settings --set alpha=on thr)
grep -qx "threads=auto" <<<"$pairs" || missing+=("completion: a second qzkt settings --set pair")
grep -qx "ffv1" <<<"$(complete_words decode -c:v "")" || missing+=("completion: qzkt decode -c:v NAME")
grep -qx "ffv1" <<<"$(complete_words decode -c : v "")" || missing+=("completion: -c:v split by bash")

if [ ${#missing[@]} -gt 0 ]; then
    echo "the man page ($manpage) or the completion ($completion) lacks what qzkt --help lists:" >&2
    printf '  %s\n' "${missing[@]}" >&2
    exit 1
fi
echo "man page and completion cover every command and option: $(echo $commands)"
