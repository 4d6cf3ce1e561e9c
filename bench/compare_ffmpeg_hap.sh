#!/usr/bin/env bash
# qzkt side by side with FFmpeg's Hap encoder and decoder on the same frames, at the same
# thread count (every core for both), the commands alternating so that both sides see the
# same machine load; then the in-process figures of dxt24_bench.
#
#   bench/compare_ffmpeg_hap.sh [INPUT]
#
# INPUT: any video FFmpeg reads (its first FRAMES frames are used at its own size); by default
# a pan over a generated 2880x1620 picture with film-like grain, 1920x1080. The frames are
# written once as raw ARGB (for qzkt) and raw RGBA (for FFmpeg) and read before timing, so
# both read their input from the page cache.
#
# Environment: QZKT (default build/tools/qzkt/qzkt), DXT24_BENCH (build/bench/blocks/dxt24_bench),
# FRAMES (60), RUNS (5 timed runs of each command; the median counts), THREADS (nproc),
# DXT24_BENCH_ARGS (more arguments for dxt24_bench, such as --benchmark_min_time=0.001),
# WORK (scratch folder, default a new one under ${TMPDIR:-/tmp}; needs about 2.5 GB).
#
# Needs: a built tree (scripts/build.sh) and Debian's ffmpeg (scripts/setup.sh installs it).
set -euo pipefail
cd "$(dirname "$0")/.."

QZKT=$(realpath "${QZKT:-build/tools/qzkt/qzkt}")
DXT24_BENCH=${DXT24_BENCH:-build/bench/blocks/dxt24_bench}
FRAMES=${FRAMES:-60}
RUNS=${RUNS:-5}
THREADS=${THREADS:-$(nproc)}
INPUT=${1:-}

for tool in "$QZKT" "$DXT24_BENCH"; do
    [[ -x $tool ]] || { echo "compare_ffmpeg_hap.sh: $tool is not built (scripts/build.sh)" >&2; exit 1; }
done
command -v ffmpeg >/dev/null && command -v ffprobe >/dev/null ||
    { echo "compare_ffmpeg_hap.sh: needs ffmpeg and ffprobe (apt-get install ffmpeg)" >&2; exit 1; }
grep -q 'hap_q' <<<"$(ffmpeg -hide_banner -h encoder=hap 2>/dev/null)" ||
    { echo "compare_ffmpeg_hap.sh: this ffmpeg has no hap encoder" >&2; exit 1; }

WORK=${WORK:-$(mktemp -d "${TMPDIR:-/tmp}/qzkt_vs_hap.XXXXXX")}
mkdir -p "$WORK/prefs" # an empty settings folder: the default settings (DXT24, LZF)
trap 'rm -rf "$WORK"' EXIT
ff() { ffmpeg -hide_banner -nostdin -v error "$@"; }

# --- the frames -------------------------------------------------------------------------
if [[ -z $INPUT ]]; then
    ff -f lavfi -i "mandelbrot=size=2880x1620:rate=1:maxiter=4096,noise=alls=3:allf=u" -frames:v 1 \
        "$WORK/picture.png"
    ff -loop 1 -i "$WORK/picture.png" -vf "crop=1920:1080:x='n*15':y='n*8'" -frames:v "$FRAMES" \
        -f rawvideo -pix_fmt argb "$WORK/src.argb"
    DESCRIPTION="pan over a generated 2880x1620 picture with grain"
else
    ff -i "$INPUT" -frames:v "$FRAMES" -f rawvideo -pix_fmt argb "$WORK/src.argb"
    DESCRIPTION=$INPUT
fi
read -r W H < <(if [[ -z $INPUT ]]; then echo 1920 1080; else
    ffprobe -v error -select_streams v:0 -show_entries stream=width,height -of csv=p=0:s=' ' "$INPUT"; fi)
FRAME_BYTES=$((W * H * 4))
N=$(($(stat -c %s "$WORK/src.argb") / FRAME_BYTES))
ff -f rawvideo -pix_fmt argb -s "${W}x$H" -i "$WORK/src.argb" -f rawvideo -pix_fmt rgba "$WORK/src.rgba"
cat "$WORK/src.argb" "$WORK/src.rgba" >/dev/null # into the page cache

RAW_ARGB=(-f rawvideo -pix_fmt argb -s "${W}x$H" -r 25)
RAW_RGBA=(-f rawvideo -pix_fmt rgba -s "${W}x$H" -r 25)

# --- the commands -----------------------------------------------------------------------
# Each writes into $WORK; the movie written last stays for the decode and quality checks.
# Goals: encode DXT24 and --dxt1 at least 4x Hap's encoder; decode DXT24 at least 6x Hap's
# decoder, DXT1 at least 4x it and DXT5 at least 4x Hap Alpha's (without a GPU).
qzkt_dxt24() { rm -f "$WORK/dxt24.mov"; "$QZKT" encode --quiet --prefs-dir "$WORK/prefs" --jobs "$THREADS" \
    --raw "${W}x$H" --rate 25 "$WORK/src.argb" "$WORK/dxt24.mov"; }
