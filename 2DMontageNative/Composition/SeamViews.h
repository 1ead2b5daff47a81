// SPDX-License-Identifier: MIT
/// @file
/// The images as exposure gains and seams are found on them: small, warped onto the montage plane.
#ifndef ORV_MONTAGE_COMPOSITION_SEAM_VIEWS_H
#define ORV_MONTAGE_COMPOSITION_SEAM_VIEWS_H

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// The image at seam scale.
cv::Mat reducedForSeams(const cv::Mat& image, double seamScale);

/// The size that `reducedForSeams` gives, without resampling.
cv::Size reducedSizeForSeams(cv::Size size, double seamScale);

/// Warped images, all lists in their order; three channels whatever the images have.
struct SeamViews {
  std::vector<cv::Point> corners;
  std::vector<cv::Size> sizes;
  std::vector<cv::UMat> colour;  ///< `CV_8UC3`
  std::vector<cv::UMat> masks;   ///< `CV_8UC1`

  /// Warps an image at seam scale, cubic on black, and appends it.
  ///
  /// @param[in] maskInterpolation  cubic masks have soft rims, nearest ones are 0 or 255.
  void add(cv::detail::RotationWarper& warper,
           const cv::Mat& reduced,
           const cv::Mat& K,
           const cv::Mat& R,
           int maskInterpolation);

  /// The images as the seam finders take them, `CV_32FC3`.
  [[nodiscard]] std::vector<cv::UMat> inSinglePrecision() const;
};

/// Two images whose footprints overlap on the plane.
struct ViewPair {
  std::size_t first;
  std::size_t second;  ///< above `first`
  cv::Rect overlap;    ///< of the footprints; the images themselves may share less
};

/// Every pair that overlaps, in the order of its first, then its second image.
std::vector<ViewPair> overlappingPairs(const SeamViews& views);

/// A seam mask that reaches `width` pixels further.
cv::Mat widened(const cv::UMat& mask, int width);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_SEAM_VIEWS_H
