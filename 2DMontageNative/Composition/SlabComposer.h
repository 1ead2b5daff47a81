// SPDX-License-Identifier: MIT
/// @file
/// Composes slab after slab with one geometry: resample, warp, exposure gains, blend.
#ifndef ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H
#define ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/blenders.hpp>
#include <opencv2/stitching/detail/camera.hpp>
#include <opencv2/stitching/detail/exposure_compensate.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Where the images of a slab go: one entry per image, all at composition scale.
struct SlabGeometry {
  std::vector<cv::detail::CameraParams> cameras;
  std::vector<cv::Point> corners;  ///< top-left of each footprint
  std::vector<cv::Size> sizes;     ///< size of each footprint
  double composeScale;             ///< composition / full resolution
};

/// Seam masks at seam scale and the compensator that holds the gains; without masks, whole
/// footprints are blended and no gains applied.
struct SlabSeams {
  std::vector<cv::Mat> masks;
  cv::Ptr<cv::detail::ExposureCompensator> compensator;
};

/// Makes the blender of a kind (0 none, 1 feather, 2 multi-band); an empty pointer for other kinds.
cv::Ptr<cv::detail::Blender> makeBlender(int blendType, bool tryGpu);

/// Composes the montages of slabs that share their geometry.
class SlabComposer {
 public:
  SlabComposer(cv::Ptr<cv::detail::RotationWarper> warper, SlabGeometry geometry);
  SlabComposer(cv::Ptr<cv::detail::RotationWarper> warper, SlabGeometry geometry, SlabSeams seams);

  /// @param[in] images  one slab, full resolution, `CV_8UC1` or `CV_8UC3`, in the cameras' order.
  /// @return the montage in new memory: 8-bit, one channel if the first image has one, else three.
  cv::Mat compose(const std::vector<cv::Mat>& images, cv::detail::Blender& blender) const;

 private:
  struct WarpedImage {
    cv::Mat pixels;  ///< `CV_8UC3`
    cv::Mat mask;    ///< `CV_8UC1`, of the same size
  };

  WarpedImage warpWithinSeams(const cv::Mat& image, std::size_t index) const;
  WarpedImage warpWhole(const cv::Mat& image, std::size_t index) const;

  cv::Ptr<cv::detail::RotationWarper> warper_;
  SlabGeometry geometry_;
  SlabSeams seams_;
  bool withSeams_;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H
