// SPDX-License-Identifier: MIT
/// @file
/// Haar wavelet responses in the disc around a SURF keypoint, vectorised.
#ifndef ORV_MONTAGE_REGISTRATION_SURF_WAVELETS_H
#define ORV_MONTAGE_REGISTRATION_SURF_WAVELETS_H

#include "Registration/IntegralImage.h"

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Positions of a disc in scales with their Gaussian weights, coordinate by coordinate.
struct WaveletDisc {
  /// 113 positions within a radius of 6, and padding to whole vectors.
  static constexpr std::size_t kCapacity = 128;

  alignas(64) std::array<float, kCapacity> x{};
  alignas(64) std::array<float, kCapacity> y{};
  alignas(64) std::array<float, kCapacity> weight{};
  std::size_t count = 0;
};

/// Weighted responses at the positions of a disc.
struct WaveletResponses {
  static constexpr std::int32_t kOutside = -1;

  alignas(64) std::array<float, WaveletDisc::kCapacity> x;  ///< right half minus left half
  alignas(64) std::array<float, WaveletDisc::kCapacity> y;  ///< upper half minus lower half
  /// Direction of (x, y) in whole degrees, 0 to 360, by OpenCV's fast arctangent; kOutside where
  /// the wavelet does not lie inside the image.
  alignas(64) std::array<std::int32_t, WaveletDisc::kCapacity> degrees;
};

/// Evaluates wavelets of four scales' side around `centre`.
///
/// @param[in] integral  in plain column order.
/// @param[out] responses  `disc.count` of each; the rest has no meaning.
/// @note Vector code chosen at run time; the values are those of the scalar formula on any machine.
void evaluateWavelets(const IntegralImage& integral,
                      const WaveletDisc& disc,
                      cv::Point2f centre,
                      float scale,
                      WaveletResponses& responses);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SURF_WAVELETS_H
