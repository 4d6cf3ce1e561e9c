#!/usr/bin/env bash
# Configures and builds qzkt. Usage: scripts/build.sh [build-dir] [extra cmake args...]
#   scripts/build.sh                       release build in ./build
#   scripts/build.sh build-asan -DQZKT_SANITIZE=ON
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$dir"
