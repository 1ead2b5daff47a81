// SPDX-License-Identifier: MIT
/// @file
/// Composes slab after slab with one geometry: resample, warp, exposure gains, blend.
#ifndef ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H
#define ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H

#include "Composition/BlendOptions.h"
#include "Composition/ImagePlacement.h"
#include "Composition/PlaneComposer.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Composes the montages of slabs that share their geometry.
///
/// With the library's or OpenCV's plane warper and gains per block by a `PlaneComposer`, which is
/// made for the first slab and kept; any other warper or compensator has the warped images of a slab
/// held as a whole. Either way the bytes are those of warping, compensating and blending whole
/// images with OpenCV, one after the other.
class SlabComposer {
 public:
  /// Blends whole footprints without exposure gains.
  SlabComposer(cv::Ptr<cv::detail::RotationWarper> warper,
               SlabGeometry geometry,
               const BlendOptions& blending);

  /// Blends within seam masks and applies the gains.
  SlabComposer(cv::Ptr<cv::detail::RotationWarper> warper,
               SlabGeometry geometry,
               SlabSeams seams,
               const BlendOptions& blending);

  /// @param[in] images  one slab, full resolution, `CV_8UC1` or `CV_8UC3`, in the cameras' order.
  /// @return the montage in new memory: 8-bit, one channel if the first image has one, else three.
  cv::Mat compose(const std::vector<cv::Mat>& images);

 private:
  /// What slabs whose images have the same sizes share.
  struct Layout {
    std::vector<cv::Size> imageSizes;
    int channels;  ///< of the montage
    cv::Rect montage;
    std::unique_ptr<PlaneComposer> plane;
  };

  [[nodiscard]] bool gainsAreKnown() const;
  cv::Mat composeOnPlane(const std::vector<cv::Mat>& images);
  void layOut(const std::vector<cv::Mat>& images);
  [[nodiscard]] PlacedMask maskOf(std::size_t index,
                                  cv::Size scaledSize,
                                  const ImagePlacement& placement) const;
  [[nodiscard]] cv::Mat composeWhole(const std::vector<cv::Mat>& images) const;
  [[nodiscard]] cv::Mat warpWhole(const cv::Mat& image, std::size_t index) const;
  [[nodiscard]] cv::Mat compensated(const cv::Mat& warped, std::size_t index) const;
  [[nodiscard]] Sampling sampling() const;

  cv::Ptr<cv::detail::RotationWarper> warper_;
  SlabGeometry geometry_;
  std::optional<SlabSeams> seams_;
  BlendOptions blending_;
  std::optional<Layout> layout_;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H
