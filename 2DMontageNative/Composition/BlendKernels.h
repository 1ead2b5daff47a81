// SPDX-License-Identifier: MIT
/// @file
/// The arithmetic of gains and blending on rows of pixels, vectorised.
///
/// Rows hold 1 or 3 samples per pixel, one pixel after the other; weights come once per pixel.
/// Products are rounded to single precision before they are added, so that every machine gives the
/// same bytes.
#ifndef ORV_MONTAGE_COMPOSITION_BLEND_KERNELS_H
#define ORV_MONTAGE_COMPOSITION_BLEND_KERNELS_H

#include <cstdint>

namespace ORV::Common::Algorithms::Montage::Composition {

/// Below this weight a pixel of the montage counts as empty; OpenCV's blenders also add it to every
/// divisor.
constexpr float kSmallestWeight = 1e-5F;

/// A row of gains between two rows of known gains.
struct GainRow {
  const float* upper;
  const float* lower;
  float upperShare;
  float lowerShare;
};

/// samples = samples * gain, rounded half to even and clamped to [0, 255].
void applyGainRow(const GainRow& gains, std::uint8_t* samples, int count);

/// sums += trunc((fine - coarse) * weight) for each sample, weightSums += weight for each pixel.
///
/// @param[in] fine, coarse  rows of samples; `coarse` may be null for all zero.
void addWeightedRow(const std::uint8_t* fine,
                    const std::uint8_t* coarse,
                    const float* weights,
                    std::int16_t* sums,
                    float* weightSums,
                    int width,
                    int channels);

/// sums = trunc(sums / (weightSum + kSmallestWeight)).
void divideByWeightRow(const float* weightSums, std::int16_t* sums, int width, int channels);

/// samples = sums clamped to [0, 255], or 0 where the weights sum up to at most kSmallestWeight.
void writeRow(const std::int16_t* sums,
              const float* weightSums,
              std::uint8_t* samples,
              int width,
              int channels);

// The same in eighths of grey levels, with everything rounded to the nearest: what one image alone
// covers comes out as it went in, and means do not darken.

/// Bits of a sample behind the grey level.
constexpr int kFineBits = 3;

/// sums += round((fine - coarse) * weight), weightSums += weight.
///
/// @param[in] fine, coarse  rows of samples in eighths; `coarse` may be null for all zero.
void addFineRow(const std::int16_t* fine,
                const std::int16_t* coarse,
                const float* weights,
                std::int16_t* sums,
                float* weightSums,
                int width,
                int channels);

/// sums = round(sums / max(weightSum, kSmallestWeight)).
void divideFineRow(const float* weightSums, std::int16_t* sums, int width, int channels);

/// samples = round(sums / 8) clamped to [0, 255], or 0 as `writeRow` has it.
void writeFineRow(const std::int16_t* sums,
                  const float* weightSums,
                  std::uint8_t* samples,
                  int width,
                  int channels);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_BLEND_KERNELS_H
