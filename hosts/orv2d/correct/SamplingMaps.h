// SPDX-License-Identifier: MIT
/// @file
/// The sampling maps of the stereographic correction: export, use for many images, file format.
#ifndef ORV2D_SAMPLING_MAPS_H
#define ORV2D_SAMPLING_MAPS_H

#include "correct/LensParameters.h"

#include <opencv2/core.hpp>

#include <filesystem>
#include <vector>

namespace orv2d {

/// Source positions of a square grid of the stereographic plane.
struct SamplingMaps {
  cv::Mat planes;           ///< 2 size x size, `CV_32F`: source columns, below them source rows
  int size = 0;             ///< samples per side
  double halfExtent = 1.0;  ///< plane coordinates run from -halfExtent to halfExtent
  cv::Size sourceSize;

  [[nodiscard]] cv::Mat columns() const { return planes.rowRange(0, size); }
  [[nodiscard]] cv::Mat rows() const { return planes.rowRange(size, 2 * size); }

  /// One pointer per map row, as the library takes them, into `columns()` or `rows()`.
  [[nodiscard]] std::vector<float*> rowPointers(const cv::Mat& map) const;
};

/// Computes the maps of the lens in `values` for sources of one size.
SamplingMaps exportMaps(const LensValues& values,
                        int size,
                        double halfExtent,
                        const cv::Size& sourceSize);

/// Writes the maps as a NumPy file (version 1.0): float32, little-endian, shape (2, size, size).
void writeMaps(const SamplingMaps& maps,
               const std::filesystem::path& target,
               const std::filesystem::path& file);

}  // namespace orv2d

#endif  // ORV2D_SAMPLING_MAPS_H
