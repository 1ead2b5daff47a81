// SPDX-License-Identifier: MIT
#include "Composition/ValueBounds.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kSlack = 2;
constexpr int kMost = 255;

}  // namespace

ValueBounds::ValueBounds(const cv::Rect& tile, int channels)
    : tile_(tile),
      lowest_(tile.size(), CV_8UC(channels), cv::Scalar::all(kMost)),
      highest_(tile.size(), CV_8UC(channels), cv::Scalar::all(0)) {}

NearCells::NearCells(const cv::Mat& mask, int cellSide)
    : side(cellSide),
      cells(cv::Mat::zeros(
          (mask.rows + cellSide - 1) / cellSide, (mask.cols + cellSide - 1) / cellSide, CV_8UC1)) {
  cv::Mat joined;  // the rows of a row of cells
  for (int row = 0; row < cells.rows; ++row) {
    cv::reduce(mask.rowRange(row * side, std::min((row + 1) * side, mask.rows)),
               joined,
               0,
               cv::REDUCE_MAX);
    auto* const marks = cells.ptr<uchar>(row);
    const auto* const values = joined.ptr<uchar>();
    for (int column = 0; column < mask.cols; ++column) {
      marks[column / side] |= values[column];
    }
  }
  cv::dilate(cells, cells, cv::Mat());
}

void ValueBounds::add(const cv::Mat& pixels,
                      const cv::Rect& window,
                      const PlacedMask& image,
                      const NearCells& near) {
  ++images_;
  const int channels = lowest_.channels();
  const cv::Rect shared = tile_ & window & image.area;
  for (int y = shared.y; y < shared.br().y; ++y) {
    const int row = y - image.area.y;
    const cv::Range& run = image.inside[static_cast<std::size_t>(row)];
    const int first = std::max(shared.x - image.area.x, run.start);
    const int end = std::min(shared.br().x - image.area.x, run.end);
    const auto* const marks = near.cells.ptr<uchar>(row / near.side);
    const auto* const from = pixels.ptr<uchar>(y - window.y);
    auto* const low = lowest_.ptr<uchar>(y - tile_.y);
    auto* const high = highest_.ptr<uchar>(y - tile_.y);
    for (int column = first; column < end;) {
      const int next = std::min(end, (column / near.side + 1) * near.side);
      if (marks[column / near.side] != 0) {
        const int source = (column + image.area.x - window.x) * channels;
        const int target = (column + image.area.x - tile_.x) * channels;
        for (int i = 0; i < (next - column) * channels; ++i) {
          low[target + i] = std::min(low[target + i], from[source + i]);
          high[target + i] = std::max(high[target + i], from[source + i]);
        }
      }
      column = next;
    }
  }
}

void ValueBounds::apply(cv::Mat& pixels) const {
  if (images_ < 2) {
    return;
  }
  const int samples = pixels.cols * pixels.channels();
  for (int row = 0; row < pixels.rows; ++row) {
    const auto* const low = lowest_.ptr<uchar>(row);
    const auto* const high = highest_.ptr<uchar>(row);
    auto* const values = pixels.ptr<uchar>(row);
    for (int i = 0; i < samples; ++i) {
      const int least = std::max(low[i] - kSlack, 0);
      const int most = std::min(high[i] + kSlack, kMost);
      const int bounded = std::min(std::max<int>(values[i], least), most);
      values[i] = low[i] <= high[i] ? static_cast<uchar>(bounded) : values[i];
    }
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
