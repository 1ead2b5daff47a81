// SPDX-License-Identifier: MIT
/// @file
/// Blending one tile of the montage at a time.
#ifndef ORV_MONTAGE_COMPOSITION_TILE_BLENDING_H
#define ORV_MONTAGE_COMPOSITION_TILE_BLENDING_H

#include "Composition/BlendOptions.h"
#include "Composition/WarpedImage.h"

#include <opencv2/core.hpp>

#include <functional>
#include <memory>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {

/// One image in the montage.
struct PlacedMask {
  cv::Rect area;  ///< relative to the montage's top-left pixel, inside the montage
  cv::Mat mask;   ///< `CV_8UC1` of the area's size
  /// Columns of every row of the area that show the image itself; empty: not known.
  std::vector<cv::Range> inside = {};
};

/// The images of a slab in the order of their masks.
using WarpedImages = std::vector<std::unique_ptr<WarpedImage>>;

/// A way of blending, prepared for masks that many slabs share.
///
/// A tile is blended from all images that touch it, in their order, with the bytes that OpenCV's
/// blender of the kind gives for the whole montage; nothing of the montage's size is held but the
/// montage. Tiles may be blended at the same time, while no image is placed or removed.
class TileBlending {
 public:
  /// @param[in] areas  of the images, relative to the montage's top-left pixel, inside the montage.
  explicit TileBlending(const std::vector<cv::Rect>& areas);
  TileBlending(const TileBlending&) = delete;
  TileBlending& operator=(const TileBlending&) = delete;
  virtual ~TileBlending() = default;

  /// Side of the tiles that suit it.
  [[nodiscard]] virtual int tileSide() const = 0;

  /// How far from its mask, in pixels, an image bears on the montage.
  [[nodiscard]] virtual int reach() const = 0;

  /// Tiles begin at multiples of this; a divisor of `tileSide()`.
  [[nodiscard]] virtual int alignment() const { return 1; }

  /// Prepares an image, as must be done before a tile is blended that it bears on. Several images
  /// may be placed at the same time.
  ///
  /// @param[in] mask  of the image's area.
  void place(std::size_t index, PlacedMask mask);

  /// Lets go of what `place` has made of an image.
  void remove(std::size_t index);

  /// @param[in] images  8-bit with the channels of `pixels`; those that do not bear on the tile may
  ///   be null.
  /// @param[in] tile  part of the montage, its corner at multiples of `alignment()`.
  /// @param[out] pixels  8-bit, 1 or 3 channels, of the tile's size; every pixel is written.
  virtual void blend(const WarpedImages& images, const cv::Rect& tile, cv::Mat pixels) const = 0;

  /// The mask of image `index`, non-zero where it bears on the pixel that it lies over.
  /// Without pixels unless the image is placed.
  [[nodiscard]] const PlacedMask& maskOf(std::size_t index) const { return placed_[index]; }
  [[nodiscard]] std::size_t imageCount() const { return placed_.size(); }

 protected:
  /// Makes what blending needs of an image besides its mask, which it may replace by another one
  /// that is non-zero in the same places.
  virtual void prepare(std::size_t /*index*/, PlacedMask& /*placed*/) {}
  virtual void forget(std::size_t /*index*/) {}

 private:
  std::vector<PlacedMask> placed_;
};

/// Blending of that kind, with its settings; no image is placed yet.
///
/// @param[in] montage  size of the montage.
std::unique_ptr<TileBlending> makeTileBlending(const BlendOptions& options,
                                               const std::vector<cv::Rect>& areas,
                                               cv::Size montage);

/// The same with all images placed.
std::unique_ptr<TileBlending> makeTileBlending(const BlendOptions& options,
                                               std::vector<PlacedMask> masks,
                                               cv::Size montage);

/// The area with a margin all around.
cv::Rect grown(const cv::Rect& area, int margin);

/// The tiles that a window of the montage is made of, from top to bottom: parts of the window.
std::vector<cv::Rect> tilesOf(const TileBlending& blending, const cv::Rect& window);

/// Blends a window of the montage, tile by tile on all cores.
///
/// @param[out] pixels  of the window's size, every one is written.
/// @param[out] coverage  `CV_8UC1` of the window's size, or empty: 255 where some image covers the
///   pixel, else 0.
/// @param[in] step  called after every tile, by any thread; may throw; may be empty.
void blendTiles(const TileBlending& blending,
                const WarpedImages& images,
                const cv::Rect& window,
                cv::Mat pixels,
                cv::Mat coverage,
                const std::function<void()>& step);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_TILE_BLENDING_H
