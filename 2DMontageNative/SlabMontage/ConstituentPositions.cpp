// SPDX-License-Identifier: MIT
#include "SlabMontage/ConstituentPositions.h"

#include "SlabMontage.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace ORV::Common::Algorithms::Montage {

void reportPositions(const std::vector<cv::Point>& points,
                     std::vector<int> componentIndices,
                     const std::vector<int>& processingOrder,
                     int* included,
                     int* positions) {
  std::sort(componentIndices.begin(), componentIndices.end());
  std::size_t cursor = 0;
  for (std::size_t i = 0; i < processingOrder.size(); ++i) {
    const int target = processingOrder[i];
    const bool kept =
        cursor < componentIndices.size() && componentIndices[cursor] == static_cast<int>(i);
    const cv::Point point = kept ? points[cursor] : cv::Point(0, 0);
    included[target] = kept ? 1 : 0;
    int* const position = positions + static_cast<std::ptrdiff_t>(target) * 2;
    position[0] = point.x;
    position[1] = point.y;
    cursor += kept ? 1 : 0;
  }
}

std::vector<int> callerOrder(int count) {
  std::vector<int> order(static_cast<std::size_t>(std::max(count, 0)));
  std::iota(order.begin(), order.end(), 0);
  return order;
}

std::vector<int> reversedOrder(int count) {
  std::vector<int> order = callerOrder(count);
  std::reverse(order.begin(), order.end());
  return order;
}

int SlabMontage::CalculateConstituentPositions(std::vector<cv::Point> points,
                                               std::vector<int> componentIndices,
                                               int constituentCount,
                                               int* const constituentIncluded,
                                               int* const constituentPositions) {
  reportPositions(points,
                  componentIndices,
                  callerOrder(constituentCount),
                  constituentIncluded,
                  constituentPositions);
  return 0;
}

int SlabMontage::CalculateOriginalSlabConstituentPositions(std::vector<cv::Mat> /*images*/,
                                                           std::vector<cv::Point> points,
                                                           std::vector<int> componentIndices,
                                                           int constituentCount,
                                                           int* const constituentIncluded,
                                                           int* const constituentPositions,
                                                           std::vector<int> processingOrder,
                                                           double /*scale*/) {
  processingOrder.resize(static_cast<std::size_t>(std::max(constituentCount, 0)));
  reportPositions(
      points, componentIndices, processingOrder, constituentIncluded, constituentPositions);
  return 0;
}

}  // namespace ORV::Common::Algorithms::Montage
