// SPDX-License-Identifier: MIT
/// @file
/// Cubic remapping that leaves what lies outside the source as it is.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_REMAP_INSIDE_H
#define ORV_MONTAGE_DISTORT_CORRECT_REMAP_INSIDE_H

#include "Platform/ImagingPrimitives.h"

#include <opencv2/core.hpp>

namespace ORV::Common::Algorithms::DistortCorrect {

/// `ippiRemap_8u_C1R` or `ippiRemap_8u_C3R` by channel count, cubic, over the whole source.
///
/// @param[in] source  `CV_8UC1` or `CV_8UC3`.
/// @param[in] mapCols,mapRows  `CV_32FC1` of the target's size.
/// @param[in,out] target  type of the source; positions outside the source keep their value.
inline void remapInside(const cv::Mat& source,
                        const cv::Mat& mapCols,
                        const cv::Mat& mapRows,
                        cv::Mat& target) {
  const auto remap =
      source.channels() == 1 ? Platform::ippiRemap_8u_C1R : Platform::ippiRemap_8u_C3R;
  // Only sizes and pointers could be refused, which the callers' interfaces trust: no status there.
  static_cast<void>(remap(source.ptr(),
                          {source.cols, source.rows},
                          static_cast<int>(source.step),
                          {0, 0, source.cols, source.rows},
                          mapCols.ptr<float>(),
                          static_cast<int>(mapCols.step),
                          mapRows.ptr<float>(),
                          static_cast<int>(mapRows.step),
                          target.ptr(),
                          static_cast<int>(target.step),
                          {target.cols, target.rows},
                          Platform::ippiInterCubic));
}

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_REMAP_INSIDE_H
