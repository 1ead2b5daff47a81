// SPDX-License-Identifier: MIT
/// @file
/// The smallest upright rectangle around points.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_EXTENT_H
#define ORV_MONTAGE_DISTORT_CORRECT_EXTENT_H

#include <algorithm>
#include <limits>

namespace ORV::Common::Algorithms::DistortCorrect {

/// Smallest and largest coordinates of points; NaN is passed over.
struct Extent {
  float minX = std::numeric_limits<float>::infinity();
  float maxX = -std::numeric_limits<float>::infinity();
  float minY = std::numeric_limits<float>::infinity();
  float maxY = -std::numeric_limits<float>::infinity();

  [[nodiscard]] bool empty() const { return !(minX <= maxX && minY <= maxY); }

  void add(float x, float y) {
    minX = x < minX ? x : minX;
    maxX = x > maxX ? x : maxX;
    minY = y < minY ? y : minY;
    maxY = y > maxY ? y : maxY;
  }

  /// An empty extent adds nothing: its infinities meet only their own kind.
  void add(const Extent& other) {
    minX = std::min(minX, other.minX);
    maxX = std::max(maxX, other.maxX);
    minY = std::min(minY, other.minY);
    maxY = std::max(maxY, other.maxY);
  }
};

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_EXTENT_H
