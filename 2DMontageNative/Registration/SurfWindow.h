// SPDX-License-Identifier: MIT
/// @file
/// Sampling of a turned square window of an image, averaged along its rows.
#ifndef ORV_MONTAGE_REGISTRATION_SURF_WINDOW_H
#define ORV_MONTAGE_REGISTRATION_SURF_WINDOW_H

#include "Registration/AreaWeights.h"

#include <opencv2/core.hpp>

#include <cstddef>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Rows and columns of `SurfWindow`'s buffers that vector code may use beyond the window's.
constexpr std::size_t kSurfWindowPadding = 64;

/// A turned square of sampling points at steps of one pixel. Sample j of row i lies at
/// (rowX[i] + j stepX, rowY[i] + j stepY).
struct SurfWindow {
  const cv::Mat& image;  ///< `CV_8UC1`; its last row and column are only read as neighbours
  int side;
  double stepX;
  double stepY;
  std::vector<double> rowX;  ///< at least kSurfWindowPadding longer than the side, as is rowY;
  std::vector<double> rowY;  ///< the elements beyond the side repeat the last row's

  /// True if every sample is at least a pixel away from the image's edge.
  [[nodiscard]] bool isInside() const;
};

/// Samples the window and averages each row to fewer values.
///
/// A sample is interpolated bilinearly and rounded to a whole grey level; where one of its four
/// neighbours is missing it is the nearest pixel.
///
/// @param[in] weights  of the averages; summed in list order.
/// @param[in] targets  number of averages per row.
/// @param[out] samples  scratch of (side + padding) * padding values, padding = kSurfWindowPadding.
/// @param[out] averages  side rows of `targets` values.
/// @note Vector code chosen at run time; the values are those of the scalar formula on any machine.
void averageWindowRows(const SurfWindow& window,
                       const std::vector<AreaWeight>& weights,
                       int targets,
                       float* samples,
                       float* averages);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SURF_WINDOW_H
