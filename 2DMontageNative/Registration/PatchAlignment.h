// SPDX-License-Identifier: MIT
/// @file
/// Where exactly a matched point lies in the second image.
#ifndef ORV_MONTAGE_REGISTRATION_PATCH_ALIGNMENT_H
#define ORV_MONTAGE_REGISTRATION_PATCH_ALIGNMENT_H

#include <opencv2/core.hpp>

#include <optional>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Shifts the second point until the pixels around both points agree best.
///
/// A detector places a corner to about a pixel; the pixels around it tell to a tenth of one.
/// Translation by B. Lucas and T. Kanade, "An iterative image registration technique", IJCAI 1981,
/// in the inverse compositional form of S. Baker and I. Matthews, IJCV 56(3), 2004, under the local
/// shape of the homography and free of brightness and contrast.
///
/// @param[in] firstImage, secondImage  `CV_8UC1`, slightly smoothed.
/// @param[in] first, second  pixels of each, about the same point of the scene.
/// @param[in] shape  how a small step in the first image goes on in the second, 2 x 2.
/// @return the second point, less than 2 pixels from where it was; none where the pixels do not
///   agree, show no texture in some direction, or reach beyond an image.
std::optional<cv::Point2d> alignPatch(const cv::Mat& firstImage,
                                      const cv::Mat& secondImage,
                                      const cv::Point2d& first,
                                      const cv::Point2d& second,
                                      const cv::Matx22d& shape);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_PATCH_ALIGNMENT_H
