// SPDX-License-Identifier: MIT
/// @file
/// SURF's dominant direction of a keypoint.
#ifndef ORV_MONTAGE_REGISTRATION_SURF_ORIENTATION_H
#define ORV_MONTAGE_REGISTRATION_SURF_ORIENTATION_H

#include "Registration/IntegralImage.h"

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Scale of a keypoint in pixels: the standard deviation of the Gaussian that the filter of side
/// `size` stands for. The smallest filter, 9 pixels, stands for 1.2.
inline float surfScale(float size) {
  return size * 1.2F / 9.0F;
}

/// Sets every keypoint's `angle` and removes the keypoints for which there is none.
///
/// The angle, in degrees 0 to 360 from +x towards +y (clockwise on screen), is the direction of the
/// longest sum of Haar wavelet responses within 60 degrees, among the responses in a disc of six
/// scales around the keypoint. H. Bay, A. Ess, T. Tuytelaars, L. Van Gool, "Speeded-up robust
/// features (SURF)", CVIU 110(3), 2008, section 4.1.
///
/// @param[in] integral  the image's table in plain column order.
/// @param[in,out] keypoints  removed are those whose wavelets are larger than the image or lie
///   outside it; the others keep their order.
/// @note Keypoints run in parallel; nothing is allocated per keypoint.
void assignSurfOrientations(const IntegralImage& integral, std::vector<cv::KeyPoint>& keypoints);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SURF_ORIENTATION_H
