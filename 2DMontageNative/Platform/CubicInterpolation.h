// SPDX-License-Identifier: MIT
/// @file
/// Fixed-point bicubic interpolation of 8-bit images, one pixel at a time: the definition that the
/// vectorised row kernel repeats.
///
/// A position is rounded to 1/32 pixel. Its whole part selects 4 x 4 source pixels, its fraction
/// one of 32 x 32 sets of sixteen 15-bit weights; the weighted sum is rounded and clamped to a
/// byte:
///
///     column of the source   c   c+1   c+2   c+3       x = c + 1 + f / 32,  0 <= f < 32
///                            |    |  x  |     |
///
/// Integer coordinates lie at pixel centres, x along the columns. All of it, down to the rounding
/// of the weights, is OpenCV's `cv::remap` with `INTER_CUBIC` (kernel of Keys, "Cubic convolution
/// interpolation for digital image processing", IEEE Trans. ASSP 29(6), 1981, with a = -0.75).
#ifndef ORV_MONTAGE_PLATFORM_CUBIC_INTERPOLATION_H
#define ORV_MONTAGE_PLATFORM_CUBIC_INTERPOLATION_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace ORV::Common::Platform {

inline constexpr int kCubicTaps = 4;  ///< source pixels per direction
inline constexpr int kCubicWeightsLog2 = 4;
inline constexpr int kCubicWeights = 1 << kCubicWeightsLog2;  ///< kCubicTaps * kCubicTaps
inline constexpr int kCubicFractionBits = 5;
inline constexpr int kCubicFractions = 1 << kCubicFractionBits;  ///< positions per pixel
inline constexpr int kCubicWeightBits = 15;                      ///< the weights sum to 2^15

/// Borrowed view of 8-bit pixels, row-major with interleaved channels.
///
/// Both sides are below 32767 and `stride * height` fits an `int`.
struct CubicSource {
  const std::uint8_t* pixels;
  int stride;  ///< bytes from row to row
  int width;
  int height;
  int channels;
};

/// The weights of every fraction: set `32 * rowFraction + columnFraction`, each 4 x 4 row by row.
using CubicWeightTable =
    std::array<std::int16_t, std::size_t{kCubicFractions} * kCubicFractions * kCubicWeights>;

/// Returns the weights, computed on the first call. Thread-safe.
const CubicWeightTable& cubicWeightTable();

/// Interpolates @p source at column @p x and row @p y; what lies outside the source counts as 0.
///
/// @param[in]  x, y  any values; NaN, infinite and far positions give 0.
/// @param[out] out   `source.channels` bytes.
void sampleCubicPixel(const CubicSource& source, float x, float y, std::uint8_t* out);

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_CUBIC_INTERPOLATION_H
