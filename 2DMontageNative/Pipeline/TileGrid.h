// SPDX-License-Identifier: MIT
/// @file
/// Where the square tiles of a picture lie.
#ifndef ORV_MONTAGE_PIPELINE_TILE_GRID_H
#define ORV_MONTAGE_PIPELINE_TILE_GRID_H

#include <opencv2/core.hpp>

#include <cstddef>

namespace montage {

/// Side of a tile in pixels; even, so that four tiles make one of half the resolution.
constexpr int kTileSide = 512;

/// Tiles from the picture's top-left corner on, numbered row by row; the last ones of a row or
/// column may reach out of the picture.
struct TileGrid {
  cv::Size size;  ///< of the picture, pixels

  [[nodiscard]] int columns() const { return (size.width - 1) / kTileSide + 1; }
  [[nodiscard]] int rows() const { return (size.height - 1) / kTileSide + 1; }
  [[nodiscard]] std::size_t count() const {
    return static_cast<std::size_t>(columns()) * static_cast<std::size_t>(rows());
  }
  [[nodiscard]] std::size_t numberOf(cv::Point tile) const {
    return static_cast<std::size_t>(tile.y) * static_cast<std::size_t>(columns()) +
           static_cast<std::size_t>(tile.x);
  }
  /// The part of the picture that lies in a tile.
  [[nodiscard]] cv::Rect areaOf(cv::Point tile) const {
    const cv::Rect whole(tile * kTileSide, cv::Size(kTileSide, kTileSide));
    return whole & cv::Rect(cv::Point(), size);
  }
  /// The picture at half the resolution; odd sides are rounded up.
  [[nodiscard]] TileGrid halved() const {
    return {{size.width / 2 + size.width % 2, size.height / 2 + size.height % 2}};
  }
};

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_TILE_GRID_H
