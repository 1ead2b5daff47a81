#!/usr/bin/env bash
# usage: check_types.sh INTERPRETER FOLDER_WITH_THE_PACKAGE
# The types of the package are consistent, and its stubs name what the built module has.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
cache=$(mktemp -d)
trap 'rm -rf "$cache"' EXIT
printf '[mypy]\nstrict = True\ncache_dir = %s\n[mypy-distributed.*,zarr.*]\nignore_missing_imports = True\nfollow_imports = skip\n' \
  "$cache" >"$cache/mypy.ini"
cd "$2"
"$1" -m mypy --config-file "$cache/mypy.ini" -p montage_native
"$1" -m mypy.stubtest montage_native._core --mypy-config-file "$cache/mypy.ini" \
  --allowlist "$here/stubtest-allowed" --ignore-unused-allowlist
