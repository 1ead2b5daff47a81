#!/usr/bin/env bash
# usage: check_installed.sh INTERPRETER BUILD_FOLDER SOURCE_FOLDER
# The wheel installs into a fresh environment, the Debian package unpacks, and both work there.
set -euo pipefail
interpreter=$1
build=$2
source=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$build/render_grid" "$work/views" --rows 1 --columns 2 --megapixels 0.2 --span 30
cat >"$work/use.py" <<'PY'
import pathlib, sys
import montage_native as mn

assert pathlib.Path(mn.__file__).is_relative_to(sys.argv[1]), mn.__file__
picture = mn.montage(sorted(pathlib.Path(sys.argv[2]).glob("*.png")))
assert picture.any() and picture.shape[2] == 3
assert pathlib.Path(mn.__file__).with_name("py.typed").exists()
PY
cd "$work" # the sources must not be found

"$interpreter" -m venv --system-site-packages environment
MONTAGE_BUILD_FOLDER=$build environment/bin/pip install --quiet --no-index --no-build-isolation \
  --no-deps "$source"
environment/bin/python -I use.py "$work/environment" views

package=$("$source/packaging/make-deb.sh" "$build" "$work")
dpkg-deb -f "$package" Depends | grep -q 'python3-numpy.*libopencv-stitching'
dpkg-deb -x "$package" root
PYTHONPATH=$work/root/usr/lib/python3/dist-packages "$interpreter" use.py "$work/root" views
