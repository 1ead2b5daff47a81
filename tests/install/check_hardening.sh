#!/usr/bin/env bash
# usage: check_hardening.sh READELF BINARY...
# Addresses of functions are fixed before the program starts, and stacks are guarded.
set -euo pipefail
export LC_ALL=C

readelf=$1
shift
for binary; do
  found=$("$readelf" -W --program-headers --dynamic --dyn-syms "$binary")
  for mark in GNU_RELRO 'BIND_NOW|Flags:.* NOW' __stack_chk_fail; do
    if ! grep -qE "$mark" <<<"$found"; then
      echo "$binary: no $mark"
      exit 1
    fi
  done
done
