#!/usr/bin/env bash
# Builds the fuzz targets for libFuzzer (clang, with AddressSanitizer and
# UndefinedBehaviorSanitizer) in build-fuzz, writes their seeds, and runs each for a bounded
# time. Usage: scripts/fuzz.sh [seconds per target] [target...]
#   scripts/fuzz.sh                     60 s each: fuzz_frame fuzz_movie fuzz_settings fuzz_bmp fuzz_lzf fuzz_lzf_pack fuzz_api
#   scripts/fuzz.sh 3600 fuzz_frame     an hour of fuzz_frame
# Each target starts from its seeds, the malformed corpus in fuzz/corpus and what earlier runs
# found (build-fuzz/corpus/<part>). A crash, a leak, a broken promise of the entry point, an
# input that takes over 20 s or a process above 2.5 GB is a finding: the input is kept in
# build-fuzz/findings/<part>/, the log in build-fuzz/logs/, and the script fails after running
# every target.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then targets=(fuzz_frame fuzz_movie fuzz_settings fuzz_bmp fuzz_lzf fuzz_lzf_pack fuzz_api); fi

scripts/build.sh build-fuzz -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DQZKT_FUZZ=ON \
  -DQZKT_BUILD_TESTS=OFF -DQZKT_BUILD_BENCH=OFF
rm -rf build-fuzz/seeds
build-fuzz/fuzz/fuzz_corpus seeds build-fuzz/seeds

export UBSAN_OPTIONS=print_stacktrace=1
# libFuzzer checks every input that leaves memory behind for leaks itself (-detect_leaks). The
# exit-time check only finds the process-lifetime state (EGL displays, the DXT24 pool), and its
# tracer, which stops every thread (Mesa's rasterizer threads among them), once crashed at the
# end of a clean fuzz_frame run ("Tracer caught signal 11 ... LeakSanitizer has encountered a
# fatal error", an empty input saved as the crash): a sanitizer failure, not a finding.
export ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}leak_check_at_exit=0
failed=()
for target in "${targets[@]}"; do
  part=${target#fuzz_}
  inputs=$part
  if [ "$part" = api ]; then inputs=frame; fi # fuzz_api reads fuzz_frame's inputs
  mkdir -p "build-fuzz/corpus/$part" "build-fuzz/findings/$part" build-fuzz/logs
  log=build-fuzz/logs/$target.log
  echo "$target: ${seconds} s"
  folders=("build-fuzz/corpus/$part" "build-fuzz/seeds/$inputs")
  if [ -d "fuzz/corpus/$inputs" ]; then folders+=("fuzz/corpus/$inputs"); fi # fuzz_lzf and fuzz_lzf_pack have none
  if build-fuzz/fuzz/"$target" -max_total_time="$seconds" -rss_limit_mb=2560 -timeout=20 \
      -print_final_stats=1 -artifact_prefix="build-fuzz/findings/$part/" "${folders[@]}" > "$log" 2>&1; then
    grep -E '^stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)' "$log" | sed 's/^/  /'
  else
    tail -n 60 "$log"
    echo "$target: FINDING (input in build-fuzz/findings/$part/, log in $log)"
    failed+=("$target")
  fi
done
if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzzing found faults in: ${failed[*]}"
  exit 1
fi
