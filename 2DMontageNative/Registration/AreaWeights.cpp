// SPDX-License-Identifier: MIT
#include "Registration/AreaWeights.h"

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {

float areaWeights(int sources, int targets, std::vector<AreaWeight>& weights) {
  constexpr double kNegligible = 1e-3;  // shares below this are rounding errors
  weights.clear();
  if (sources % targets == 0) {
    const int ratio = sources / targets;
    for (int source = 0; source < sources; ++source) {
      weights.push_back({source, source / ratio, 1.0F});
    }
    return 1.0F / static_cast<float>(ratio * ratio);
  }

  const double ratio = static_cast<double>(sources) / targets;
  for (int target = 0; target < targets; ++target) {
    const double begin = target * ratio;
    const double end = begin + ratio;
    const double width = std::min(ratio, sources - begin);
    const int lastWhole = std::min(static_cast<int>(std::floor(end)), sources - 1);
    const int firstWhole = std::min(static_cast<int>(std::ceil(begin)), lastWhole);
    if (firstWhole - begin > kNegligible) {
      weights.push_back({firstWhole - 1, target, static_cast<float>((firstWhole - begin) / width)});
    }
    for (int source = firstWhole; source < lastWhole; ++source) {
      weights.push_back({source, target, static_cast<float>(1.0 / width)});
    }
    if (end - lastWhole > kNegligible) {
      const double share = std::min({end - lastWhole, 1.0, width});
      weights.push_back({lastWhole, target, static_cast<float>(share / width)});
    }
  }
  return 1.0F;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
