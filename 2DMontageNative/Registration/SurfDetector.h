// SPDX-License-Identifier: MIT
/// @file
/// SURF's blob detector: scale-space maxima of the box-filter Hessian.
#ifndef ORV_MONTAGE_REGISTRATION_SURF_DETECTOR_H
#define ORV_MONTAGE_REGISTRATION_SURF_DETECTOR_H

#include "Registration/IntegralImage.h"

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Extent of the scale space: filters of side (9 + 6 layer) 2^octave pixels, sampled every
/// 2^octave pixels.
struct SurfScaleSpace {
  int octaves;  ///< at least 1
  int layers;   ///< layers per octave that can hold a keypoint, at least 1
};

/// Maxima of the Hessian's determinant over position and filter size, interpolated.
///
/// H. Bay, A. Ess, T. Tuytelaars, L. Van Gool, "Speeded-up robust features (SURF)", CVIU 110(3),
/// 2008; interpolation after M. Brown and D. Lowe, "Invariant features from interest point groups",
/// BMVC 2002.
///
/// @param[in] integral  the image's table in plain column order.
/// @param[in] threshold  determinants must be greater; grey levels squared.
/// @return keypoints, strongest first. `size` is the filter's side, `response` the determinant at
///   the sample, `octave` counts from 0, `class_id` is the sign of the Laplacian (1 dark blob, -1
///   bright blob), `angle` is not set. Empty where the image is too small for the filters.
/// @note Octaves and layers whose filters do not fit cost nothing. Strips of rows run in parallel;
///   working memory is a copy of the table and a few rows per strip.
std::vector<cv::KeyPoint> detectSurfKeypoints(const IntegralImage& integral,
                                              SurfScaleSpace scaleSpace,
                                              float threshold);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SURF_DETECTOR_H
