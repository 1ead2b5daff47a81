// SPDX-License-Identifier: MIT
/// @file
/// Where a source is black: what is sampled from there need not be sampled.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_BLACK_CELLS_H
#define ORV_MONTAGE_DISTORT_CORRECT_BLACK_CELLS_H

#include "DistortCorrect/Extent.h"

#include <opencv2/core.hpp>

namespace ORV::Common::Algorithms::DistortCorrect {

/// A coarse grid over a source that tells of rectangles whether they hold nothing but zeros.
class BlackCells {
 public:
  /// @param[in] source  `CV_8UC1` or `CV_8UC3`; not kept.
  explicit BlackCells(const cv::Mat& source);

  [[nodiscard]] bool allBlack() const { return counts_.empty() || brightIn(grid()) == 0; }

  /// Whether every sample at positions (column, row) within `extent` is 0, with up to four taps along each axis
  /// and what lies outside the source counting as 0. May miss such an extent, never claims one.
  [[nodiscard]] bool blackWithin(const Extent& extent) const;

 private:
  [[nodiscard]] cv::Rect grid() const { return {0, 0, counts_.cols - 1, counts_.rows - 1}; }
  [[nodiscard]] int brightIn(const cv::Rect& cells) const;

  cv::Size size_;
  cv::Mat counts_;  ///< `CV_32SC1`; integral of the cells that are not black.
};

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_BLACK_CELLS_H
