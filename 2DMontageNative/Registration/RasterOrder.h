// SPDX-License-Identifier: MIT
/// @file
/// An order in which to visit keypoints so that successive ones read the same pixels.
#ifndef ORV_MONTAGE_REGISTRATION_RASTER_ORDER_H
#define ORV_MONTAGE_REGISTRATION_RASTER_ORDER_H

#include <opencv2/core.hpp>

#include <algorithm>
#include <numeric>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Indices of the keypoints by bands of rows from top to bottom, from left to right in each band.
///
/// Keypoints sorted by strength lie all over the image: describing them in that order takes a
/// quarter longer, waiting for memory.
inline std::vector<std::size_t> rasterOrder(const std::vector<cv::KeyPoint>& keypoints) {
  constexpr float kBandRows = 64.0F;
  const auto band = [](const cv::KeyPoint& k) { return static_cast<int>(k.pt.y / kBandRows); };
  std::vector<std::size_t> order(keypoints.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
    const int bandOfI = band(keypoints[i]);
    const int bandOfJ = band(keypoints[j]);
    return bandOfI != bandOfJ ? bandOfI < bandOfJ : keypoints[i].pt.x < keypoints[j].pt.x;
  });
  return order;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_RASTER_ORDER_H
