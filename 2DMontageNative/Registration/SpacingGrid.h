// SPDX-License-Identifier: MIT
/// @file
/// Bucket grid that answers whether a pixel keeps the minimum distance from the corners taken.
#ifndef ORV_MONTAGE_REGISTRATION_SPACING_GRID_H
#define ORV_MONTAGE_REGISTRATION_SPACING_GRID_H

#include <cstddef>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Pixels of an image taken so far, in square cells no smaller than the minimum distance, so that
/// only the cells around a pixel need be looked at. A cell holds few: they keep the distance.
class SpacingGrid {
 public:
  /// @param[in] minDistance  pixels; up to 1, or NaN, two different pixels are never too close.
  SpacingGrid(int rows, int cols, float minDistance);

  /// Takes the pixel unless one taken before is closer than the minimum distance.
  [[nodiscard]] bool take(int x, int y);

 private:
  struct Taken {
    int x;
    int y;
    int next;  // in the same cell, or kNone
  };

  [[nodiscard]] bool isTooClose(int x, int y) const;

  float minDistance_;
  int cellSide_ = 1;
  int gridRows_ = 0;
  int gridCols_ = 0;
  std::vector<int> newestOfCell_;
  std::vector<Taken> taken_;
};

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SPACING_GRID_H
