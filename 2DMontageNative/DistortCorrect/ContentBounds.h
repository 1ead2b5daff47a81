// SPDX-License-Identifier: MIT
/// @file
/// Where the non-black content of a picture lies, judged by rounded column and row averages.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_CONTENT_BOUNDS_H
#define ORV_MONTAGE_DISTORT_CORRECT_CONTENT_BOUNDS_H

#include "DistortCorrect/ContentProfile.h"

#include <opencv2/core.hpp>

#include <optional>
#include <vector>

namespace ORV::Common::Algorithms::DistortCorrect {

/// Crop edges: content starts at column `left`, row `top`; `right`, `bottom` are past the end.
struct ContentBounds {
  int left;
  int top;
  int right;
  int bottom;

  [[nodiscard]] cv::Rect rect() const { return {left, top, right - left, bottom - top}; }
};

/// Bounds from a scan that tolerates content at the borders.
struct LenientBounds {
  ContentBounds bounds;
  bool unbroken;  ///< No content follows an empty column (row) after the content.
};

/// What the lenient scan does when content follows the end of the first band.
enum class AtBreak {
  kStop,   ///< End the scan; the bounds hold what was found up to and including that index.
  kIgnore  ///< Go on.
};

/// Scans columns and rows of a square picture together.
///
/// left (top) is the first index > 0 with content, 0 if there is none; right (bottom) the first
/// empty index after it, size - 1 if there is none.
[[nodiscard]] LenientBounds scanLenient(const ContentProfile& profile, AtBreak atBreak);

/// Bounds of content that is one unbroken band wholly inside the picture on both axes; none
/// otherwise.
///
/// At least one empty index must precede the content and two must follow it: an end that is found
/// only at the last index is refused.
[[nodiscard]] std::optional<ContentBounds> scanStrict(const ContentProfile& profile);

/// Position of the middle of an axis of `size` pixels within a crop, -1 and +1 at its borders; not
/// finite for an empty crop.
[[nodiscard]] inline double centrePosition(int size, int cropStart, int cropSize) {
  return ((size * 0.5 - cropStart) * 2.0 - cropSize) / cropSize;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_CONTENT_BOUNDS_H
