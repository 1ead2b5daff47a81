// SPDX-License-Identifier: MIT
/// @file
/// OpenCV's plane warper, in parallel and without whole maps.
#ifndef ORV_MONTAGE_COMPOSITION_PLANE_WARPER_H
#define ORV_MONTAGE_COMPOSITION_PLANE_WARPER_H

#include "Composition/PlaneSampling.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/warpers.hpp>
#include <opencv2/stitching/warpers.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Projects images onto the plane z = 1 with the corners, maps and pixels of
/// `cv::detail::PlaneWarper`, bit for bit.
///
/// The destination is worked off in tiles on all cores: the source positions of a tile are computed
/// and sampled while they are in the cache, so working memory does not grow with the image.
///
/// K and R are 3 x 3, T is 3 x 1, all `CV_32F` (else `cv::Exception`). A destination that
/// `requireFootprint` refuses raises `cv::Exception` (`StsOutOfRange`) before memory is taken. A
/// warper keeps its projection: not for two threads at once.
class ParallelPlaneWarper : public cv::detail::PlaneWarper {
 public:
  /// @param[in] scale  pixels of the destination per unit of the plane.
  explicit ParallelPlaneWarper(float scale) : PlaneWarper(scale) {}

  using PlaneWarper::buildMaps;
  using PlaneWarper::warp;

  cv::Rect buildMaps(cv::Size sourceSize,
                     cv::InputArray K,
                     cv::InputArray R,
                     cv::InputArray T,
                     cv::OutputArray xMap,
                     cv::OutputArray yMap) override;

  cv::Point warp(cv::InputArray source,
                 cv::InputArray K,
                 cv::InputArray R,
                 cv::InputArray T,
                 int interpolation,
                 int border,
                 cv::OutputArray warped) override;

  /// Warps an image and a mask of its size that is 255 everywhere, from one computation of the
  /// source positions.
  ///
  /// @param[out] warped, mask  new memory; the mask is `CV_8UC1`.
  /// @return the position of the top-left pixel of both on the plane.
  cv::Point warpWithMask(const cv::Mat& image,
                         cv::InputArray K,
                         cv::InputArray R,
                         Sampling imageSampling,
                         Sampling maskSampling,
                         cv::Mat& warped,
                         cv::Mat& mask);

 private:
  cv::Rect project(cv::Size sourceSize, cv::InputArray K, cv::InputArray R, cv::InputArray T);
};

/// Factory of parallel plane warpers.
class ParallelPlaneWarperCreator : public cv::PlaneWarper {
 public:
  [[nodiscard]] cv::Ptr<cv::detail::RotationWarper> create(float scale) const override {
    return cv::makePtr<ParallelPlaneWarper>(scale);
  }
};

/// True for the kinds whose footprints follow from sizes and cameras alone: this warper and
/// OpenCV's plane warper itself. Where another kind puts an image is known only from its `warp()`.
bool isPlaneWarper(const cv::detail::RotationWarper& warper);

/// ParallelPlaneWarper::warpWithMask() with any warper: another kind warps image and mask one after
/// the other.
cv::Point warpWithMask(cv::detail::RotationWarper& warper,
                       const cv::Mat& image,
                       cv::InputArray K,
                       cv::InputArray R,
                       Sampling imageSampling,
                       Sampling maskSampling,
                       cv::Mat& warped,
                       cv::Mat& mask);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_PLANE_WARPER_H
