// SPDX-License-Identifier: MIT
/// @file
/// Blending one tile of the montage at a time.
#ifndef ORV_MONTAGE_COMPOSITION_TILE_BLENDING_H
#define ORV_MONTAGE_COMPOSITION_TILE_BLENDING_H

#include "Composition/BlendOptions.h"
#include "Composition/WarpedImage.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// One image in the montage.
struct PlacedMask {
  cv::Rect area;  ///< relative to the montage's top-left pixel, inside the montage
  cv::Mat mask;   ///< `CV_8UC1` of the area's size
};

/// The images of a slab in the order of their masks.
using WarpedImages = std::vector<std::unique_ptr<WarpedImage>>;

/// A way of blending, prepared for masks that many slabs share.
///
/// A tile is blended from all images that touch it, in their order, with the bytes that OpenCV's
/// blender of the kind gives for the whole montage; nothing of the montage's size is held but the
/// montage. Tiles may be blended at the same time.
class TileBlending {
 public:
  TileBlending() = default;
  TileBlending(const TileBlending&) = delete;
  TileBlending& operator=(const TileBlending&) = delete;
  virtual ~TileBlending() = default;

  /// Side of the tiles that suit it.
  [[nodiscard]] virtual int tileSide() const = 0;

  /// How far from its mask, in pixels, an image bears on the montage.
  [[nodiscard]] virtual int reach() const = 0;

  /// @param[in] images  8-bit with the channels of `pixels`.
  /// @param[in] tile  part of the montage, its corner at multiples of `tileSide()`.
  /// @param[out] pixels  8-bit, 1 or 3 channels, of the tile's size; every pixel is written.
  virtual void blend(const WarpedImages& images, const cv::Rect& tile, cv::Mat pixels) const = 0;
};

/// Prepares blending of that kind, with its settings.
///
/// @param[in] montage  size of the montage.
std::unique_ptr<TileBlending> makeTileBlending(const BlendOptions& options,
                                               std::vector<PlacedMask> masks,
                                               cv::Size montage);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_TILE_BLENDING_H
