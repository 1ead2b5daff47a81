#!/usr/bin/env bash
# usage: check_exported_symbols.sh NM LIBRARY LIST
# The shared library exports exactly the members in LIST and ends no process.
set -euo pipefail
export LC_ALL=C

exported() {
  "$1" -DC --defined-only "$2" | cut -d ' ' -f 3- | sort -u
}
if ! difference=$(diff <(grep -v '^#' "$3" | sort -u) <(exported "$1" "$2")); then
  echo "exported symbols differ from $3 (< missing, > not in the list):"
  echo "$difference"
  exit 1
fi

ending=$("$1" -DC --undefined-only "$2" | grep -E ' (abort|_?exit|_Exit|quick_exit|raise|kill)(@|$)' || true)
if [ -n "$ending" ]; then
  echo "the library can end the process of its host:"
  echo "$ending"
  exit 1
fi
