#!/usr/bin/env bash
# Large montages, up to 300 views of 12 megapixels and 1000 views: takes about half an hour and 5 GB
# of disk. For the comparison with Hugin install hugin-tools and enblend first.
# usage: benchmarks/large.sh BUILD_DIR [FOLDER for the rendered views]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1
folder=${2:-large-sets}
"$here/large_sets.py" "$build" --folder "$folder" --rivals --sets "24 wide" "24 tele" "96 wide" "96 tele"
"$here/large_sets.py" "$build" --folder "$folder" --sets "300 wide" "300 tele" 1000 "300 of 12 MP"
