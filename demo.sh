#!/usr/bin/env bash
# Shows the montage and the distortion correction at work, from a fresh Debian 12 to pictures.
#
# usage: ./demo.sh             overlapping views and a wide-angle view are rendered from photographs
#                              of Debian's wallpapers
#        ./demo.sh IMAGE...    montage of your own overlapping photographs
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
landscape=$unrelated
out=demo-output
slabs=1

echo "== Installing what is needed, building"
.ci/deps
cmake -S . -B build -G Ninja >/dev/null
cmake --build build --target orv2d render_views wide_angle_truth

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

# picture is for looking at; diagnostic and basic are those of SlabMontage.
for pipeline in picture diagnostic basic; do
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

pictures=("$out"/*_montage*.png "$out"/*_overlay.png)
if [ "$#" -eq 0 ]; then
  echo
  echo "== Rendering what a fisheye lens of 150 degrees sees of $landscape"
  build/wide_angle_truth render "$landscape" 1600 "$out"
  cat "$out/lens.json"
  pictures+=("$out/wide.png")

  # Both framings by angles: range has row 0 at the lower end, so its picture is upside down.
  for mode in range fov; do
    echo
    echo "== orv2d correct --mode $mode"
    build/orv2d correct "$out/wide.png" -o "$out/${mode}_corrected.png" --mode "$mode" \
      --lens "$out/lens.json" --report "$out/${mode}_corrected.json" \
      --preview "$out/${mode}_preview.png"
    echo
    echo "Against the photograph:"
    build/wide_angle_truth compare "$landscape" "$out/${mode}_corrected.json"
    pictures+=("$out/${mode}_corrected.png" "$out/${mode}_preview.png")
  done
fi

echo
echo "== Look at"
printf '%s\n' "${pictures[@]/#/$PWD/}"
