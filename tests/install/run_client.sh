#!/usr/bin/env bash
# Installs the build into a temporary folder, builds the client against the installed package through
# CMake and through pkg-config, and runs both.
# usage: run_client.sh BUILD_DIR CLIENT_SOURCE_DIR
set -euo pipefail
build=$1
client=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$client" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/client"
"$work/cmake/application"

libdir=$(dirname "$(dirname "$(find "$work/prefix" -name 2DMontageNative.pc)")")
export PKG_CONFIG_PATH="$libdir/pkgconfig" LD_LIBRARY_PATH="$libdir"
# shellcheck disable=SC2046  # the flags are meant to split
c++ -std=c++11 "$client/client.cpp" $(pkg-config --cflags --libs 2DMontageNative) -o "$work/plain"
# shellcheck disable=SC2046
c++ -std=c++17 "$client/application.cpp" $(pkg-config --cflags --libs 2DMontageNative) -o "$work/plain17"
"$work/plain17"
"$work/plain"
# shellcheck disable=SC2046
c++ -std=c++17 "$client/application.cpp" $(pkg-config --cflags --libs 2DMontageNative) -o "$work/plain17"
"$work/plain17"
