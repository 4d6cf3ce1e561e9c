#!/usr/bin/env bash
# Fails, naming the files, when clang-format (with the tree's .clang-format) would change any
# tracked C or C++ file. Usage: scripts/check_format.sh   (clang-format -i FILE... fixes them)
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files '*.c' '*.h' '*.cpp')
unformatted=()
for file in "${files[@]}"; do
  if ! clang-format --dry-run --Werror "$file" >/dev/null 2>&1; then unformatted+=("$file"); fi
done
if [ ${#unformatted[@]} -ne 0 ]; then
  echo "clang-format would change ${#unformatted[@]} file(s):"
  printf '  %s\n' "${unformatted[@]}"
  echo "fix with: clang-format -i ${unformatted[*]}"
  exit 1
fi
echo "clang-format: ${#files[@]} files as formatted"
