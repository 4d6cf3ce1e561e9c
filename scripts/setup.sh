#!/usr/bin/env bash
# Installs every Debian package that building, testing and running qzkt needs.
# Safe to run again; uses sudo when not already root.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libstb-dev liblzf-dev libhwy-dev
  nlohmann-json3-dev
  libegl-dev libgl-dev libegl-mesa0 libgl1-mesa-dri
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev ffmpeg
  tmux
  # tests/api/install_tree_test.sh renders the man page
  man-db groff-base
  # the GStreamer plugin (gst/) and its tests: qtdemux/qtmux come with -plugins-good
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
  gstreamer1.0-tools gstreamer1.0-plugins-base gstreamer1.0-plugins-good
  # qzktdec's GL path: GStreamer's GL elements, and a display for their contexts in tests
  gstreamer1.0-gl xvfb xauth
  # qzkt play: the audio decoders movies commonly carry (AAC), X11 for its fullscreen window
  gstreamer1.0-libav libx11-dev
  # scripts/fuzz.sh: clang with libFuzzer and the sanitizer runtimes (libclang-rt-14-dev is only
  # recommended by clang), llvm-symbolizer for readable stack traces. g++'s ThreadSanitizer
  # runtime (libtsan2) comes with g++.
  clang libclang-rt-14-dev llvm
  # scripts/check_format.sh
  clang-format
  # the Python module (python/qzkt), its tests, and `pip install ./python` in the install test
  python3 python3-numpy python3-pytest python3-pip python3-setuptools python3-wheel
)

as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi

export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -q
"${as_root[@]}" apt-get install -y -q --no-install-recommends "${packages[@]}"
