// SPDX-License-Identifier: MIT
/// @file
/// When a composition scale is close enough to 1 that nothing is resampled.
#ifndef ORV_MONTAGE_COMPOSITION_SCALE_TOLERANCE_H
#define ORV_MONTAGE_COMPOSITION_SCALE_TOLERANCE_H

#include <cmath>

namespace ORV::Common::Algorithms::Montage::Composition {

/// True if a scale that differs from 1 by `difference` counts as full resolution.
///
/// Footprints (`Scaler::blendScale`) and images (`Blend`) must agree on this.
inline bool countsAsFullResolution(double difference) {
  constexpr double kTolerance = 0.1;
  return std::abs(difference) <= kTolerance;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_SCALE_TOLERANCE_H
