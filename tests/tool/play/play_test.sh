#!/usr/bin/env bash
# qzkt play under Xvfb with Mesa: what is on the screen is what qzkt decode writes (DXT24 and
# DXT1, odd sizes, two layers side by side), keys from standard input steer it, audio of several
# codecs plays beside it, --benchmark prints its table, and bad input ends with a clear message
# and status 1, never a hang. Run through xvfb-run (tests/tool/CMakeLists.txt).
# Usage: play_test.sh <qzkt>
set -uo pipefail
qzkt=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0
# A player that ended early must not end this script by SIGPIPE when it is sent q.
trap '' PIPE
# A registry of its own: the plugin the tool finds beside it, nothing left from other runs.
export GST_REGISTRY=$work/registry.bin

fail() {
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

# A clip of the given size and rate from lavfi, with the audio codec given (or none), encoded
# with the qzkt options given.
make_movie() { # name size seconds audio-codec [encode options...]
    local name=$1 size=$2 seconds=$3 audio=$4
    shift 4
    local audio_args=()
    [ "$audio" != none ] && audio_args=(-f lavfi -i "sine=frequency=330:duration=$seconds" -c:a "$audio")
    ffmpeg -v error -y -f lavfi -i "testsrc=size=$size:rate=25:duration=$seconds" "${audio_args[@]}" \
        -c:v ffv1 -shortest "$name.mkv" || { fail "ffmpeg could not make $name"; return 1; }
    "$qzkt" encode -y "$@" "$name.mkv" "$name.mov" 2>/dev/null || fail "qzkt encode $name"
}

# Plays with --paused, and once the first frame is up grabs the window's pixels until the check
# passes (the sink draws the prerolled frame as it posts the message; a loaded machine may
# show it later), then quits with q. The window is the only one on Xvfb's screen, at its
# top-left corner. The waits are measured in seconds, not in tries: under the sanitizers with
# ctest -j2 a grab alone has taken seconds, and 80 tries once outlasted the player's minute.
screenshot() { # width height check movie... -> shot.argb
    local width=$1 height=$2 check=$3
    shift 3
    rm -f keys err shot.argb
    mkfifo keys
    timeout 180 "$qzkt" play --paused --no-audio "$@" <keys >out 2>err &
    local player=$!
    exec 3>keys
    local deadline=$((SECONDS + 60))
    while [ $SECONDS -lt $deadline ]; do
        grep -qs "paused at the first frame" err && break
        sleep 0.1
    done
    local shown=no
    deadline=$((SECONDS + 60))
    while [ $SECONDS -lt $deadline ]; do
        sleep 0.25
        ffmpeg -v error -f x11grab -video_size "${width}x$height" -i "$DISPLAY" -frames:v 1 -pix_fmt argb \
            -f rawvideo -y shot.argb || continue
        if "$check"; then
            shown=yes
            break
        fi
    done
    echo q >&3 2>/dev/null
    exec 3>&-
    wait "$player" || fail "qzkt play $* exited with $? ($(cat err))"
    [ "$shown" = yes ] || fail "the window does not show the first frame of $*: $(describe_shot "$width" "$height")"
}

# What the last screenshot held against the expected picture: bytes that differ, the largest
# difference, the first differing pixel.
describe_shot() {
    python3 - "$1" "$2" shot.argb "${expected:-/dev/null}" <<'EOF'
import sys
width, height = int(sys.argv[1]), int(sys.argv[2])
shot, want = (open(p, "rb").read() for p in sys.argv[3:5])
if len(shot) != width * height * 4:
    print(f"a {len(shot)}-byte screenshot"); sys.exit()
if len(want) != len(shot):
    print("no expected picture of its size"); sys.exit()
diffs = [i for i in range(len(shot)) if shot[i] != want[i]]
if not diffs:
    print("the same bytes"); sys.exit()
first = diffs[0] // 4
black = " (the window is all black)" if shot == bytes([255, 0, 0, 0]) * (width * height) else ""
print(f"{len(diffs)} bytes differ, by up to {max(abs(shot[i] - want[i]) for i in diffs)}; first at pixel "
      f"{first % width},{first // width}: {list(shot[first*4:first*4+4])} for {list(want[first*4:first*4+4])}"
      f"{black}")
EOF
}

# The screen against qzkt decode's first frame, byte for byte (DXT5 pixels over black: the
# colour the window shows is ARGB composited over black, to within rounding).
same_as_decoded() { cmp -s shot.argb "$expected"; }
over_black() {
    python3 - "$expected" shot.argb <<'EOF'
import sys
decoded, shown = (open(p, "rb").read() for p in sys.argv[1:])
worst = 0
for i in range(0, len(decoded), 4):
    a = decoded[i]
    for c in range(1, 4):
        worst = max(worst, abs(shown[i + c] - decoded[i + c] * a / 255))
sys.exit(0 if len(decoded) == len(shown) and worst <= 1.5 else 1)
EOF
}
for case in "dxt24 37x29" "dxt24 322x183" "dxt1 322x183 --dxt1" "alpha 64x48 --alpha"; do
    read -r name size options <<<"$case"
    make_movie "$name" "$size" 1 none $options || continue
    "$qzkt" decode --frames 1 -y "$name.mov" "$name.argb" 2>/dev/null || fail "qzkt decode $name"
    expected=$name.argb
    check=same_as_decoded
    [ "$name" = alpha ] && check=over_black
    screenshot "${size%x*}" "${size#*x}" "$check" "$name.mov"
done

# Two layers side by side: each half of the window is its movie's first frame.
make_movie left 96x64 1 none
make_movie right 96x64 1 none --dxt1
"$qzkt" decode --frames 1 -y left.mov left.argb 2>/dev/null
"$qzkt" decode --frames 1 -y right.mov right.argb 2>/dev/null
python3 - left.argb right.argb sides.argb <<'EOF'
import sys
left, right = (open(p, "rb").read() for p in sys.argv[1:3])
row = 96 * 4
open(sys.argv[3], "wb").write(b"".join(left[y * row:(y + 1) * row] + right[y * row:(y + 1) * row]
                                       for y in range(64)))
EOF
expected=sides.argb
screenshot 192 64 same_as_decoded left.mov right.mov

# Plays to the end with each audio codec, alone and mixed as layers; the stats line comes at
# the end. (No sound card here: the audio sink falls back to a silent one and says so.)
for codec in aac pcm_s16le alac; do
    make_movie "audio_$codec" 64x48 1 "$codec" || continue
    if ! ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 "audio_$codec.mov" |
        grep -q .; then
        continue # this movie could not hold the codec: nothing to play
    fi
    timeout 60 "$qzkt" play "audio_$codec.mov" </dev/null >out 2>err || fail "play with $codec audio: $(cat err)"
    # Every frame shown, or dropped as late by a loaded machine: 25 in all.
    read -r shown dropped < <(sed -n 's/^shown \([0-9]*\) frames, dropped \([0-9]*\),.*/\1 \2/p' out)
    [ $((${shown:-0} + ${dropped:-0})) -eq 25 ] || fail "play with $codec audio: $(cat out err)"
done
timeout 60 "$qzkt" play audio_aac.mov audio_pcm_s16le.mov dxt24.mov </dev/null >out 2>err ||
    fail "three layers, two with audio: $(cat err)"
grep -q "layer 3: " out || fail "three layers: no stats for each: $(cat out)"

# Keys from standard input: pause, steps, a step back, a seek, loop on and off, stats, quit.
make_movie keys 64x48 2 none
{
    sleep 1
    printf ' '
    sleep 0.3
    printf '..'
    sleep 0.3
    printf ','
    sleep 0.3
    printf 's'
    sleep 0.3
    printf '\033[C l l'
    sleep 0.3
    printf q
} | timeout 60 "$qzkt" play keys.mov >out 2>err || fail "keys: exit $? ($(cat err))"
grep -q "^qzkt play: paused at" err || fail "keys: no pause: $(cat err)"
grep -q "^qzkt play: loop on" err && grep -q "^qzkt play: loop off" err || fail "keys: loop: $(cat err)"
[ "$(grep -c '^shown ' out)" -eq 2 ] || fail "keys: s and the end should each print stats: $(cat out)"

# --loop plays on from the start at the end, until q.
rm -f keys
mkfifo keys
timeout 60 "$qzkt" play --loop keys.mov <keys >out 2>err &
player=$!
exec 3>keys
for _ in $(seq 150); do
    grep -q "from the start (loop)" err && break
    sleep 0.1
done
echo q >&3 2>/dev/null
exec 3>&-
wait "$player" || fail "--loop: exit $? ($(cat err))"
grep -q "from the start (loop)" err || fail "--loop did not start again: $(cat err)"

# A damaged frame is skipped with a warning; the rest plays.
python3 - keys.mov damaged.mov <<'EOF'
import sys
data = bytearray(open(sys.argv[1], "rb").read())
middle = len(data) // 2
data[middle:middle + 256] = b"\xff" * 256
open(sys.argv[2], "wb").write(data)
EOF
timeout 60 "$qzkt" play damaged.mov </dev/null >out 2>err || fail "damaged frame: exit $? ($(cat err))"
grep -q "warning: damaged.mov: " err || fail "damaged frame: no warning: $(cat err)"

# --benchmark: a row per layer count, every frame counted but the warm-up.
timeout 120 "$qzkt" play --benchmark --layers 1,2 keys.mov >out 2>err || fail "--benchmark: $(cat err)"
[ "$(grep -cE '^ +[12] +4[0-9] ' out)" -eq 2 ] || fail "--benchmark table: $(cat out)"
timeout 120 "$qzkt" play --benchmark --no-gl-memory keys.mov >out 2>err || fail "--no-gl-memory: $(cat err)"
grep -q "ARGB in system memory" out || fail "--no-gl-memory did not decode to system memory: $(cat out)"

# --fullscreen covers the screen.
(sleep 2 && printf q) | timeout 60 "$qzkt" play --fullscreen --no-audio keys.mov >out 2>err ||
    fail "--fullscreen: $(cat err)"

# Bad input: one clear line, status 1 (2 for a wrong command line), at once.
expect_failure() { # status message-part command...
    local status=$1 part=$2
    shift 2
    timeout 30 "$@" </dev/null >out 2>err
    local got=$?
    [ "$got" -eq "$status" ] || fail "$* exited with $got, not $status ($(cat err))"
    grep -q -- "$part" err || fail "$*: no '$part' in: $(cat err)"
}
expect_failure 1 "cannot open missing.mov" "$qzkt" play missing.mov
expect_failure 1 "has no QZKT video track" "$qzkt" play dxt24.mkv
head -c 1000 keys.mov >cut.mov
expect_failure 1 "cut.mov" "$qzkt" play cut.mov
expect_failure 1 "no display" env -u DISPLAY -u WAYLAND_DISPLAY "$qzkt" play keys.mov
# A copy of the tool away from the build tree finds no plugin beside it.
mkdir -p elsewhere/deeper/bin && cp "$qzkt" elsewhere/deeper/bin/qzkt
expect_failure 1 "GStreamer cannot find qzktdec" env GST_PLUGIN_PATH= elsewhere/deeper/bin/qzkt play keys.mov
expect_failure 2 "--dxt24 takes" "$qzkt" play --dxt24 gpu keys.mov
expect_failure 2 "--s3tc takes" "$qzkt" play --s3tc texture keys.mov
expect_failure 2 "--layers goes with --benchmark" "$qzkt" play --layers 2 keys.mov

if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed" >&2
    exit 1
fi
echo "qzkt play: all checks passed"
