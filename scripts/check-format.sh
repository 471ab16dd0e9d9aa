#!/usr/bin/env bash
# Checks that every C++ source of the repository is formatted as .clang-format says, and lists the
# files that aren't. With --fix it formats them in place instead.
#
#   scripts/check-format.sh          # check (CI)
#   scripts/check-format.sh --fix    # format
set -euo pipefail
cd "$(dirname "$0")/.."

clang_format=${CLANG_FORMAT:-clang-format-14}
command -v "$clang_format" >/dev/null || clang_format=clang-format
mapfile -t files < <(git ls-files '*.cpp' '*.h')

if [ "${1:-}" = "--fix" ]; then
  "$clang_format" -i "${files[@]}"
  exit 0
fi
unformatted=()
for f in "${files[@]}"; do
  "$clang_format" --dry-run --Werror "$f" 2>/dev/null || unformatted+=("$f")
done
if ((${#unformatted[@]})); then
  printf 'not formatted (scripts/check-format.sh --fix formats them):\n' >&2
  printf '  %s\n' "${unformatted[@]}" >&2
  exit 1
fi
echo "${#files[@]} files formatted"
