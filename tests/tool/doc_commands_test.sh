#!/usr/bin/env bash
# Every command that README.md's code blocks and the man page's EXAMPLES show is run as
# written, each in a fresh folder holding the files the examples name (input.mp4 at 1920x1080
# and 30000/1001 fps with AAC audio, other.mp4, frames_%04d.png, shots/*.png, clip.mov,
# other.mov), with the built tool first on PATH and HOME in the scratch folder. Commands that
# need what a test machine lacks are named below with the suite that covers them instead.
# Usage: doc_commands_test.sh <qzkt> <README.md> <qzkt.1> <gst plugin folder>
set -uo pipefail
qzkt=$1
readme=$2
manpage=$3
plugins=$(realpath "$4")

work=$(mktemp -d "${TMPDIR:-/tmp}/qzkt-doc-commands.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/bin" "$work/fixtures" "$work/home"
ln -s "$(realpath "$qzkt")" "$work/bin/qzkt"
# ffplay shows a window: here it reads the same input, with the same options, to nowhere.
cat >"$work/bin/ffplay" <<'EOF'
#!/usr/bin/env bash
input=${!#}
exec ffmpeg -hide_banner -v error -nostdin "${@:1:$#-1}" -i "$input" -f null -
EOF
chmod +x "$work/bin/ffplay"
export PATH=$work/bin:$PATH HOME=$work/home GST_PLUGIN_PATH=$plugins
unset XDG_CONFIG_HOME

# The files the examples name.
(
    cd "$work/fixtures" || exit 1
    ff() { ffmpeg -hide_banner -nostdin -v error "$@"; }
    ff -f lavfi -i "testsrc2=size=1920x1080:rate=30000/1001:duration=0.1" -f lavfi -i "sine=duration=0.1" \
        -c:v libx264 -preset ultrafast -c:a aac -shortest input.mp4 &&
        ff -f lavfi -i "testsrc2=size=64x48:rate=25:duration=0.2" -c:v mpeg4 other.mp4 &&
        ff -f lavfi -i "testsrc2=size=64x48:rate=25:duration=0.12" frames_%04d.png &&
        mkdir shots && ff -f lavfi -i "testsrc2=size=32x16:rate=25:duration=0.12" shots/shot_%02d.png &&
        qzkt encode --quiet input.mp4 clip.mov && qzkt encode --quiet other.mp4 other.mov
) || { echo "doc_commands_test.sh: cannot make the example files" >&2; exit 1; }

# Not run here, and why.
skipped() {
    case $1 in
    "scripts/"*) echo "the README's set-up, build and test commands: what CI runs" ;;
    "sudo "* | "cmake --install"*) echo "installs into the system: tests/api/install_tree_test.sh installs into a prefix" ;;
    "export "*) echo "sets the caller's environment" ;;
    "qzkt settings") echo "the dialog needs a terminal: tests/compressor/terminal_dialog_test.sh" ;;
    "qzkt play"*) echo "needs a display: tests/tool/play/play_test.sh" ;;
    *glimagesink* | *autovideosink* | "gst-play-1.0"* | *v4l2src*)
        echo "needs a display or a camera: the GStreamer suites" ;;
    esac
}

# README: the lines of its indented code blocks that start with a command, a trailing
# backslash joining the next line.
readme_commands() {
    awk '
        /^    [^ ]/ && (prev ~ /^$/ || inblock) { inblock = 1 }
        !/^    / && !/^$/ { inblock = 0 }
        { prev = $0 }
        inblock && /^    (qzkt|ffmpeg|gst-launch-1.0|gst-play-1.0|scripts\/|sudo|cmake|export) / {
            line = substr($0, 5)
            while (line ~ /\\$/ && (getline next_line) > 0) { sub(/\\$/, "", line); line = line " " substr(next_line, 5) }
            sub(/ +# .*/, "", line)
            print line
        }' "$readme"
}

# The man page: the .nf blocks of EXAMPLES, roff's \- and \e undone, lines ending in a pipe or
# a backslash joined to the next.
man_commands() {
    sed -n '/^\.SH EXAMPLES/,/^\.SH SEE ALSO/p' "$manpage" | sed -n '/^\.nf/,/^\.fi/p' | grep -v '^\.' |
        sed 's/\\-/-/g; s/\\e/\\/g' |
        awk '{ line = line $0; if (line ~ /(\||\\)$/) { sub(/\\$/, "", line); line = line " "; next } print line; line = "" }' |
        sed 's/   */ /g'
}

failures=0
ran=0
run_command() { # where command
    local where=$1 command=$2 reason
    reason=$(skipped "$command")
    if [ -n "$reason" ]; then
        echo "skipped ($where): $command -- $reason"
        return
    fi
    rm -rf "$work/run" && cp -a "$work/fixtures" "$work/run"
    # An example that writes clip.mov writes it into a folder without one.
    if [[ $command == "qzkt encode "* || $command == *"| qzkt encode "* ]]; then rm -f "$work/run/clip.mov"; fi
    # GStreamer's programs load the plugin: in a sanitizer build with its runtimes preloaded,
    # and the plugins scanned in their own process.
    local environment=()
    if [[ $command == gst-* && -n ${QZKT_GST_PRELOAD:-} ]]; then
        environment=(LD_PRELOAD="$QZKT_GST_PRELOAD" GST_REGISTRY_FORK=no)
    fi
    (cd "$work/run" && timeout 120 env "${environment[@]}" bash -c "$command" </dev/null >"$work/out.txt" \
        2>"$work/err.txt")
    local status=$?
    if [ "$status" -eq 0 ]; then
        ran=$((ran + 1))
        echo "ran ($where): $command"
    else
        failures=$((failures + 1))
        echo "FAILED ($where, status $status): $command" >&2
        sed 's/^/    /' "$work/err.txt" | tail -5 >&2
    fi
}

while IFS= read -r command; do run_command README "$command"; done < <(readme_commands)
while IFS= read -r command; do run_command "man page" "$command"; done < <(man_commands)

echo "doc commands: $ran ran, $failures failed"
[ "$ran" -ge 15 ] || { echo "doc_commands_test.sh: found too few commands ($ran)" >&2; exit 1; }
[ "$failures" -eq 0 ]
