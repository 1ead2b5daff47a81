// SPDX-License-Identifier: MIT
/// @file
/// Makes montages, or parts of them, of images whose places on the montage plane are known.
#ifndef ORV_MONTAGE_COMPOSITION_PLANE_COMPOSER_H
#define ORV_MONTAGE_COMPOSITION_PLANE_COMPOSER_H

#include "Composition/BlendOptions.h"
#include "Composition/ImagePlacement.h"
#include "Composition/TileBlending.h"
#include "Composition/WarpedImage.h"

#include <opencv2/core.hpp>

#include <functional>
#include <memory>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Blends images that are warped where the montage needs them.
///
/// The montage is made tile by tile on all cores: each image that touches a tile is warped there,
/// brought to its gain and blended while the tile is in the cache. A pixel does not depend on the
/// window that it is made in. Several threads may compose at once while no image is prepared or
/// released.
///
/// Holds what depends on geometry alone, of the images that are prepared: masks, 1 byte per pixel of
/// the areas, and for multi-band blending the coarser levels of their pyramids, 1.4 bytes more;
/// making those takes 5 bytes per pixel of one area per thread. Beyond that, the images and the
/// result, composing takes less than 16 MB per thread with three bands, and 64 MB with five.
class PlaneComposer {
 public:
  struct Image {
    cv::detail::PlaneProjector projector;
    ImagePlacement placement;
    cv::Mat gains;  ///< per block, `CV_32FC1`; empty: none
  };

  /// Gives the mask of image `index`. Called by several threads, now and later.
  using MaskMaker = std::function<PlacedMask(std::size_t)>;

  /// Gives image `index` at composition scale with the montage's channels. Called by several
  /// threads.
  using Reader = std::function<cv::Mat(std::size_t)>;

  /// @param[in] channels  of the montage, 1 or 3.
  PlaneComposer(const std::vector<Image>& images,
                MaskMaker masks,
                cv::Size montage,
                const BlendOptions& blending,
                Sampling sampling,
                int channels);

  /// Images that bear on a window.
  [[nodiscard]] std::vector<std::size_t> imagesOf(const cv::Rect& window) const;

  /// Tiles that a window is made of, for progress.
  [[nodiscard]] int tileCount(const cv::Rect& window) const;

  /// Side of the tiles; rows of windows suit it that are multiples of it high.
  [[nodiscard]] int tileSide() const { return blending_->tileSide(); }

  /// Makes the masks of these images, unless they are there, and reads their pixels.
  void read(const std::vector<std::size_t>& which, const Reader& reader, WarpedImages& images);

  /// Lets go of masks; they are made again when they are needed.
  void release(const std::vector<std::size_t>& which);

  /// @param[in] images  read at least for the images of this window.
  /// @param[in] window  part of the montage.
  /// @param[out] pixels  8-bit with the montage's channels, of the window's size.
  /// @param[out] coverage  `CV_8UC1` of the window's size, or empty: 255 where some image covers.
  /// @param[in] step  called after every tile, by any thread; may throw.
  void compose(const WarpedImages& images,
               const cv::Rect& window,
               cv::Mat pixels,
               cv::Mat coverage,
               const std::function<void()>& step) const;

 private:
  void prepare(std::size_t index);

  std::vector<Image> images_;
  MaskMaker masks_;
  std::unique_ptr<TileBlending> blending_;
  int channels_;
  std::vector<PlaneSampler> samplers_;  ///< without cells and gains unless prepared
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_PLANE_COMPOSER_H
