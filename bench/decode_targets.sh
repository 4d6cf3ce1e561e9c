#!/usr/bin/env bash
# qzkt decode to each kind of output against the decode to raw ARGB, on the same frames: the
# lossless video (UT Video, the default in .mkv) and FFV1 (-c:v ffv1), both checked to hold
# exactly the raw decode's pixels. Commands alternate; medians of RUNS runs.
#
#   bench/decode_targets.sh [INPUT]
#
# INPUT: any video FFmpeg reads (its first FRAMES frames); by default the 1080p pan that
# bench/compare_ffmpeg_hap.sh uses. Environment: QZKT (build/tools/qzkt/qzkt), FRAMES (60),
# RUNS (5), WORK (scratch folder; needs about 2 GB).
set -euo pipefail
cd "$(dirname "$0")/.."

QZKT=$(realpath "${QZKT:-build/tools/qzkt/qzkt}")
FRAMES=${FRAMES:-60}
RUNS=${RUNS:-5}
INPUT=${1:-}
[[ -x $QZKT ]] || { echo "decode_targets.sh: $QZKT is not built (scripts/build.sh)" >&2; exit 1; }
WORK=${WORK:-$(mktemp -d "${TMPDIR:-/tmp}/qzkt_targets.XXXXXX")}
mkdir -p "$WORK/prefs"
trap 'rm -rf "$WORK"' EXIT
ff() { ffmpeg -hide_banner -nostdin -v error "$@"; }

if [[ -z $INPUT ]]; then
    ff -f lavfi -i "mandelbrot=size=2880x1620:rate=1:maxiter=4096,noise=alls=3:allf=u" -frames:v 1 "$WORK/p.png"
    ff -loop 1 -i "$WORK/p.png" -vf "crop=1920:1080:x='n*15':y='n*8'" -frames:v "$FRAMES" -c:v ffv1 "$WORK/src.mkv"
    INPUT=$WORK/src.mkv
fi
"$QZKT" encode --quiet --prefs-dir "$WORK/prefs" --frames "$FRAMES" "$INPUT" "$WORK/clip.mov"

raw() { "$QZKT" decode --quiet -y "$WORK/clip.mov" "$WORK/out.argb"; }
mkv() { "$QZKT" decode --quiet -y "$WORK/clip.mov" "$WORK/out.mkv"; }
ffv1() { "$QZKT" decode --quiet -y -c:v ffv1 "$WORK/clip.mov" "$WORK/ffv1.mkv"; }

declare -A TIMES
for cmd in raw mkv ffv1; do "$cmd"; done # warm-up, and the files for the checks
for ((round = 0; round < RUNS; ++round)); do
    for cmd in raw mkv ffv1; do
        start=$(date +%s%N)
        "$cmd"
        TIMES[$cmd]+="$((($(date +%s%N) - start) / 1000)) "
    done
done
median() { tr ' ' '\n' <<<"${TIMES[$1]}" | grep . | sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)] / 1e6}'; }
for file in out.mkv ffv1.mkv; do
    ff -i "$WORK/$file" -f rawvideo -pix_fmt argb - | cmp -s - "$WORK/out.argb" ||
        { echo "decode_targets.sh: $file does not hold the raw decode's pixels" >&2; exit 1; }
done
echo "qzkt decode of $FRAMES frames ($(ffprobe -v error -select_streams v:0 -show_entries stream=width,height \
    -of csv=p=0:s=x "$WORK/clip.mov")), $(nproc) CPUs, median of $RUNS alternating runs; both videos lossless"
r=$(median raw)
for cmd in raw mkv ffv1; do
    m=$(median "$cmd")
    printf '  %-34s %7.3f s  %6.2fx the raw decode\n' \
        "$([ $cmd = raw ] && echo "to .argb" || ([ $cmd = mkv ] && echo "to .mkv (UT Video)" || echo "to .mkv -c:v ffv1"))" \
        "$m" "$(awk -v r="$r" -v m="$m" 'BEGIN {print r / m}')"
done
echo "  goal: .mkv at least 0.5x the raw decode"
