// SPDX-License-Identifier: MIT
#include "Composition/GraphCutSeams.h"

#include "Composition/PixelGraph.h"
#include "Platform/OrderedTasks.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

// OpenCV's costs are whole numbers too, in floats that hold them exactly.
constexpr int kTerminalCost = 10000;
constexpr int kBadRegionPenalty = 1000;
constexpr int kLeastCost = 1;
constexpr int kGap = 10;  ///< pixels around an overlap that its graph covers too

/// An image of a pair, its pixels shared with the views.
struct PlacedImage {
  cv::Point corner;
  cv::Mat colour;
  cv::Mat mask;
};

/// All that the graph of a pair covers.
cv::Rect windowOf(const cv::Rect& overlap) {
  return {overlap.tl() - cv::Point(kGap, kGap), overlap.size() + cv::Size(2 * kGap, 2 * kGap)};
}

/// Part of an image, zeros where it reaches beyond.
cv::Mat cutOut(const cv::Mat& image, const cv::Rect& window) {
  cv::Mat result = cv::Mat::zeros(window.size(), image.type());
  const cv::Rect inside = window & cv::Rect({}, image.size());
  image(inside).copyTo(result(inside - window.tl()));
  return result;
}

/// The squared distance of the colours, per pixel.
cv::Mat_<int> differenceOf(const cv::Mat& first, const cv::Mat& second) {
  cv::Mat_<int> difference(first.size());
  for (int y = 0; y < first.rows; ++y) {
    const auto* const a = first.ptr<cv::Vec3b>(y);
    const auto* const b = second.ptr<cv::Vec3b>(y);
    int* const out = difference[y];
    for (int x = 0; x < first.cols; ++x) {
      const int d0 = a[x][0] - b[x][0];
      const int d1 = a[x][1] - b[x][1];
      const int d2 = a[x][2] - b[x][2];
      out[x] = d0 * d0 + d1 * d1 + d2 * d2;
    }
  }
  return difference;
}

/// Binds pixels to the image that alone has them.
void bindPixels(PixelGraph& graph, const cv::Mat& firstMask, const cv::Mat& secondMask) {
  for (int y = 0; y < firstMask.rows; ++y) {
    const auto* const first = firstMask.ptr(y);
    const auto* const second = secondMask.ptr(y);
    for (int x = 0; x < firstMask.cols; ++x) {
      graph.bind(x, y, kTerminalCost * ((first[x] != 0 ? 1 : 0) - (second[x] != 0 ? 1 : 0)));
    }
  }
}

/// A cut costs what the colours on both of its sides differ, and more where an image has none.
void joinPixels(PixelGraph& graph, const cv::Mat_<int>& difference, const cv::Mat& shared) {
  const auto costBetween = [&](int x, int y, int otherX, int otherY) {
    const bool good = (shared.at<uchar>(y, x) & shared.at<uchar>(otherY, otherX)) != 0;
    return difference(y, x) + difference(otherY, otherX) + kLeastCost +
           (good ? 0 : kBadRegionPenalty);
  };
  for (int y = 0; y < difference.rows; ++y) {
    for (int x = 0; x < difference.cols; ++x) {
      if (x + 1 < difference.cols) {
        graph.joinRight(x, y, costBetween(x, y, x + 1, y));
      }
      if (y + 1 < difference.rows) {
        graph.joinDown(x, y, costBetween(x, y, x, y + 1));
      }
    }
  }
}

/// Each side of the cut loses the pixels that the image of the other side has.
void divide(const PixelGraph& graph,
            const cv::Rect& overlap,
            PlacedImage& first,
            PlacedImage& second) {
  cv::Mat firstMask = first.mask(overlap - first.corner);
  cv::Mat secondMask = second.mask(overlap - second.corner);
  for (int y = 0; y < overlap.height; ++y) {
    auto* const ofFirst = firstMask.ptr(y);
    auto* const ofSecond = secondMask.ptr(y);
    for (int x = 0; x < overlap.width; ++x) {
      if (ofFirst[x] != 0 && ofSecond[x] != 0) {
        (graph.onSourceSide(x + kGap, y + kGap) ? ofSecond : ofFirst)[x] = 0;
      }
    }
  }
}

void cutPair(PlacedImage& first,
             PlacedImage& second,
             const cv::Rect& overlap,
             const std::function<void()>& poll) {
  poll();
  const cv::Rect window = windowOf(overlap);
  const cv::Mat firstMask = cutOut(first.mask, window - first.corner);
  const cv::Mat secondMask = cutOut(second.mask, window - second.corner);
  const cv::Mat shared = (firstMask != 0) & (secondMask != 0);
  if (cv::countNonZero(shared) == 0) {
    return;  // no cut would change a mask
  }
  PixelGraph graph(window.size());
  bindPixels(graph, firstMask, secondMask);
  joinPixels(graph,
             differenceOf(cutOut(first.colour, window - first.corner),
                          cutOut(second.colour, window - second.corner)),
             shared);
  graph.cut(poll);
  divide(graph, overlap, first, second);
}

/// Whether one of two pairs reads what the other writes.
bool depend(const ViewPair& a, const ViewPair& b) {
  const bool shareImage =
      a.first == b.first || a.first == b.second || a.second == b.first || a.second == b.second;
  return shareImage && !(windowOf(a.overlap) & windowOf(b.overlap)).empty();
}

/// A pair waits for the earlier pairs it depends on.
Platform::Successors successorsOf(const std::vector<ViewPair>& pairs) {
  Platform::Successors successors(pairs.size());
  for (std::size_t p = 0; p < pairs.size(); ++p) {
    for (std::size_t q = p + 1; q < pairs.size(); ++q) {
      if (depend(pairs[p], pairs[q])) {
        successors[p].push_back(static_cast<int>(q));
      }
    }
  }
  return successors;
}

}  // namespace

void cutSeams(SeamViews& views,
              const std::function<void()>& step,
              const std::function<void()>& poll) {
  std::vector<PlacedImage> images;
  for (std::size_t i = 0; i < views.corners.size(); ++i) {
    images.push_back({views.corners[i],
                      views.colour[i].getMat(cv::ACCESS_READ),
                      views.masks[i].getMat(cv::ACCESS_RW)});
  }
  const std::vector<ViewPair> pairs = overlappingPairs(views);
  Platform::parallelInOrder(successorsOf(pairs), [&](int p) {
    const ViewPair& pair = pairs[static_cast<std::size_t>(p)];
    cutPair(images[pair.first], images[pair.second], pair.overlap, poll);
    step();
  });
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
