// SPDX-License-Identifier: MIT
/// @file
/// The turned and scaled square patch of pixels that SURF describes.
#ifndef ORV_MONTAGE_REGISTRATION_SURF_PATCH_H
#define ORV_MONTAGE_REGISTRATION_SURF_PATCH_H

#include "Registration/AreaWeights.h"
#include "Registration/SurfWindow.h"

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Side of a patch in pixels.
constexpr int kSurfPatchSide = 21;

/// Rows of a patch from top to bottom.
using SurfPatch = std::array<std::array<std::uint8_t, kSurfPatchSide>, kSurfPatchSide>;

/// Cuts patches out of one image, one after the other; an object per thread.
class SurfPatchCutter {
 public:
  /// The image with the last row and column repeated once, so that every pixel has neighbours.
  /// @param[in] grey  `CV_8UC1`, fewer than 2^31 bytes.
  static cv::Mat padded(const cv::Mat& grey);

  /// @param[in] paddedImage  result of `padded`; borrowed for the object's life.
  explicit SurfPatchCutter(const cv::Mat& paddedImage)
      : window_{paddedImage, 0, 0.0, 0.0, {}, {}} {}

  /// The square of 21 scales around the keypoint, its rows along the keypoint's direction, averaged
  /// over areas to 21 x 21 pixels.
  ///
  /// The square is first sampled at steps of one pixel: bilinearly, rounded to 8 bits, and by the
  /// nearest pixel where a neighbour lies outside the image. The averages are those of `cv::resize`
  /// with `INTER_AREA`.
  ///
  /// @param[in] keypoint  `size` at least 9; `angle` in degrees.
  /// @return valid until the next call.
  /// @note Allocates only for a larger square than any before.
  const SurfPatch& cut(const cv::KeyPoint& keypoint);

 private:
  void placeWindow(const cv::KeyPoint& keypoint);
  void averageColumns(float factor);

  SurfWindow window_;
  std::vector<AreaWeight> weights_;
  std::vector<float> samples_;
  std::vector<float> rowAverages_;
  SurfPatch patch_{};
};

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SURF_PATCH_H
