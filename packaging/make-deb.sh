#!/usr/bin/env bash
# usage: packaging/make-deb.sh BUILD_FOLDER OUTPUT_FOLDER
# Makes the Debian package python3-montage-native from a build folder in which the Python package is
# built; prints the package's path. Needs dpkg-dev.
set -euo pipefail
build=$(realpath "$1")
out=$(realpath "$2")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/debian/python3-montage-native
cmake --install "$build" --component python --strip \
  --prefix "$root/usr/lib/python3/dist-packages" >/dev/null

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
architecture=$(dpkg --print-architecture)
package=$root/usr/lib/python3/dist-packages/montage_native
# What the machine code needs, by the packages that it was linked against.
printf 'Source: montage-native\n\nPackage: python3-montage-native\nArchitecture: any\n' \
  >"$work/debian/control"
mkdir "$root/DEBIAN"
depends=$(cd "$work" &&
  dpkg-shlibdeps -O --ignore-missing-info -l"$package" "$package"/*.so 2>"$work/log" |
  sed -n 's/^shlibs:Depends=//p') || { cat "$work/log" >&2; exit 1; }
python=$(basename "$(echo "$package"/_core.*.so)" | sed 's/.*cpython-3\([0-9]*\)-.*/\1/')

cat >"$root/DEBIAN/control" <<EOF
Package: python3-montage-native
Version: $version
Architecture: $architecture
Section: python
Priority: optional
Maintainer: The developers of 2DMontageNative <noreply@example.com>
Depends: python3 (>= 3.$python), python3 (<< 3.$((python + 1))), python3-numpy, $depends
Suggests: python3-distributed, python3-dask, python3-zarr
Description: montages of overlapping photographs and correction of wide-angle ones
 The library 2DMontageNative for Python, on NumPy arrays.
EOF
file=$out/python3-montage-native_${version}_$architecture.deb
dpkg-deb --root-owner-group --build "$root" "$file" >/dev/null
echo "$file"
