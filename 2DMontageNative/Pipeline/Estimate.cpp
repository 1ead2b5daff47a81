// SPDX-License-Identifier: MIT
#include "Pipeline/Estimate.h"

namespace montage {

Estimate estimateOf(const MontagePlan& plan) {
  Estimate estimate;
  estimate.pixels = static_cast<std::uint64_t>(plan.size.width) *
                    static_cast<std::uint64_t>(plan.size.height);
  constexpr std::uint64_t kColour = 3;
  estimate.montageBytes = estimate.pixels * kColour;
  return estimate;
}

}  // namespace montage
