// SPDX-License-Identifier: MIT
/// @file
/// Cuts a picture that comes in rectangles into tiles, and makes the reduced pictures from them.
#ifndef ORV_MONTAGE_PIPELINE_TILE_PYRAMID_H
#define ORV_MONTAGE_PIPELINE_TILE_PYRAMID_H

#include "Pipeline/TileGrid.h"

#include <opencv2/core.hpp>

#include <cstddef>
#include <functional>
#include <map>
#include <vector>

namespace montage {

/// Holds the tiles that are partly filled. A full one is encoded, stored, and becomes a quarter of
/// a tile of the next level; see TiffSink for how pixels are reduced.
class TilePyramid {
 public:
  using Bytes = std::vector<unsigned char>;
  /// Turns the pixels of a whole tile into bytes; called by several threads at once.
  using Encode = std::function<Bytes(const cv::Mat& tile)>;
  /// Takes a tile's bytes; the order depends on the order of the rectangles only.
  using Store = std::function<void(std::size_t level, std::size_t tile, const Bytes& bytes)>;

  /// @param[in] type  `CV_8UC1`, `CV_8UC3` or `CV_8UC4`. @param[in] reduced  make further levels.
  TilePyramid(cv::Size size, int type, bool reduced, Encode encode, Store store);

  /// From the full resolution down.
  [[nodiscard]] const std::vector<TileGrid>& levels() const { return levels_; }

  /// @throw std::invalid_argument for pixels outside, of another type, or there already
  void add(const cv::Rect& area, const cv::Mat& pixels);

  [[nodiscard]] bool isComplete() const { return missingTiles_ == 0; }

 private:
  struct Tile {
    cv::Point at;  ///< in tiles
    cv::Mat pixels;
    int missing = 0;  ///< pixels
  };

  Tile& open(std::size_t level, cv::Point at);
  void fill(const std::vector<cv::Point>& tiles, const cv::Rect& area, const cv::Mat& pixels);
  /// Encodes, stores and reduces full tiles; returns those of the next level that are full by it.
  std::vector<Tile*> finish(std::size_t level, const std::vector<Tile*>& full);

  int type_;
  Encode encode_;
  Store store_;
  std::vector<TileGrid> levels_;
  std::vector<std::map<std::size_t, Tile>> open_;  ///< per level, by number
  std::vector<bool> done_;                         ///< of the full resolution, by number
  std::size_t missingTiles_ = 0;                   ///< of all levels
};

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_TILE_PYRAMID_H
