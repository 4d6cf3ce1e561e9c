#!/usr/bin/env bash
# Soaks of the encoder's worker pool and its named semaphores, on a built tree (run as root
# for the /dev/shm cases, which mount a private /dev/shm in a mount namespace):
#   1. 1,000 forked children encoding with thread setting 9 beside a parent on its own pool
#   2. 1,500 runs of `qzkt --version` and 300 encodes SIGKILLed at random moments; the
#      semaphore files left in /dev/shm are counted
#   3. a read-only and a full /dev/shm: --version, info, decode, a fresh plugin scan and a
#      decode pipeline must succeed; an encode must fail with one clear line
# Usage: bench/soak/semaphore_soak.sh [BUILD_DIR]   (default: build)
set -uo pipefail
cd "$(dirname "$0")/../.."
build=$(realpath "${1:-build}")
tool=$build/tools/qzkt/qzkt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cc -O2 bench/soak/fork_soak.c -Iinclude -L"$build/src/api" -lqzkt -Wl,-rpath,"$build/src/api" -o "$work/fork_soak"
"$work/fork_soak" 1000

ffmpeg -v error -f lavfi -i testsrc2=size=640x360:rate=30:duration=2 -f rawvideo -pix_fmt argb "$work/clip.argb"
"$tool" encode --quiet --raw 640x360 "$work/clip.argb" "$work/clip.mov"
before=$(ls /dev/shm | grep -c '^sem\.' || true)
for i in $(seq 1500); do
  "$tool" --version >/dev/null 2>&1 & pid=$!
  sleep "0.0$(printf %02d $((RANDOM % 60)))"
  kill -9 $pid 2>/dev/null; wait $pid 2>/dev/null
done
after_version=$(ls /dev/shm | grep -c '^sem\.' || true)
for i in $(seq 300); do
  "$tool" encode -y --quiet --threads 8 --raw 640x360 "$work/clip.argb" "$work/out.mov" >/dev/null 2>&1 & pid=$!
  sleep "0.$(printf %03d $((RANDOM % 300)))"
  kill -9 $pid 2>/dev/null; wait $pid 2>/dev/null
done
kel=$(ls /dev/shm | grep -c '^sem\.kel' || true)
all=$(ls /dev/shm | grep -c '^sem\.' || true)
echo "semaphore files in /dev/shm: $before before; $after_version after 1500 SIGKILLed --version;" \
     "$all after 300 SIGKILLed encodes, $kel of them kelstart_/kelprobe_ names (the rest glibc's sem.XXXXXX)"

for mode in ro size=8k; do
  unshare -m bash -c '
    mount -t tmpfs -o "$1" tmpfs /dev/shm || exit 99
    export GST_PLUGIN_PATH=$4 GST_REGISTRY=$5/registry-$1.bin
    "$2" --version >/dev/null; echo "/dev/shm $1: qzkt --version: $?"
    "$2" info --summary "$3" >/dev/null; echo "/dev/shm $1: qzkt info: $?"
    "$2" decode -y "$3" "$5/decoded.argb" 2>/dev/null; echo "/dev/shm $1: qzkt decode: $?"
    gst-inspect-1.0 qzkt >/dev/null 2>&1; echo "/dev/shm $1: gst-inspect-1.0 qzkt (fresh registry): $?"
    gst-launch-1.0 -q filesrc location="$3" ! qtdemux ! qzktdec ! fakesink >/dev/null 2>&1
    echo "/dev/shm $1: filesrc ! qtdemux ! qzktdec ! fakesink: $?"
    "$2" encode -y --raw 640x360 "$5/clip.argb" "$5/again.mov"; echo "/dev/shm $1: qzkt encode: $?"
  ' soak "$mode" "$tool" "$work/clip.mov" "$build/gst" "$work"
done