qzkt_dxt1() { rm -f "$WORK/dxt1.mov"; "$QZKT" encode --quiet --prefs-dir "$WORK/prefs" --jobs "$THREADS" \
    --dxt1 --raw "${W}x$H" --rate 25 "$WORK/src.argb" "$WORK/dxt1.mov"; }
qzkt_dxt5() { rm -f "$WORK/dxt5.mov"; "$QZKT" encode --quiet --prefs-dir "$WORK/prefs" --jobs "$THREADS" \
    --alpha --raw "${W}x$H" --rate 25 "$WORK/src.argb" "$WORK/dxt5.mov"; }
hap_encode() { # $1: hap or hap_q
    ff "${RAW_RGBA[@]}" -i "$WORK/src.rgba" -threads "$THREADS" -c:v hap -format "$1" -chunks "$THREADS" \
        -y "$WORK/$1.mov"
}
hap() { hap_encode hap; }
hap_q() { hap_encode hap_q; }
hap_alpha() { hap_encode hap_alpha; }
# The decoders, each to raw pixels on /dev/null: qzkt's DXT1/DXT5 frames on its default path
# (the CPU decoder on a machine without a GPU).
qzkt_decode_movie() { "$QZKT" decode --quiet --jobs "$THREADS" "$WORK/$1.mov" - >/dev/null; }
qzkt_decode() { qzkt_decode_movie dxt24; }
qzkt_decode_dxt1() { qzkt_decode_movie dxt1; }
qzkt_decode_dxt5() { qzkt_decode_movie dxt5; }
hap_decode_movie() { ff -threads "$THREADS" -i "$WORK/$1.mov" -f rawvideo -pix_fmt rgba -y /dev/null; }
hap_decode() { hap_decode_movie hap; }
hap_alpha_decode() { hap_decode_movie hap_alpha; }
# Process start alone: each program loading its libraries and exiting. A short clip's decode
# is mostly this, so the decode ratios are also printed without it.
qzkt_start() { "$QZKT" --version >/dev/null; }
ffmpeg_start() { ffmpeg -hide_banner -version >/dev/null; }

# Runs the commands in turn, RUNS rounds, and sets MEDIAN[command] (seconds).
declare -A MEDIAN
alternate() {
    declare -A times
    local round cmd start end
    for cmd in "$@"; do "$cmd"; done # warm-up, and the movies for the next steps
    for ((round = 0; round < RUNS; ++round)); do
        for cmd in "$@"; do
            start=$(date +%s%N)
            "$cmd"
            end=$(date +%s%N)
            times[$cmd]+="$(((end - start) / 1000)) "
        done
    done
    for cmd in "$@"; do
        MEDIAN[$cmd]=$(tr ' ' '\n' <<<"${times[$cmd]}" | grep . | sort -n |
            awk '{v[NR] = $1} END {m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2; printf "%.4f", m / 1e6}')
    done
}

fps() { awk -v n="$N" -v s="${MEDIAN[$1]}" 'BEGIN {printf "%.1f", n / s}'; }
ratio() { awk -v a="${MEDIAN[$2]}" -v b="${MEDIAN[$1]}" 'BEGIN {printf "%.2f", a / b}'; }
verdict() { awk -v r="$1" -v g="$2" 'BEGIN {print (r >= g) ? "goal " g "x: met" : "goal " g "x: NOT met"}'; }
bytes_per_frame() {
    ffprobe -v error -select_streams v:0 -show_entries packet=size -of csv=p=0 "$1" |
        awk '{s += $1; n++} END {printf "%.0f", s / n}'
}
# RGB PSNR (dB) of raw frames on standard input (pixel format $1) against the source.
psnr_of_raw() {
    ffmpeg -hide_banner -nostdin -f rawvideo -pix_fmt "$1" -s "${W}x$H" -i - "${RAW_RGBA[@]}" -i "$WORK/src.rgba" \
        -lavfi "[0:v]format=gbrp[a];[1:v]format=gbrp[b];[a][b]psnr" -f null - 2>&1 |
        sed -n 's/.*PSNR r:.* average:\([0-9.inf]*\).*/\1/p'
}
qzkt_psnr() { "$QZKT" decode --quiet "$1" - | psnr_of_raw argb; }
hap_psnr() { ffmpeg -hide_banner -nostdin -v error -i "$1" -f rawvideo -pix_fmt rgba - | psnr_of_raw rgba; }

echo "qzkt vs FFmpeg's Hap: $N frames of ${W}x$H ($DESCRIPTION), $THREADS threads each"
echo "  (qzkt --jobs $THREADS; ffmpeg -threads $THREADS, Hap with -chunks $THREADS); median of $RUNS alternating runs"
echo "  $(ffmpeg -version | head -1)"
echo "  $(nproc) CPUs, load average $(cut -d' ' -f1-3 /proc/loadavg) before the runs"
echo

