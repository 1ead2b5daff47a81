// SPDX-License-Identifier: MIT
/// @file
/// Keeps blended pixels near the values of the images that show them.
#ifndef ORV_MONTAGE_COMPOSITION_VALUE_BOUNDS_H
#define ORV_MONTAGE_COMPOSITION_VALUE_BOUNDS_H

#include "Composition/TileBlending.h"

#include <opencv2/core.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

/// The square cells of an image's area that lie next to a cell with a non-zero mask value, or have
/// one.
struct NearCells {
  int side = 1;
  cv::Mat cells;  ///< `CV_8UC1`, non-zero where near

  NearCells() = default;
  NearCells(const cv::Mat& mask, int cellSide);
};

/// The lowest and the highest sample of all images at every pixel of a tile.
///
/// Bands that fade over different widths can add up to less or more than any image has there: a dark
/// or bright fringe along a seam between pictures that differ.
class ValueBounds {
 public:
  ValueBounds(const cv::Rect& tile, int channels);

  /// Takes an image in, where it is near its mask.
  ///
  /// @param[in] pixels  `CV_8U` with the tile's channels, of `window`.
  /// @param[in] window  in the montage.
  /// @param[in] near  where the image counts; must not depend on the tile.
  void add(const cv::Mat& pixels,
           const cv::Rect& window,
           const PlacedMask& image,
           const NearCells& near);

  /// Brings samples that lie more than two grey levels outside to there; pixels that no image shows
  /// stay. Does nothing for fewer than two images.
  void apply(cv::Mat& pixels) const;

 private:
  cv::Rect tile_;
  cv::Mat lowest_;
  cv::Mat highest_;
  int images_ = 0;
};

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_VALUE_BOUNDS_H
