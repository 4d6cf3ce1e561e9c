#!/usr/bin/env bash
# Builds qzkt twice (optimised, then with AddressSanitizer + UndefinedBehaviorSanitizer) and
# runs the whole test suite on each build; then runs the threaded suites built with
# ThreadSanitizer, and each fuzz target for a bounded time (FUZZ_SECONDS, 60 by default).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

scripts/build.sh build
ctest --test-dir build --output-on-failure -j "$jobs"

scripts/build.sh build-asan -DQZKT_SANITIZE=ON
ctest --test-dir build-asan --output-on-failure -j "$jobs"

# The suites that run threads and need no OpenGL (Mesa is not built for ThreadSanitizer); without
# address-space randomisation, whose 32-bit settings on newer kernels the ThreadSanitizer runtime
# cannot map around.
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZKT_TSAN=ON -DQZKT_BUILD_BENCH=OFF >/dev/null
cmake --build build-tsan --target threaded_tests
setarch "$(uname -m)" -R ctest --test-dir build-tsan -L threads --output-on-failure -j "$jobs"

scripts/fuzz.sh "${FUZZ_SECONDS:-60}"
