// SPDX-License-Identifier: MIT
/// @file
/// Turns resolutions into scales and carries cameras from the registration to the composition
/// scale.
///
/// @code
/// Scaler scaler(images);                       // five scales of 1, sizes of the images
/// scaler.processParams(0.6f, 0.1f, -1.0f);     // megapixels; negative: full resolution
/// @endcode
#ifndef ORV_MONTAGE_SCALER_H
#define ORV_MONTAGE_SCALER_H

#include "Composition.h"
#include "Export.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/camera.hpp>

#include <vector>

namespace ORV {
namespace Common {
namespace Algorithms {
namespace Montage {

/// The scales of one montage run and the sizes of its images.
class MONTAGE_API Scaler {
 public:
  /// Registration, seam-finding and composition resolution relative to full resolution, (0, 1].
  float workScale;
  float seamScale;
  float composeScale;
  /// seamScale / workScale and composeScale / workScale.
  float seamWorkAspect;
  float composeWorkAspect;
  /// One size per image: full resolution, or footprints after `blendScale`.
  std::vector<cv::Size> sizes;

  /// Takes the sizes of the images; all scales are 1.
  Scaler(std::vector<cv::Mat>& images);  // NOLINT(google-explicit-constructor): by interface
  Scaler(const Scaler& other);
  Scaler& operator=(const Scaler& other);
  ~Scaler();

  /// scale = min(1, sqrt(megapixels * 10^6 / area of the first image)); 1 for negative megapixels.
  /// 0 megapixels give scale 0 and are not rejected: the aspects are then infinite or NaN.
  /// @return 0; 1, with nothing changed, when `sizes` is empty.
  int processParams(float workMegapixels, float seamMegapixels, float composeMegapixels);

  /// Replaces `sizes` by the sizes of the images.
  void updateSizes(std::vector<cv::Mat> images);

  /// Brings warp, cameras and sizes to the composition scale.
  ///
  /// @param[in,out] cameras  at registration scale on entry; focal length and principal point are
  ///   multiplied by composeWorkAspect.
  /// @param[in,out] warp  gets a warper at composition scale.
  /// @param[out] corners  at least one entry per camera: top-left of each warped image.
  /// @note `sizes` must hold full-resolution sizes on entry and holds footprint sizes afterwards.
  void blendScale(std::vector<cv::detail::CameraParams>& cameras,
                  Composition::Warp& warp,
                  std::vector<cv::Point>& corners);
};

}  // namespace Montage
}  // namespace Algorithms
}  // namespace Common
}  // namespace ORV

#endif  // ORV_MONTAGE_SCALER_H
