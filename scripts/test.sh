#!/usr/bin/env bash
# Checks the formatting, builds qzkt twice (optimised, then with AddressSanitizer +
# UndefinedBehaviorSanitizer), warnings as errors and every suite required, and runs the whole
# test suite on each build (each benchmark for a moment among them); runs the benchmark scripts
# on a few frames; then the threaded suites built with ThreadSanitizer, and each fuzz target for
# a bounded time (FUZZ_SECONDS, 60 by default).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
strict=(-DQZKT_WERROR=ON -DQZKT_REQUIRE_ALL_SUITES=ON)

scripts/check_format.sh

scripts/build.sh build "${strict[@]}"
ctest --test-dir build --output-on-failure -j "$jobs"
# The comparison scripts, on a few frames: they must run, their figures mean nothing here.
FRAMES=3 RUNS=1 DXT24_BENCH_ARGS=--benchmark_min_time=0.001 bench/compare_ffmpeg_hap.sh >/dev/null
FRAMES=3 ROUNDS=1 bench/gst_decode_throughput.sh build >/dev/null
SIZES=64x48 LAYERS="1 2" FRAMES=12 ROUNDS=1 bench/play_layers.sh build >/dev/null

scripts/build.sh build-asan -DQZKT_SANITIZE=ON "${strict[@]}"
ctest --test-dir build-asan --output-on-failure -j "$jobs"

# The suites that run threads and need no OpenGL (Mesa is not built for ThreadSanitizer); without
# address-space randomisation, whose 32-bit settings on newer kernels the ThreadSanitizer runtime
# cannot map around.
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQZKT_TSAN=ON -DQZKT_BUILD_BENCH=OFF \
  -DQZKT_WERROR=ON >/dev/null
cmake --build build-tsan --target threaded_tests
setarch "$(uname -m)" -R ctest --test-dir build-tsan -L threads --output-on-failure -j "$jobs"

scripts/fuzz.sh "${FUZZ_SECONDS:-60}"
