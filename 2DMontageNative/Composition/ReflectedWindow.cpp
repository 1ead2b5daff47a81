// SPDX-License-Identifier: MIT
#include "Composition/ReflectedWindow.h"

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

/// One axis of a window: pixels [first, last) of the image, framed by `before` and `after`
/// reflected ones, hold it from `offset` on.
struct Reflection {
  int first;
  int last;
  int before;
  int after;
  int offset;

  Reflection(int windowFirst, int windowLast, int size)
      : first(std::max(0, std::min(windowFirst, 2 * size - windowLast))),
        last(std::min(size, std::max(windowLast, -windowFirst))),
        before(std::max(0, -windowFirst)),
        after(std::max(0, windowLast - size)),
        offset(std::max(0, windowFirst - first)) {}
};

}  // namespace

cv::Mat readReflected(const WarpedImage& image, cv::Size size, const cv::Rect& window) {
  const Reflection x(window.x, window.br().x, size.width);
  const Reflection y(window.y, window.br().y, size.height);
  cv::Mat pixels = image.read({x.first, y.first, x.last - x.first, y.last - y.first});
  if (x.before + x.after + y.before + y.after > 0) {
    cv::copyMakeBorder(cv::Mat(pixels),
                       pixels,
                       y.before,
                       y.after,
                       x.before,
                       x.after,
                       cv::BORDER_REFLECT | cv::BORDER_ISOLATED);
  }
  return pixels(cv::Rect(cv::Point(x.offset, y.offset), window.size()));
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