alternate qzkt_dxt24 hap qzkt_dxt1 hap_q
qzkt_dxt5 && hap_alpha # the movies for the DXT5 decode row, untimed
alternate qzkt_decode hap_decode qzkt_decode_dxt1 qzkt_decode_dxt5 hap_alpha_decode qzkt_start ffmpeg_start

printf '%-44s %9s %9s\n' "command" "fps" "seconds"
for cmd in qzkt_dxt24 qzkt_dxt1 hap hap_q qzkt_decode qzkt_decode_dxt1 hap_decode qzkt_decode_dxt5 \
    hap_alpha_decode; do
    printf '%-44s %9s %9s\n' "$cmd" "$(fps "$cmd")" "${MEDIAN[$cmd]}"
done
echo
r1=$(ratio qzkt_dxt24 hap)
r2=$(ratio qzkt_dxt1 hap)
r3=$(ratio qzkt_decode hap_decode)
r4=$(ratio qzkt_decode_dxt1 hap_decode)
r5=$(ratio qzkt_decode_dxt5 hap_alpha_decode)
echo "ratios (qzkt fps / ffmpeg fps):"
echo "  encode DXT24 vs -c:v hap:        ${r1}x  ($(verdict "$r1" 4))"
echo "  encode --dxt1 vs -c:v hap:       ${r2}x  ($(verdict "$r2" 4))"
echo "  decode DXT24 vs hap decode:      ${r3}x  ($(verdict "$r3" 6))"
echo "  decode DXT1 vs hap decode:       ${r4}x  ($(verdict "$r4" 4))"
echo "  decode DXT5 vs hap_alpha decode: ${r5}x  ($(verdict "$r5" 4))"
echo "  encode DXT24 vs -format hap_q:   $(ratio qzkt_dxt24 hap_q)x  (for reference)"
# The decode ratios of the frames alone: each median less its program's start.
without_start() {
    awk -v a="${MEDIAN[$2]}" -v sa="${MEDIAN[ffmpeg_start]}" -v b="${MEDIAN[$1]}" -v sb="${MEDIAN[qzkt_start]}" \
        'BEGIN {printf "%.2f", (a - sa) / (b - sb)}'
}
echo "process start (qzkt --version, ffmpeg -version): ${MEDIAN[qzkt_start]} s and ${MEDIAN[ffmpeg_start]} s;"
echo "  decode ratios of the frames alone (for reference): DXT24 $(without_start qzkt_decode hap_decode)x," \
    "DXT1 $(without_start qzkt_decode_dxt1 hap_decode)x, DXT5 $(without_start qzkt_decode_dxt5 hap_alpha_decode)x"
echo
printf '%-24s %14s %12s\n' "movie" "bytes/frame" "RGB PSNR dB"
printf '%-24s %14s %12s\n' "raw ARGB" "$FRAME_BYTES" "-"
printf '%-24s %14s %12s\n' "qzkt DXT24 + LZF" "$(bytes_per_frame "$WORK/dxt24.mov")" "$(qzkt_psnr "$WORK/dxt24.mov")"
printf '%-24s %14s %12s\n' "qzkt DXT1 + LZF" "$(bytes_per_frame "$WORK/dxt1.mov")" "$(qzkt_psnr "$WORK/dxt1.mov")"
printf '%-24s %14s %12s\n' "qzkt DXT5 + LZF" "$(bytes_per_frame "$WORK/dxt5.mov")" "$(qzkt_psnr "$WORK/dxt5.mov")"
printf '%-24s %14s %12s\n' "Hap (DXT1 + Snappy)" "$(bytes_per_frame "$WORK/hap.mov")" "$(hap_psnr "$WORK/hap.mov")"
printf '%-24s %14s %12s\n' "Hap Alpha (DXT5)" "$(bytes_per_frame "$WORK/hap_alpha.mov")" "$(hap_psnr "$WORK/hap_alpha.mov")"
printf '%-24s %14s %12s\n' "Hap Q (DXT5-YCoCg)" "$(bytes_per_frame "$WORK/hap_q.mov")" "$(hap_psnr "$WORK/hap_q.mov")"
echo

echo "In process (dxt24_bench, one 1920x1080 frame): x_plain = plain thread time / this one's"
echo "(block encoder and decoder per core, goal: encoder >= 5x); x_memcpy = time / a memcpy"
echo "of the frame (goal: BM_DXT24DecodeCPU and BM_S3TCDecodeCPU, the decoders the codec uses,"
echo "<= 1.5); x_liblzf = lzf_decompress's time / the decoder's LZF unpacker's on the frame's"
echo "payload (BM_LZFUnpack)"
"$DXT24_BENCH" --benchmark_filter='Plain|Target|Memcpy|DecodeCPU|LZF' ${DXT24_BENCH_ARGS:-} 2>/dev/null |
    grep -E '^(BM_|Benchmark|-)'
