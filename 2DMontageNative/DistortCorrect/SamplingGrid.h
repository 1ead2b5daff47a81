// SPDX-License-Identifier: MIT
/// @file
/// Evenly spaced plane coordinates of output columns and rows.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_SAMPLING_GRID_H
#define ORV_MONTAGE_DISTORT_CORRECT_SAMPLING_GRID_H

#include <cstddef>
#include <vector>

namespace ORV::Common::Algorithms::DistortCorrect {

/// n values from `first`, each the one before plus (last - first) / (n - 1), in single precision.
///
/// The last value may differ from `last` by the rounding of the additions.
/// @param[out] out  n values; nothing is written for n <= 0.
inline void linSpace(float first, float last, int n, float* out) {
  const float step = (last - first) / static_cast<float>(n - 1);
  float value = first;
  for (int i = 0; i < n; ++i) {
    out[i] = value;
    value += step;
  }
}

/// `linSpace` into a new list; n >= 0.
[[nodiscard]] inline std::vector<float> samplingGrid(double first, double last, int n) {
  std::vector<float> grid(static_cast<std::size_t>(n));
  linSpace(static_cast<float>(first), static_cast<float>(last), n, grid.data());
  return grid;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_SAMPLING_GRID_H
