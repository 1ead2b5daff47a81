// SPDX-License-Identifier: MIT
/// @file
/// Composes slab after slab with one geometry: resample, warp, exposure gains, blend.
#ifndef ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H
#define ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H

#include "Composition/BlendOptions.h"
#include "Composition/ImagePlacement.h"
#include "Composition/TileBlending.h"
#include "Composition/WarpedImage.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Composes the montages of slabs that share their geometry.
///
/// The montage is made tile by tile on all cores: each image that touches a tile is warped there,
/// brought to its gain and blended while the tile is in the cache, and only where the montage needs
/// it. The bytes are those of warping, compensating and blending whole images with OpenCV, one
/// after the other.
///
/// What depends on geometry alone is made for the first slab and kept: masks, 1 byte per pixel of
/// the footprints, and for multi-band blending the coarser levels of their pyramids, 1.4 bytes
/// more; making those takes 4 bytes per pixel of one footprint per thread. Beyond that and the
/// result a slab takes less than 16 MB per thread, whatever its size, and a copy of its images at
/// composition scale where that is not full resolution or the channels differ. A warper other than
/// the library's or OpenCV's plane warper, or a compensator other than for gains per block, has the
/// warped images of a slab held as a whole.
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
    std::vector<cv::Size> wholeSizes;  ///< of the images that were warped to be laid out
    int channels;                      ///< of the montage
    cv::Rect montage;
    std::vector<ImagePlacement> placements;
    std::unique_ptr<TileBlending> blending;
    std::vector<std::optional<PlaneSampler>> samplers;  ///< empty: to be warped as a whole
  };

  void layOut(const std::vector<cv::Mat>& images, const std::vector<cv::Mat>& whole);
  [[nodiscard]] ImagePlacement place(std::size_t index,
                                     cv::Size scaledSize,
                                     const cv::Rect& footprint,
                                     cv::Point origin) const;
  [[nodiscard]] std::optional<PlaneSampler> samplerOf(const Layout& layout,
                                                      std::size_t index) const;
  [[nodiscard]] std::unique_ptr<WarpedImage> warp(const cv::Mat& image, std::size_t index) const;
  [[nodiscard]] cv::Mat warpWhole(const cv::Mat& image, std::size_t index) const;
  [[nodiscard]] std::unique_ptr<WarpedImage> store(const cv::Mat& warped, std::size_t index) const;
  [[nodiscard]] Sampling sampling() const;

  cv::Ptr<cv::detail::RotationWarper> warper_;
  SlabGeometry geometry_;
  std::optional<SlabSeams> seams_;
  BlendOptions blending_;
  std::optional<Layout> layout_;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_SLAB_COMPOSER_H
