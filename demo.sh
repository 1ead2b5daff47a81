#!/usr/bin/env bash
# Shows the montage at work, from a fresh Debian 12 to a picture.
#
# usage: ./demo.sh             overlapping views are rendered from a photograph of Debian's wallpapers
#        ./demo.sh IMAGE...    your own overlapping photographs, all of one size
#
# Everything it makes lies in demo-output/.
set -euo pipefail

# Paths of the user's own images are taken from where the script was called.
images=()
for image in "$@"; do
  images+=("$(realpath -- "$image")")
done
cd "$(dirname "$0")"

backgrounds=/usr/share/backgrounds
photograph=$backgrounds/life_by_Aitzol_Berasategi.jpg
unrelated=$backgrounds/aitzgorri_by_Aitzol_Berasategi.jpg
out=demo-output
slabs=1

echo "== Installing what is needed, building"
.ci/deps
cmake -S . -B build -G Ninja >/dev/null
cmake --build build --target orv2d render_views

mkdir -p "$out"
rm -f "$out/truth.json" # of an earlier run
if [ "${#images[@]}" -eq 0 ]; then
  echo
  echo "== Rendering views of $photograph"
  build/render_views "$photograph" "$unrelated" "$out"
  images=("$out"/slab0_view*.png "$out"/slab1_view*.png)
  slabs=2
  echo "$((${#images[@]} / slabs)) views in $slabs slabs, each with its own exposure and noise; view 3"
  echo "is of another photograph and must be left out."
fi

# Both pipelines: diagnostic reports centres and quality, basic reports corners and keeps brightness.
for pipeline in diagnostic basic; do
  echo
  echo "== orv2d montage --pipeline $pipeline"
  build/orv2d montage "${images[@]}" --slabs "$slabs" --pipeline "$pipeline" \
    -o "$out/${pipeline}_montage{slab}.png" --overlay "$out/${pipeline}_overlay.png" \
    --report "$out/${pipeline}_report.json"
  if [ -f "$out/truth.json" ]; then
    echo
    echo "Against the true cameras:"
    examples/position_errors.py "$out/truth.json" "$out/${pipeline}_report.json"
  fi
done

echo
echo "== Look at"
ls "$PWD/$out"/*_montage*.png "$PWD/$out"/*_overlay.png
