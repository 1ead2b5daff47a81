// SPDX-License-Identifier: MIT
#include "Composition/OverlapCut.h"

#include "Composition/PixelGraph.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

// OpenCV's costs are whole numbers too, in floats that hold them exactly.
constexpr int kTerminalCost = 10000;
constexpr int kBadRegionPenalty = 1000;
constexpr int kLeastCost = 1;

/// More than all edges of a pixel can carry.
constexpr int kFixed = 1 << 28;

/// Overlaps with a shorter side than this are cut as they are.
constexpr int kCoarsestSide = 24;

/// Pixels on either side of a coarser cut among which the finer one is looked for.
constexpr int kBand = 5;

/// A cut costs what the colours on both of its sides differ, and more where an image has none.
class EdgeCost {
 public:
  explicit EdgeCost(const Overlap& overlap) : overlap_(overlap) {}

  [[nodiscard]] int right(int x, int y) const { return between(x, y, x + 1, y); }
  [[nodiscard]] int down(int x, int y) const { return between(x, y, x, y + 1); }

 private:
  [[nodiscard]] int between(int x, int y, int otherX, int otherY) const {
    const bool good =
        (overlap_.shared.at<uchar>(y, x) & overlap_.shared.at<uchar>(otherY, otherX)) != 0;
    return overlap_.difference(y, x) + overlap_.difference(otherY, otherX) +
           overlap_.pixelSide * (kLeastCost + (good ? 0 : kBadRegionPenalty));
  }

  const Overlap& overlap_;
};

cv::Mat sidesOf(const PixelGraph& graph, cv::Size size) {
  cv::Mat sides(size, CV_8UC1);
  for (int y = 0; y < size.height; ++y) {
    auto* const row = sides.ptr(y);
    for (int x = 0; x < size.width; ++x) {
      row[x] = graph.onSourceSide(x, y) ? 255 : 0;
    }
  }
  return sides;
}

/// At half the resolution: sums of owners, means of differences that count for edges of twice the
/// length.
Overlap halved(const Overlap& overlap) {
  const cv::Size size((overlap.shared.cols + 1) / 2, (overlap.shared.rows + 1) / 2);
  Overlap half;
  half.owner = cv::Mat_<int>::zeros(size);
  half.difference = cv::Mat_<int>::zeros(size);
  half.shared = cv::Mat::zeros(size, CV_8UC1);
  half.pixelSide = 2 * overlap.pixelSide;
  for (int y = 0; y < overlap.shared.rows; ++y) {
    const int* const owner = overlap.owner[y];
    const int* const difference = overlap.difference[y];
    const auto* const shared = overlap.shared.ptr(y);
    int* const halfOwner = half.owner[y / 2];
    int* const halfDifference = half.difference[y / 2];
    auto* const halfShared = half.shared.ptr(y / 2);
    for (int x = 0; x < overlap.shared.cols; ++x) {
      halfOwner[x / 2] += owner[x];
      halfDifference[x / 2] += difference[x] / 2;
      halfShared[x / 2] |= shared[x];
    }
  }
  return half;
}

/// Non-zero around the pixels where sides meet.
cv::Mat bandAround(const cv::Mat& sides) {
  cv::Mat largest;
  cv::Mat least;
  const cv::Mat around = cv::Mat::ones(2 * kBand + 1, 2 * kBand + 1, CV_8UC1);
  cv::dilate(sides, largest, around);
  cv::erode(sides, least, around);
  return largest != least;
}

/// Cuts the pixels of a band; the others keep their sides.
cv::Mat cutBand(const Overlap& overlap,
                const cv::Mat& sides,
                const cv::Mat& band,
                const std::function<void()>& poll) {
  const cv::Size size = sides.size();
  const EdgeCost cost(overlap);
  PixelGraph graph(size);
  cv::Mat neighbouring;
  cv::dilate(band, neighbouring, cv::getStructuringElement(cv::MORPH_CROSS, {3, 3}));
  for (int y = 0; y < size.height; ++y) {
    const auto* const free = band.ptr(y);
    const auto* const near = neighbouring.ptr(y);
    const auto* const below = y + 1 < size.height ? band.ptr(y + 1) : free;
    for (int x = 0; x < size.width; ++x) {
      if (near[x] == 0) {
        continue;
      }
      const int side = sides.at<uchar>(y, x) != 0 ? kFixed : -kFixed;
      graph.bind(x, y, free[x] != 0 ? kTerminalCost * overlap.owner(y, x) : side);
      if (x + 1 < size.width && (free[x] | free[x + 1]) != 0) {
        graph.joinRight(x, y, cost.right(x, y));
      }
      if (y + 1 < size.height && (free[x] | below[x]) != 0) {
        graph.joinDown(x, y, cost.down(x, y));
      }
    }
  }
  graph.cut(poll);
  cv::Mat result = sides.clone();
  sidesOf(graph, size).copyTo(result, band);
  return result;
}

}  // namespace

Overlap overlapOf(const cv::Mat& first,
                  const cv::Mat& firstMask,
                  const cv::Mat& second,
                  const cv::Mat& secondMask) {
  Overlap overlap;
  overlap.owner.create(first.size());
  overlap.difference.create(first.size());
  overlap.shared = (firstMask != 0) & (secondMask != 0);
  for (int y = 0; y < first.rows; ++y) {
    const auto* const a = first.ptr<cv::Vec3b>(y);
    const auto* const b = second.ptr<cv::Vec3b>(y);
    const auto* const inFirst = firstMask.ptr(y);
    const auto* const inSecond = secondMask.ptr(y);
    int* const owner = overlap.owner[y];
    int* const difference = overlap.difference[y];
    for (int x = 0; x < first.cols; ++x) {
      const int d0 = a[x][0] - b[x][0];
      const int d1 = a[x][1] - b[x][1];
      const int d2 = a[x][2] - b[x][2];
      difference[x] = d0 * d0 + d1 * d1 + d2 * d2;
      owner[x] = (inFirst[x] != 0 ? 1 : 0) - (inSecond[x] != 0 ? 1 : 0);
    }
  }
  return overlap;
}

cv::Mat cutExactly(const Overlap& overlap, const std::function<void()>& poll) {
  const cv::Size size = overlap.shared.size();
  const EdgeCost cost(overlap);
  PixelGraph graph(size);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      graph.bind(x, y, kTerminalCost * overlap.owner(y, x));
      if (x + 1 < size.width) {
        graph.joinRight(x, y, cost.right(x, y));
      }
      if (y + 1 < size.height) {
        graph.joinDown(x, y, cost.down(x, y));
      }
    }
  }
  graph.cut(poll);
  return sidesOf(graph, size);
}

cv::Mat cutFromCoarseToFine(const Overlap& overlap, const std::function<void()>& poll) {
  poll();
  const cv::Size size = overlap.shared.size();
  if (std::min(size.width, size.height) < 2 * kCoarsestSide) {
    return cutExactly(overlap, poll);
  }
  const cv::Mat coarse = cutFromCoarseToFine(halved(overlap), poll);
  cv::Mat sides;
  cv::resize(coarse, sides, coarse.size() * 2, 0, 0, cv::INTER_NEAREST);
  sides = sides(cv::Rect(cv::Point(), size));
  return cutBand(overlap, sides, bandAround(sides), poll);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
