// SPDX-License-Identifier: MIT
/// @file
/// Weights by which a longer line of samples is averaged into a shorter one.
#ifndef ORV_MONTAGE_REGISTRATION_AREA_WEIGHTS_H
#define ORV_MONTAGE_REGISTRATION_AREA_WEIGHTS_H

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Source sample `source` counts with `weight` in target sample `target`.
struct AreaWeight {
  int source;
  int target;
  float weight;
};

/// Lists the shares of the source samples in each target sample, targets and sources ascending:
/// the averages of `cv::resize` with `INTER_AREA`, bit for bit if summed in this order.
///
/// @param[in] sources, targets  numbers of samples, sources >= targets >= 1.
/// @param[out] weights  replaced; its memory is used again.
/// @return what the sum over both directions is to be multiplied by: 1 when the weights add up to
/// 1;
///   for a whole-numbered ratio the weights are 1 and the factor is the inverse of the cell's area,
///   so that sums are exact integers.
float areaWeights(int sources, int targets, std::vector<AreaWeight>& weights);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_AREA_WEIGHTS_H
