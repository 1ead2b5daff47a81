// SPDX-License-Identifier: MIT
#include "Composition/GraphCutSeams.h"

#include "Composition/OverlapCut.h"
#include "Platform/OrderedTasks.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

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

/// Each side of the cut loses the pixels that the image of the other side has.
void divide(const cv::Mat& sides,
            const cv::Rect& overlap,
            PlacedImage& first,
            PlacedImage& second) {
  cv::Mat firstMask = first.mask(overlap - first.corner);
  cv::Mat secondMask = second.mask(overlap - second.corner);
  for (int y = 0; y < overlap.height; ++y) {
    auto* const ofFirst = firstMask.ptr(y);
    auto* const ofSecond = secondMask.ptr(y);
    const auto* const side = sides.ptr(y + kGap) + kGap;
    for (int x = 0; x < overlap.width; ++x) {
      if (ofFirst[x] != 0 && ofSecond[x] != 0) {
        (side[x] != 0 ? ofSecond : ofFirst)[x] = 0;
      }
    }
  }
}

void cutPair(PlacedImage& first,
             PlacedImage& second,
             const cv::Rect& overlap,
             SeamSearch search,
             const std::function<void()>& poll) {
  poll();
  const cv::Rect window = windowOf(overlap);
  const Overlap cutOutOverlap = overlapOf(cutOut(first.colour, window - first.corner),
                                          cutOut(first.mask, window - first.corner),
                                          cutOut(second.colour, window - second.corner),
                                          cutOut(second.mask, window - second.corner));
  if (cv::countNonZero(cutOutOverlap.shared) == 0) {
    return;  // no cut would change a mask
  }
  const auto cut = search == SeamSearch::kExact ? cutExactly : cutFromCoarseToFine;
  divide(cut(cutOutOverlap, poll), overlap, first, second);
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
              SeamSearch search,
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
    cutPair(images[pair.first], images[pair.second], pair.overlap, search, poll);
    step();
  });
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
