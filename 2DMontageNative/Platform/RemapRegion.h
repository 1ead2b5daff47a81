// SPDX-License-Identifier: MIT
/// @file
/// Bicubic interpolation in double precision of 8-bit pixels within a region: the definition that
/// the vectorised kernel of the remapping primitives repeats.
///
/// Kernel of Keys, "Cubic convolution interpolation for digital image processing", IEEE Trans. ASSP
/// 29(6), 1981, with a = -0.75; pixels outside the region repeat its edge.
#ifndef ORV_MONTAGE_PLATFORM_REMAP_REGION_H
#define ORV_MONTAGE_PLATFORM_REMAP_REGION_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace ORV::Common::Platform {

inline constexpr int kRemapTaps = 4;  ///< Pixels of the kernel along one axis.
/// Sharpness of the cubic convolution kernel.
inline constexpr double kRemapSharpness = -0.75;

/// The sampled region of a source with interleaved channels.
template <int channels>
class RemapRegion {
 public:
  /// @param[in] image  first pixel of the whole image; borrowed.
  /// @param[in] left,top,right,bottom  first and last column and row of the region.
  RemapRegion(const unsigned char* image,
              std::ptrdiff_t stepBytes,
              int left,
              int top,
              int right,
              int bottom)
      : image_(image), step_(stepBytes), left_(left), top_(top), right_(right), bottom_(bottom) {}

  [[nodiscard]] const unsigned char* image() const { return image_; }
  [[nodiscard]] std::ptrdiff_t step() const { return step_; }
  [[nodiscard]] int left() const { return left_; }
  [[nodiscard]] int top() const { return top_; }
  [[nodiscard]] int right() const { return right_; }
  [[nodiscard]] int bottom() const { return bottom_; }

  [[nodiscard]] bool contains(float col, float row) const {
    return col >= static_cast<float>(left_) && static_cast<double>(col) <= right_ &&
           row >= static_cast<float>(top_) && static_cast<double>(row) <= bottom_;
  }

  /// Writes the sample at a position that the region contains.
  void sample(float col, float row, unsigned char* out) const {
    const int baseCol = static_cast<int>(col);  // truncation is the floor: inside is not negative
    const int baseRow = static_cast<int>(row);
    const Weights colWeights = cubicWeights(static_cast<double>(col) - baseCol);
    const Weights rowWeights = cubicWeights(static_cast<double>(row) - baseRow);
    std::array<double, kPatchBytes> sums{};
    for (int k = 0; k < kRemapTaps; ++k) {
      Patch edge;
      const unsigned char* const line = patchLine(baseCol - 1, clampRow(baseRow - 1 + k), edge);
      const double weight = rowWeights[static_cast<std::size_t>(k)];
      for (std::size_t i = 0; i < kPatchBytes; ++i) {
        sums[i] += weight * line[i];
      }
    }
    for (std::size_t channel = 0; channel < channels; ++channel) {
      double value = 0.0;
      for (std::size_t k = 0; k < kRemapTaps; ++k) {
        value += colWeights[k] * sums[k * channels + channel];
      }
      const double rounded = std::nearbyint(std::clamp(value, 0.0, 255.0));
      out[channel] = static_cast<unsigned char>(rounded);
    }
  }

 private:
  static constexpr std::size_t kPatchBytes = std::size_t{kRemapTaps} * channels;
  using Patch = std::array<unsigned char, kPatchBytes>;
  using Weights = std::array<double, kRemapTaps>;

  /// Weights of the pixels at -1, 0, 1 and 2 for a position at `fraction` in [0, 1) past pixel 0.
  static Weights cubicWeights(double fraction) {
    constexpr double kA = kRemapSharpness;
    const auto near = [](double d) { return ((kA + 2.0) * d - (kA + 3.0)) * d * d + 1.0; };
    const auto far = [](double d) { return ((kA * d - 5.0 * kA) * d + 8.0 * kA) * d - 4.0 * kA; };
    return {far(1.0 + fraction), near(fraction), near(1.0 - fraction), far(2.0 - fraction)};
  }

  [[nodiscard]] int clampRow(int row) const { return std::clamp(row, top_, bottom_); }

  /// Four pixels of a row from `firstCol` on: in the image, or gathered with edge pixels repeated.
  const unsigned char* patchLine(int firstCol, int row, Patch& gathered) const {
    const unsigned char* const line = image_ + row * step_;
    if (firstCol >= left_ && firstCol + kRemapTaps - 1 <= right_) {
      return line + static_cast<std::ptrdiff_t>(firstCol) * channels;
    }
    for (int k = 0; k < kRemapTaps; ++k) {
      const std::ptrdiff_t col = std::clamp(firstCol + k, left_, right_);
      std::copy_n(line + col * channels, channels, gathered.data() + k * channels);
    }
    return gathered.data();
  }

  const unsigned char* image_;
  std::ptrdiff_t step_;
  int left_;
  int top_;
  int right_;
  int bottom_;
};

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_REMAP_REGION_H
