#!/usr/bin/env bash
# Installs what is needed, builds everything and runs all tests.
# usage: ./test.sh [arguments for ctest, e.g. -L unit]
set -euo pipefail
cd "$(dirname "$0")"

.ci/deps
cmake -S . -B build -G Ninja -DMONTAGE_WERROR=ON 
cmake --build build
ctest --test-dir build --output-on-failure -j "$(nproc)" "$@"
