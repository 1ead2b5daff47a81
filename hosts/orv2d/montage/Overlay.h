// SPDX-License-Identifier: MIT
/// @file
/// The montage with the images' positions drawn over it.
#ifndef ORV2D_OVERLAY_H
#define ORV2D_OVERLAY_H

#include <opencv2/core.hpp>

#include <vector>

namespace orv2d {

/// What a position is: a crosshair marks a centre, an angle the top-left corner.
enum class MarkKind { Centre, TopLeftCorner };

struct Mark {
  int number;
  cv::Point position;  ///< pixels of the montage
};

/// A colour copy of `montage` (8-bit, grey, colour or with transparency) of the same size, with every mark and its
/// number; the drawing grows with the picture.
cv::Mat drawOverlay(const cv::Mat& montage, const std::vector<Mark>& marks, MarkKind kind);

}  // namespace orv2d

#endif  // ORV2D_OVERLAY_H
