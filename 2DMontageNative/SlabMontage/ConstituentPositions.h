// SPDX-License-Identifier: MIT
/// @file
/// From one point per kept image to flags and positions in the caller's numbering.
#ifndef ORV_MONTAGE_SLAB_MONTAGE_CONSTITUENT_POSITIONS_H
#define ORV_MONTAGE_SLAB_MONTAGE_CONSTITUENT_POSITIONS_H

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage {

/// Writes 1 and the point for every kept image, 0 and (0, 0) for every dropped one.
///
/// @param[in] points  one per kept image, in the order of componentIndices.
/// @param[in] componentIndices  processing indices of the kept images; sorted before use, the
///   points are not.
/// @param[in] processingOrder  processing index to the caller's constituent.
/// @param[out] included  one value per constituent.
/// @param[out] positions  x and y per constituent.
void reportPositions(const std::vector<cv::Point>& points,
                     std::vector<int> componentIndices,
                     const std::vector<int>& processingOrder,
                     int* included,
                     int* positions);

/// 0, 1, ..., count - 1.
std::vector<int> callerOrder(int count);

/// count - 1, ..., 1, 0.
std::vector<int> reversedOrder(int count);

}  // namespace ORV::Common::Algorithms::Montage

#endif  // ORV_MONTAGE_SLAB_MONTAGE_CONSTITUENT_POSITIONS_H
