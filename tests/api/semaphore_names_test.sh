#!/usr/bin/env bash
# A program linked with libqzkt leaves no "kelstart_<pid>_<n>" semaphore name in /dev/shm:
# their names are gone before main() starts, and nothing is left after a normal exit or a
# SIGKILL (the pool's workers have run by then).
# Usage: semaphore_names_test.sh <semaphore_host binary> [label]
set -uo pipefail
host=$1
label=${2:-shared library}
failures=0

for mode in exit kill; do
  output=$("$host" "$mode")
  status=$?
  expected_status=0
  [ "$mode" = kill ] && expected_status=137
  pid=$(awk '{print $2}' <<<"$output")
  left=$(find /dev/shm -maxdepth 1 -name "sem.kelstart_${pid}_*" | wc -l)
  echo "$label, $mode: $output, exit status $status, names left after exit $left"
  if [ "$status" != "$expected_status" ] || ! grep -q "named 0$" <<<"$output" || [ "$left" != 0 ]; then
    echo "FAILED: expected exit status $expected_status, 'named 0' and no names left" >&2
    failures=$((failures + 1))
    find /dev/shm -maxdepth 1 -name "sem.kelstart_${pid}_*" -delete
  fi
done
exit $failures
