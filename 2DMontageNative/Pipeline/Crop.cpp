// SPDX-License-Identifier: MIT
#include "Pipeline/Crop.h"

#include "Pipeline/PlanLayout.h"
#include "Platform/ParallelLoop.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace montage {
namespace {

/// The map of covered cells has about this many at most; larger montages have larger cells.
constexpr double kMostCells = 64e6;

int cellSideFor(cv::Size size) {
  const double area = static_cast<double>(size.width) * size.height;
  return std::max(1, static_cast<int>(std::ceil(std::sqrt(area / kMostCells))));
}

/// The masks of the images that a band of rows touches; none is held for longer.
class BandMasks {
 public:
  explicit BandMasks(const MontagePlan& plan)
      : plan_(plan), images_(layOut(plan)), masks_(images_.size()) {}

  /// Sets the pixels of a band that any mask covers. Bands come from top to bottom.
  void cover(const cv::Rect& band, cv::Mat pixels) {
    ORV::Common::Platform::parallelFor(0, static_cast<int>(images_.size()), [&](int index) {
      const auto i = static_cast<std::size_t>(index);
      const bool touches = !(images_[i].placement.area & band).empty();
      if (touches && masks_[i].empty()) {
        masks_[i] = maskOf(plan_, images_[i], i).mask;
      } else if (!touches) {
        masks_[i].release();
      }
    });
    pixels.setTo(0);
    for (std::size_t i = 0; i < images_.size(); ++i) {
      const cv::Rect& area = images_[i].placement.area;
      const cv::Rect shared = area & band;
      if (!shared.empty()) {
        pixels(shared - band.tl()).setTo(255, masks_[i](shared - area.tl()));
      }
    }
  }

 private:
  const MontagePlan& plan_;
  std::vector<composition::PlaneComposer::Image> images_;
  std::vector<cv::Mat> masks_;
};

/// Marks the cells of the canvas that images cover: wholly, or at least in part.
cv::Mat coveredCells(const MontagePlan& plan, int side, bool wholly) {
  BandMasks masks(plan);
  const cv::Size cells((plan.canvas.width + side - 1) / side,
                       (plan.canvas.height + side - 1) / side);
  cv::Mat covered = cv::Mat::zeros(cells, CV_8UC1);
  cv::Mat band(side, plan.canvas.width, CV_8UC1);
  for (int row = 0; row < cells.height; ++row) {
    const cv::Rect area = cv::Rect(0, row * side, plan.canvas.width, side) &
                          cv::Rect(cv::Point(), plan.canvas.size());
    cv::Mat pixels = band.rowRange(0, area.height);
    masks.cover(area, pixels);
    for (int column = 0; column < cells.width; ++column) {
      const cv::Rect cell =
          cv::Rect(column * side, 0, side, area.height) & cv::Rect(cv::Point(), pixels.size());
      const int count =
          side == 1 ? pixels.at<uchar>(0, column) / 255 : cv::countNonZero(pixels(cell));
      covered.at<uchar>(row, column) = count >= (wholly ? cell.area() : 1) ? 255 : 0;
    }
  }
  return covered;
}

/// The box around the non-zero cells. From own loops: `cv::boundingRect` of a mask may be wrong in
/// the first columns (OpenCV 4.6).
cv::Rect boxAround(const cv::Mat& covered) {
  int left = covered.cols;
  int right = 0;
  int top = covered.rows;
  int bottom = 0;
  for (int row = 0; row < covered.rows; ++row) {
    const auto* const cells = covered.ptr<uchar>(row);
    for (int column = 0; column < covered.cols; ++column) {
      if (cells[column] != 0) {
        left = std::min(left, column);
        right = std::max(right, column + 1);
        top = std::min(top, row);
        bottom = std::max(bottom, row + 1);
      }
    }
  }
  return right > left ? cv::Rect(left, top, right - left, bottom - top) : cv::Rect();
}

}  // namespace

cv::Rect largestRectangle(const cv::Mat& covered) {
  // Row by row, the largest rectangle under the histogram of heights above the row.
  std::vector<int> heights(static_cast<std::size_t>(covered.cols) + 1, 0);  // a zero ends the row
  std::vector<int> rising;  // columns of rising heights
  cv::Rect largest;
  double largestArea = 0.0;
  for (int row = 0; row < covered.rows; ++row) {
    const auto* const cells = covered.ptr<uchar>(row);
    rising.clear();
    for (int column = 0; column <= covered.cols; ++column) {
      const auto c = static_cast<std::size_t>(column);
      if (column < covered.cols) {
        heights[c] = cells[column] != 0 ? heights[c] + 1 : 0;
      }
      while (!rising.empty() && heights[static_cast<std::size_t>(rising.back())] >= heights[c]) {
        const int height = heights[static_cast<std::size_t>(rising.back())];
        rising.pop_back();
        const int left = rising.empty() ? 0 : rising.back() + 1;
        const double area = static_cast<double>(height) * (column - left);
        if (area > largestArea) {
          largestArea = area;
          largest = {left, row - height + 1, column - left, height};
        }
      }
      rising.push_back(column);
    }
  }
  return largest;
}

void crop(MontagePlan& plan) {
  if (plan.options.crop == Crop::none) {
    return;
  }
  const int side = cellSideFor(plan.canvas.size());
  const bool inner = plan.options.crop == Crop::inner;
  const cv::Mat covered = coveredCells(plan, side, inner);
  const cv::Rect cells = inner ? largestRectangle(covered) : boxAround(covered);
  const cv::Rect kept =
      cv::Rect(cells.tl() * side, cells.size() * side) & cv::Rect(cv::Point(), plan.canvas.size());
  if (!kept.empty()) {
    plan.origin = plan.canvas.tl() + kept.tl();
    plan.size = kept.size();
  }
}

}  // namespace montage
