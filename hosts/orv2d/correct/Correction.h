// SPDX-License-Identifier: MIT
/// @file
/// The calls into the library's distortion correction, one per mode.
#ifndef ORV2D_CORRECTION_H
#define ORV2D_CORRECTION_H

#include "correct/LensParameters.h"
#include "correct/SamplingMaps.h"

#include <opencv2/core.hpp>

#include <optional>

namespace orv2d {

/// Crop edges in plane coordinates, named as the library names them.
struct PlaneBounds {
  double left = 0.0;
  double top = 0.0;
  double right = 0.0;
  double bottom = 0.0;
};

struct Correction {
  int status = 0;                     ///< the library's
  cv::Mat image;                      ///< on status 0
  std::optional<PlaneBounds> bounds;  ///< modes square, range and fov
  std::optional<cv::Point2d> centre;  ///< projection centre, -1 to 1 across the result; not for
                                      ///< pinhole and view

  /// Whether there is a picture: some pixel that is not black, and a finite centre.
  [[nodiscard]] bool hasContent() const;
};

/// Corrects `source`, whose pixels may be overwritten. `values` holds every value of `mode`.
Correction correctImage(CorrectMode mode, const LensValues& values, const cv::Mat& source);

/// The square correction through maps made before, for sources of the size of `maps`; `source` is
/// smoothed in place.
Correction correctThroughMaps(const SamplingMaps& maps, const cv::Mat& source);

}  // namespace orv2d

#endif  // ORV2D_CORRECTION_H
