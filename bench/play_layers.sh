#!/usr/bin/env bash
# Layers of QZKT movies composited through glvideomixer into a window (qzkt play --benchmark:
# no clock, as fast as frames come), each movie through qzktdec's GL path (RGBA textures in
# the pipeline's GL context) against the system-memory path (qzktdec gl-memory=false, then
# glupload) in the same run: frames per second, CPU time per frame of the whole process
# (user + system) and of the decoders' streaming threads, and the bytes a frame sends to the GL
# context (the blocks, against 4 bytes a pixel). Without a display it runs itself under
# xvfb-run, where Mesa draws on the CPU: the GL path's process CPU time then includes the
# drawing, and every kind on auto (dxt24, dxt1, alpha) is decoded on the CPU into the textures,
# which is faster there than drawing; the -shader kinds draw on the "GPU" all the same. The
# runs alternate, best of ROUNDS.
# Usage: bench/play_layers.sh [build dir]
#   SIZES ("1920x1080 3840x2160"), KINDS ("dxt24 dxt24-shader dxt1 dxt1-shader alpha"),
#   LAYERS ("1 2 4 8"),
#   FRAMES (60), ROUNDS (3)
set -euo pipefail
if [ -z "${DISPLAY:-}" ]; then exec xvfb-run -a "$0" "$@"; fi
build=$(realpath "${1:-build}")
sizes=${SIZES:-1920x1080 3840x2160}
kinds=${KINDS:-dxt24 dxt24-shader dxt1 dxt1-shader alpha}
layers=${LAYERS:-1 2 4 8}
frames=${FRAMES:-60}
rounds=${ROUNDS:-3}
qzkt=$build/tools/qzkt/qzkt

work=$(mktemp -d /tmp/qzkt-play-layers-XXXXXX)
trap 'rm -rf "$work"' EXIT
export GST_PLUGIN_PATH=$build/gst GST_REGISTRY=$work/registry.bin
gst-inspect-1.0 qzktdec >/dev/null # the registry, outside the timed runs
# Whether the GL renderer draws on the CPU (then DXT24's GL path uploads RGBA pixels).
software=$(GST_DEBUG=qzktdec:4 gst-launch-1.0 -q videotestsrc num-buffers=1 ! video/x-raw,width=64,height=48 \
  ! videoconvert ! qzktenc ! qzktdec ! glimagesink 2>&1 | grep -c '(software)' || true)

# The expression in parentheses: a bare ">" in awk's printf would redirect its output to a file.
calc() { awk "BEGIN { printf \"%.4f\", ($1) }"; }

# run PATH MOVIE COUNT: prints "fps cpu-ms-per-frame decoder-thread-ms-per-frame" of one run of
# COUNT layers, from qzkt play --benchmark's row.
run() {
  local path=$1 movie=$2 count=$3 options=()
  [ "$path" = sys ] && options+=(--no-gl-memory)
  [ -n "$gl_options" ] && options+=($gl_options)
  "$qzkt" play --benchmark --layers "$count" "${options[@]}" "$movie" >"$work/out.txt" 2>"$work/err.txt" || {
    cat "$work/err.txt" >&2
    return 1
  }
  awk -v count="$count" '$1 == count { print $3, $9, $10 }' "$work/out.txt"
}

printf '%-10s %-12s %6s  %8s %10s %10s  %8s %10s %10s  %9s  %12s %12s\n' size kind layers "GL fps" "GL CPU/fr" \
  "GL dec/fr" "sys fps" "sys CPU/fr" "sys dec/fr" "CPU ratio" "GL bytes/fr" "sys bytes/fr"
for size in $sizes; do
  width=${size%x*} height=${size#*x}
  ffmpeg -v error -f lavfi -i "testsrc2=size=${size}:rate=60" -frames:v "$frames" -f rawvideo -pix_fmt argb \
    "$work/clip.argb"
  for kind in $kinds; do
    gl_options=""
    case $kind in
      dxt24) options=() block=10 ;;
      dxt24-shader) options=() block=10 gl_options="--dxt24 shader" ;;
      dxt1) options=(--dxt1) block=8 ;;
      dxt1-shader) options=(--dxt1) block=8 gl_options="--s3tc shader" ;;
      alpha) options=(--alpha) block=16 ;;
      *) echo "unknown kind $kind (dxt24, dxt24-shader, dxt1, dxt1-shader or alpha)" >&2; exit 2 ;;
    esac
    movie=$work/$kind-$size.mov
    "$qzkt" encode --quiet -y --prefs-dir "$work/prefs" "${options[@]}" --raw "$size" --rate 60 \
      "$work/clip.argb" "$movie"
    gl_bytes=$(( (width + 3) / 4 * ((height + 3) / 4) * block ))
    case $kind in *-shader) ;; *) if [ "$software" != 0 ]; then gl_bytes=$(( width * height * 4 )); fi ;; esac
    sys_bytes=$(( width * height * 4 ))
    for count in $layers; do
      gl_fps=0 gl_cpu=1e9 gl_dec=1e9 sys_fps=0 sys_cpu=1e9 sys_dec=1e9
      for round in $(seq "$rounds"); do
        read -r f c d < <(run gl "$movie" "$count")
        gl_fps=$(calc "$f > $gl_fps ? $f : $gl_fps"); gl_cpu=$(calc "$c < $gl_cpu ? $c : $gl_cpu")
        gl_dec=$(calc "$d < $gl_dec ? $d : $gl_dec")
        read -r f c d < <(run sys "$movie" "$count")
        sys_fps=$(calc "$f > $sys_fps ? $f : $sys_fps"); sys_cpu=$(calc "$c < $sys_cpu ? $c : $sys_cpu")
        sys_dec=$(calc "$d < $sys_dec ? $d : $sys_dec")
      done
      printf '%-10s %-12s %6d  %8.1f %7.2f ms %7.2f ms  %8.1f %7.2f ms %7.2f ms  %9.2f  %12d %12d\n' "$size" \
        "$kind" "$count" "$gl_fps" "$gl_cpu" "$gl_dec" "$sys_fps" "$sys_cpu" "$sys_dec" \
        "$(calc "$gl_cpu / $sys_cpu")" "$((gl_bytes * count))" "$((sys_bytes * count))"
    done
  done
  rm -f "$work/clip.argb"
done
echo "fps: composited frames a second (each of the layers' frames once); CPU/fr: the process's user +"
echo "system time over the frames shown; dec/fr: the decoders' streaming threads' CPU time over them;"
echo "CPU ratio: GL path over system-memory path (below 1: the GL path costs less); bytes/fr: what a"
echo "composited frame sends to the GL context."
