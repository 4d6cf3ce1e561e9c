#!/usr/bin/env bash
# Decoding speed of qzktdec in a GStreamer pipeline against the qzkt tool on the same movie:
#   gst-launch-1.0 filesrc location=M ! qtdemux ! qzktdec ! fakesink
#   qzkt decode M - >/dev/null                     (raw ARGB thrown away)
# on a 1920x1080 DXT24 movie (a generated clip encoded by the tool), alternating the two
# ROUNDS times in one run; prints frames per second of each round's best, and their ratio.
# Whole processes are timed, start-up included, so use enough FRAMES.
# Usage: bench/gst_decode_throughput.sh [build dir]    (FRAMES=120 ROUNDS=5 by default)
set -euo pipefail
build=$(realpath "${1:-build}")
frames=${FRAMES:-120}
rounds=${ROUNDS:-5}
qzkt=$build/tools/qzkt/qzkt

work=$(mktemp -d /tmp/qzkt-gst-bench-XXXXXX)
trap 'rm -rf "$work"' EXIT
export GST_PLUGIN_PATH=$build/gst GST_REGISTRY=$work/registry.bin
ffmpeg -v error -f lavfi -i "testsrc2=size=1920x1080:rate=30" -frames:v "$frames" \
  -f rawvideo -pix_fmt argb "$work/clip.argb"
"$qzkt" encode --quiet --prefs-dir "$work/prefs" --raw 1920x1080 --rate 30 "$work/clip.argb" "$work/clip.mov"
rm "$work/clip.argb"
gst-inspect-1.0 qzktdec >/dev/null # builds the registry outside the timed runs

seconds() { # runs "$@" and prints the wall-clock seconds it took
  local start end
  start=$(date +%s.%N)
  "$@" >/dev/null
  end=$(date +%s.%N)
  awk -v a="$start" -v b="$end" 'BEGIN { printf "%.4f", b - a }'
}
calc() { awk "BEGIN { printf \"%.4f\", $1 }"; }
gst() { gst-launch-1.0 -q filesrc location="$work/clip.mov" ! qtdemux ! qzktdec ! fakesink; }
tool() { "$qzkt" decode --quiet "$work/clip.mov" -; }

best_gst=1e9 best_tool=1e9
for round in $(seq "$rounds"); do
  g=$(seconds gst)
  t=$(seconds tool)
  printf 'round %d: qzktdec %.3f s, qzkt decode %.3f s\n' "$round" "$g" "$t"
  best_gst=$(calc "$g < $best_gst ? $g : $best_gst")
  best_tool=$(calc "$t < $best_tool ? $t : $best_tool")
done
printf '1920x1080 DXT24, %d frames, best of %d:\n' "$frames" "$rounds"
printf '  gst-launch-1.0 ... qzktdec ! fakesink  %7.1f fps\n' "$(calc "$frames / $best_gst")"
printf '  qzkt decode M - >/dev/null            %7.1f fps\n' "$(calc "$frames / $best_tool")"
printf '  qzktdec / qzkt decode                  %7.2f\n' "$(calc "$best_tool / $best_gst")"
