// SPDX-License-Identifier: MIT
/// @file
/// From a resolution in megapixels to a factor of the image size.
#ifndef ORV_MONTAGE_SCALER_RESOLUTION_SCALE_H
#define ORV_MONTAGE_SCALER_RESOLUTION_SCALE_H

#include <cmath>

namespace ORV::Common::Algorithms::Montage {

/// The factor that brings `area` pixels to a resolution, never above 1; 1 for negative megapixels.
inline float resolutionScale(float megapixels, double area) {
  constexpr double kPixelsPerMegapixel = 1000000.0;
  if (megapixels < 0) {
    return 1.0F;
  }
  const double scale = std::sqrt(megapixels * kPixelsPerMegapixel / area);
  return static_cast<float>(scale < 1.0 ? scale : 1.0);  // 1 also for a NaN
}

}  // namespace ORV::Common::Algorithms::Montage

#endif  // ORV_MONTAGE_SCALER_RESOLUTION_SCALE_H
