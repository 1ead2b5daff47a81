// SPDX-License-Identifier: MIT
#include "DistortCorrect/BlackCells.h"

#include "Platform/ParallelLoop.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

constexpr int kCellSide = 16;
/// Pixels around a position that a sample may depend on, rounding of the position included.
constexpr double kReach = 3.0;

int cellsAlong(int size) {
  return (size + kCellSide - 1) / kCellSide;
}

/// 1 for each cell that is not black.
cv::Mat brightCells(const cv::Mat& source) {
  cv::Mat bright = cv::Mat::zeros(cellsAlong(source.rows), cellsAlong(source.cols), CV_8UC1);
  const int cellBytes = kCellSide * source.channels();
  const int rowBytes = source.cols * source.channels();
  Platform::parallelFor(0, bright.rows, [&](int cellRow) {
    unsigned char* const cells = bright.ptr(cellRow);
    const int end = std::min((cellRow + 1) * kCellSide, source.rows);
    for (int row = cellRow * kCellSide; row < end; ++row) {
      const unsigned char* const bytes = source.ptr(row);
      for (int cell = 0, first = 0; first < rowBytes; ++cell, first += cellBytes) {
        unsigned char any = 0;
        for (int i = first; i < std::min(first + cellBytes, rowBytes); ++i) {
          any = static_cast<unsigned char>(any | bytes[i]);
        }
        cells[cell] = static_cast<unsigned char>(cells[cell] | (any != 0 ? 1 : 0));
      }
    }
  });
  return bright;
}

/// The cells under positions [first, last] of an axis of `size` pixels.
cv::Range cellsUnder(float first, float last, int size) {
  const auto limit = static_cast<double>(size);
  const double from = std::clamp(std::floor(first) - kReach, 0.0, limit);
  const double past = std::clamp(std::ceil(last) + kReach + 1.0, 0.0, limit);
  return {static_cast<int>(from) / kCellSide, cellsAlong(static_cast<int>(past))};
}

}  // namespace

BlackCells::BlackCells(const cv::Mat& source) : size_(source.size()) {
  if (!source.empty()) {
    cv::integral(brightCells(source), counts_, CV_32S);
  }
}

bool BlackCells::blackWithin(const Extent& extent) const {
  if (extent.empty()) {
    return true;
  }
  const cv::Range cols = cellsUnder(extent.minX, extent.maxX, size_.width);
  const cv::Range rows = cellsUnder(extent.minY, extent.maxY, size_.height);
  return cols.start >= cols.end || rows.start >= rows.end ||
         brightIn({cols.start, rows.start, cols.size(), rows.size()}) == 0;
}

int BlackCells::brightIn(const cv::Rect& cells) const {
  const int* const above = counts_.ptr<int>(cells.y);
  const int* const below = counts_.ptr<int>(cells.y + cells.height);
  const int right = cells.x + cells.width;
  return below[right] - below[cells.x] - above[right] + above[cells.x];
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
