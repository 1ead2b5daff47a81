// SPDX-License-Identifier: MIT
/// @file
/// How far a montage plane may stretch its images.
#ifndef ORV_MONTAGE_PIPELINE_PLANE_STRETCH_H
#define ORV_MONTAGE_PIPELINE_PLANE_STRETCH_H

#include <opencv2/core.hpp>

namespace montage {

/// Pixels of the plane per pixel of the images. A view that reaches 87 degrees off the plane's axis
/// has about 550; cameras that were estimated wrongly, any number.
constexpr double kMostStretch = 600.0;

/// Whether a few pixels of images would take all memory there is.
inline bool isOverstretched(double planePixels, double imagePixels) {
  constexpr double kFewPixels = 4e6;
  return planePixels > kFewPixels && planePixels > kMostStretch * imagePixels;
}

/// Raises OpenCV's exception (`StsOutOfRange`) for an overstretched plane.
inline void requireModestStretch(double planePixels, double imagePixels) {
  if (isOverstretched(planePixels, imagePixels)) {
    CV_Error_(cv::Error::StsOutOfRange,
              ("the montage plane stretches the images to %.0f times their pixels; more than %.0f "
               "show nothing",
               planePixels / imagePixels,
               kMostStretch));
  }
}

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PLANE_STRETCH_H
