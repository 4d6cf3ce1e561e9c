#!/usr/bin/env bash
# Installs the build into a temporary prefix and checks that GStreamer, pointed at the
# prefix's plugin folder, loads the installed plugin with the installed libqzkt (not the build
# tree's): gst-inspect-1.0 lists both elements, and a pipeline decodes a movie.
# Usage: gst_install_tree_test.sh <build dir> <plugin dir under the prefix> <libdir under the prefix>
set -euo pipefail
build=$1
plugindir=$2
libdir=$3

work=$(mktemp -d /tmp/qzkt-gst-install-XXXXXX)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
plugin=$prefix/$plugindir/libgstqzkt.so
[ -e "$plugin" ] || { echo "not installed: $plugindir/libgstqzkt.so" >&2; exit 1; }

# The loader resolves libqzkt from the plugin's own RUNPATH, relative to its folder.
resolved=$(ldd "$plugin" | awk '$1 ~ /^libqzkt\.so/ { print $3 }')
[ "$(realpath "$resolved")" = "$(realpath "$prefix/$libdir/libqzkt.so.1")" ] ||
  { echo "the installed plugin finds libqzkt at '$resolved', not in $prefix/$libdir" >&2; exit 1; }

export GST_PLUGIN_PATH=$prefix/$plugindir GST_REGISTRY=$work/registry.bin
inspect=$(gst-inspect-1.0 qzkt)
echo "$inspect"
grep -q "Filename *$plugin" <<<"$inspect"
grep -q "qzktdec: QZKT video decoder" <<<"$inspect"
grep -q "qzktenc: QZKT video encoder" <<<"$inspect"

# A round trip through the installed plugin alone.
gst-launch-1.0 -q videotestsrc num-buffers=3 ! video/x-raw,width=32,height=16 ! videoconvert ! qzktenc \
  ! qtmux ! filesink location="$work/clip.mov"
gst-launch-1.0 -q filesrc location="$work/clip.mov" ! qtdemux ! qzktdec ! filesink location="$work/clip.argb"
[ "$(stat -c %s "$work/clip.argb")" = $((32 * 16 * 4 * 3)) ]
echo "installed plugin: found by GStreamer, finds the installed libqzkt, decodes what it encodes"

# The installed qzkt play finds the installed plugin by itself, GST_PLUGIN_PATH unset (nothing
# else on this machine holds qzktdec: a build tree's is not where the installed tool looks).
if command -v xvfb-run >/dev/null; then
  unset GST_PLUGIN_PATH
  gst-launch-1.0 -q videotestsrc num-buffers=10 ! video/x-raw,width=32,height=16 ! videoconvert ! qzktenc \
    ! qtmux ! filesink location="$work/play.mov" 2>/dev/null ||
    GST_PLUGIN_PATH=$prefix/$plugindir gst-launch-1.0 -q videotestsrc num-buffers=10 \
      ! video/x-raw,width=32,height=16 ! videoconvert ! qzktenc ! qtmux ! filesink location="$work/play.mov"
  played=$(xvfb-run -a "$prefix/bin/qzkt" play --benchmark "$work/play.mov")
  echo "$played"
  grep -q "DXT24 decoded on the CPU into OpenGL textures" <<<"$played"
  echo "installed qzkt play: finds the installed plugin"
fi
