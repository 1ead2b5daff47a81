// SPDX-License-Identifier: MIT
#include "Registration/SpacingGrid.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kNone = -1;

std::size_t cellIndex(int row, int col, int gridCols) {
  return static_cast<std::size_t>(row) * static_cast<std::size_t>(gridCols) +
         static_cast<std::size_t>(col);
}

}  // namespace

SpacingGrid::SpacingGrid(int rows, int cols, float minDistance) : minDistance_(minDistance) {
  if (!(minDistance > 1.0F)) {
    return;
  }
  const int longerSide = std::max(rows, cols);
  cellSide_ = minDistance < static_cast<float>(longerSide)
                  ? static_cast<int>(std::ceil(minDistance))
                  : longerSide;
  gridRows_ = (rows - 1) / cellSide_ + 1;
  gridCols_ = (cols - 1) / cellSide_ + 1;
  newestOfCell_.assign(cellIndex(gridRows_, 0, gridCols_), kNone);
}

bool SpacingGrid::take(int x, int y) {
  if (newestOfCell_.empty()) {
    return true;
  }
  if (isTooClose(x, y)) {
    return false;
  }
  int& newest = newestOfCell_[cellIndex(y / cellSide_, x / cellSide_, gridCols_)];
  taken_.push_back({x, y, newest});
  newest = static_cast<int>(taken_.size()) - 1;
  return true;
}

bool SpacingGrid::isTooClose(int x, int y) const {
  const int cellRow = y / cellSide_;
  const int cellCol = x / cellSide_;
  for (int row = std::max(cellRow - 1, 0); row <= std::min(cellRow + 1, gridRows_ - 1); ++row) {
    for (int col = std::max(cellCol - 1, 0); col <= std::min(cellCol + 1, gridCols_ - 1); ++col) {
      int index = newestOfCell_[cellIndex(row, col, gridCols_)];
      while (index != kNone) {
        const Taken& other = taken_[static_cast<std::size_t>(index)];
        const auto dx = static_cast<float>(other.x - x);
        const auto dy = static_cast<float>(other.y - y);
        if (std::sqrt(dx * dx + dy * dy) < minDistance_) {
          return true;
        }
        index = other.next;
      }
    }
  }
  return false;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
