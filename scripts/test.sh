#!/usr/bin/env bash
# Builds qzkt twice (optimised, then with AddressSanitizer + UndefinedBehaviorSanitizer)
# and runs the whole test suite on each build.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

scripts/build.sh build
ctest --test-dir build --output-on-failure -j "$jobs"

scripts/build.sh build-asan -DQZKT_SANITIZE=ON
ctest --test-dir build-asan --output-on-failure -j "$jobs"
