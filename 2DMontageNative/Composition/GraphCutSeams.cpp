// SPDX-License-Identifier: MIT
#include "Composition/GraphCutSeams.h"

#include "Platform/OrderedTasks.h"

#include <opencv2/imgproc/detail/gcgraph.hpp>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr float kTerminalCost = 10000.0F;
constexpr float kBadRegionPenalty = 1000.0F;
constexpr float kLeastCost = 1.0F;
constexpr int kGap = 10;  ///< pixels around an overlap that its graph covers too

using Graph = cv::detail::GCGraph<float>;

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
cv::Mat_<float> differenceOf(const cv::Mat& first, const cv::Mat& second) {
  cv::Mat_<float> difference(first.size());
  for (int y = 0; y < first.rows; ++y) {
    const auto* const a = first.ptr<cv::Vec3b>(y);
    const auto* const b = second.ptr<cv::Vec3b>(y);
    float* const out = difference[y];
    for (int x = 0; x < first.cols; ++x) {
      const int d0 = a[x][0] - b[x][0];
      const int d1 = a[x][1] - b[x][1];
      const int d2 = a[x][2] - b[x][2];
      out[x] = static_cast<float>(d0 * d0 + d1 * d1 + d2 * d2);
    }
  }
  return difference;
}

/// One vertex per pixel, bound to the images that have it.
void addVertices(Graph& graph, const cv::Mat& firstMask, const cv::Mat& secondMask) {
  for (int y = 0; y < firstMask.rows; ++y) {
    const auto* const first = firstMask.ptr(y);
    const auto* const second = secondMask.ptr(y);
    for (int x = 0; x < firstMask.cols; ++x) {
      graph.addTermWeights(graph.addVtx(),
                           first[x] != 0 ? kTerminalCost : 0.0F,
                           second[x] != 0 ? kTerminalCost : 0.0F);
    }
  }
}

/// Edges to the right and downward in raster order: the cut among several of equal cost depends on
/// it.
void addEdges(Graph& graph, const cv::Mat_<float>& difference, const cv::Mat& shared) {
  const int width = difference.cols;
  for (int y = 0; y < difference.rows; ++y) {
    const int below = std::min(y + 1, difference.rows - 1);
    const float* const cost = difference[y];
    const float* const costBelow = difference[below];
    const auto* const good = shared.ptr(y);
    const auto* const goodBelow = shared.ptr(below);
    for (int x = 0; x < width; ++x) {
      const int vertex = y * width + x;
      const auto join = [&](int other, float otherCost, unsigned char otherGood) {
        const float penalty = (good[x] & otherGood) != 0 ? 0.0F : kBadRegionPenalty;
        const float weight = cost[x] + otherCost + kLeastCost + penalty;
        graph.addEdges(vertex, other, weight, weight);
      };
      if (x + 1 < width) {
        join(vertex + 1, cost[x + 1], good[x + 1]);
      }
      if (below > y) {
        join(vertex + width, costBelow[x], goodBelow[x]);
      }
    }
  }
}

/// Each side of the cut loses the pixels that the image of the other side has.
void divide(Graph& graph, const cv::Rect& overlap, PlacedImage& first, PlacedImage& second) {
  cv::Mat firstMask = first.mask(overlap - first.corner);
  cv::Mat secondMask = second.mask(overlap - second.corner);
  const int width = overlap.width + 2 * kGap;
  for (int y = 0; y < overlap.height; ++y) {
    auto* const ofFirst = firstMask.ptr(y);
    auto* const ofSecond = secondMask.ptr(y);
    for (int x = 0; x < overlap.width; ++x) {
      const bool toFirst = graph.inSourceSegment((y + kGap) * width + x + kGap);
      if (ofFirst[x] != 0 && ofSecond[x] != 0) {
        (toFirst ? ofSecond : ofFirst)[x] = 0;
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
  const int vertices = window.area();
  Graph graph(static_cast<unsigned>(vertices), static_cast<unsigned>(4 * vertices));
  addVertices(graph, firstMask, secondMask);
  addEdges(graph,
           differenceOf(cutOut(first.colour, window - first.corner),
                        cutOut(second.colour, window - second.corner)),
           shared);
  poll();
  graph.maxFlow();
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
