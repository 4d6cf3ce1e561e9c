#!/usr/bin/env bash
# A program linked with libqzkt leaves no "kelstart_<pid>_<n>" semaphore name in /dev/shm:
# each name is gone right after its semaphore opens, nothing is left after a normal exit or a
# SIGKILL, and names that killed processes left are removed by the next encoder. Where /dev/shm cannot hold the semaphores (sem_open failing, as the preloaded
# shim makes it), opening an encoder fails with a result and a problem text instead of ending
# the process.
# Usage: semaphore_names_test.sh <semaphore_host binary> <sem_open_fails library> [label]
set -uo pipefail
host=$1
shim=$2
label=${3:-shared library}
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

# A name a killed process left goes once it is a few seconds old.
debris=/dev/shm/sem.kelstart_0_$$ # pid 0 is nobody; $$ keeps parallel runs apart
: >"$debris"
sleep 3
"$host" exit >/dev/null
if [ -e "$debris" ]; then
  echo "FAILED: $debris, left by a killed process, was not removed" >&2
  rm -f "$debris"
  failures=$((failures + 1))
else
  echo "$label: a name left by a killed process was removed"
fi

said=$(ASAN_OPTIONS="${ASAN_OPTIONS:-}:verify_asan_link_order=0" LD_PRELOAD="$shim" SEM_OPEN_FAILS_WITH=30 \
  "$host" exit 2>&1 >/dev/null)
status=$?
expected="codec error: cannot create the DXT24 encoder's named semaphores in /dev/shm: Read-only file system"
echo "$label, read-only /dev/shm: exit status $status, said: $said"
if [ "$status" != 1 ] || [ "$said" != "$expected" ]; then
  echo "FAILED: expected exit status 1 and: $expected" >&2
  failures=$((failures + 1))
fi
exit $failures
