// SPDX-License-Identifier: MIT
/// @file
/// The grid of the source that a preview shows.
#ifndef ORV2D_PREVIEW_H
#define ORV2D_PREVIEW_H

#include <opencv2/core.hpp>

namespace orv2d {

/// A colour copy of `source` with its outline and 8 x 8 fields drawn on it.
///
/// Corrected like the source it shows where the lens model takes the source's lines, in every mode.
/// A dark surround stays as it is: lines there would count as content and change the crop.
cv::Mat withGrid(const cv::Mat& source);

}  // namespace orv2d

#endif  // ORV2D_PREVIEW_H
