#!/usr/bin/env bash
# libqzkt.so exports the functions qzkt.h declares and nothing else of its own (the linker's
# few symbols and the version node aside), and carries the SONAME libqzkt.so.<major>;
# libqzkt.a defines the same functions and no other strong global symbol.
# Usage: exported_symbols_test.sh <libqzkt.so> <libqzkt.a> <qzkt.h> <major version>
set -euo pipefail
library=$1
archive=$2
header=$3
major=$4

exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sed 's/@.*//' | sort -u)
others=$(grep -v -x -E 'qzkt_[a-z0-9_]+|QZKT_[0-9]+|_init|_fini|_edata|_end|__bss_start' <<<"$exported" || true)
if [ -n "$others" ]; then
  echo "exported besides the API:" >&2
  echo "$others" >&2
  exit 1
fi

declared=$(grep -E '^QZKT_API ' "$header" | grep -o -E 'qzkt_[a-z0-9_]+\(' | tr -d '(' | sort -u)
if [ "$(grep -x -E 'qzkt_[a-z0-9_]+' <<<"$exported")" != "$declared" ]; then
  echo "exported and declared functions differ:" >&2
  diff <(grep -x -E 'qzkt_[a-z0-9_]+' <<<"$exported") <(echo "$declared") >&2 || true
  exit 1
fi

# In the archive only template instances of the C++ library and function-local statics stay
# global besides the API, as weak or unique symbols that cannot clash with a program's own.
strong=$(nm --defined-only --extern-only "$archive" | awk 'NF == 3 && $2 ~ /^[TDBR]$/ {print $3}' | sort -u)
if [ "$strong" != "$declared" ]; then
  echo "strong global symbols of the archive differ from the declared functions:" >&2
  diff <(echo "$strong") <(echo "$declared") >&2 || true
  exit 1
fi

soname=$(objdump -p "$library" | awk '$1 == "SONAME" {print $2}')
[ "$soname" = "libqzkt.so.$major" ] || { echo "SONAME is '$soname'" >&2; exit 1; }
echo "$(wc -l <<<"$declared") functions exported, nothing else; SONAME $soname; the archive agrees"
