#!/usr/bin/env bash
# usage: run_examples.sh BUILD_FOLDER EXAMPLES_FOLDER
# The demo in small: rendered views become montages, and every position is compared with the truth;
# a rendered wide-angle view is corrected and compared with the photograph.
set -euo pipefail
build=$1
examples=$2
backgrounds=/usr/share/backgrounds
photograph=$backgrounds/life_by_Aitzol_Berasategi.jpg
[ -f "$photograph" ] || exit 77 # skipped: the package of photographs is not installed

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
"$build/render_views" "$photograph" "$backgrounds/aitzgorri_by_Aitzol_Berasategi.jpg" "$out"

for pipeline in picture diagnostic basic; do
  "$build/orv2d" montage "$out"/slab?_view?.png --slabs 2 --pipeline "$pipeline" --seams none \
    -o "$out/$pipeline{slab}.png" --report "$out/$pipeline.json" --quiet
  [ -s "$out/${pipeline}1.png" ]
  # Centres come from whole pixels of the seam resolution, 3 px of the views.
  "$examples/position_errors.py" "$out/truth.json" "$out/$pipeline.json" --tolerance 4
done

"$build/smallest_host" "$out/smallest.jpg" "$out"/slab0_view[0124].png
[ -s "$out/smallest.jpg" ]
if "$build/smallest_host" "$out/none.jpg" "$out/slab0_view0.png" 2>"$out/message"; then
  echo "one image became a montage"
  exit 1
fi
grep -q "no montage: status 1" "$out/message"
[ ! -e "$out/none.jpg" ]

"$build/join_photographs" "$out/joined.jpg" "$out"/slab0_view[0124].png >"$out/said"
[ -s "$out/joined.jpg" ]
[ "$(grep -c ': used, connected to ' "$out/said")" -eq 4 ]

landscape=$backgrounds/aitzgorri_by_Aitzol_Berasategi.jpg
"$build/wide_angle_truth" render "$landscape" 600 "$out"
for mode in range fov; do
  "$build/orv2d" correct "$out/wide.png" -o "$out/$mode.png" --mode "$mode" --lens "$out/lens.json" \
    --report "$out/$mode.json" --quiet
  "$build/wide_angle_truth" compare "$landscape" "$out/$mode.json" 0.1
done
# The measure must see a truth that is moved by half a pixel.
if "$build/wide_angle_truth" compare "$landscape" "$out/fov.json" 0.4 0.5; then
  echo "a shift of half a pixel went unnoticed"
  exit 1
fi
