// SPDX-License-Identifier: MIT
#include "CubicInterpolation.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>

namespace ORV::Common::Platform {
namespace {

constexpr int kUnity = 1 << kCubicWeightBits;

/// Positions of at least this magnitude, in 1/32 pixel, lie outside every source.
constexpr float kPositionLimit = 32768.0F * kCubicFractions;

using TapWeights = std::array<float, kCubicTaps>;

/// Keys' kernel at the four taps around a position; the order of operations fixes the last bit.
TapWeights tapWeights(float fraction) {
  constexpr float kSharpness = -0.75F;
  const float before = fraction + 1;
  const float after = 1 - fraction;
  TapWeights weights{};
  weights[0] =
      ((kSharpness * before - 5 * kSharpness) * before + 8 * kSharpness) * before - 4 * kSharpness;
  weights[1] = ((kSharpness + 2) * fraction - (kSharpness + 3)) * fraction * fraction + 1;
  weights[2] = ((kSharpness + 2) * after - (kSharpness + 3)) * after * after + 1;
  weights[3] = 1.0F - weights[0] - weights[1] - weights[2];
  return weights;
}

/// Adds what rounding left over to one weight, so that a flat image stays flat.
///
/// A lack goes to the greatest and an excess to the smallest of taps 2 and 3 in both directions
/// (not of the middle taps 1 and 2): OpenCV's choice.
void makeSumExact(std::int16_t* weights, int excess) {
  constexpr int kFirst = kCubicTaps / 2 * (kCubicTaps + 1);
  int smallest = kFirst;
  int greatest = kFirst;
  for (const int candidate : {kFirst + 1, kFirst + kCubicTaps, kFirst + kCubicTaps + 1}) {
    if (weights[candidate] < weights[smallest]) {
      smallest = candidate;
    } else if (weights[candidate] > weights[greatest]) {
      greatest = candidate;
    }
  }
  std::int16_t& adjusted = weights[excess < 0 ? greatest : smallest];
  adjusted = static_cast<std::int16_t>(adjusted - excess);
}

void fillWeights(const TapWeights& rowWeights,
                 const TapWeights& colWeights,
                 std::int16_t* weights) {
  int sum = 0;
  for (std::size_t i = 0; i < kCubicWeights; ++i) {
    const float product = rowWeights[i / kCubicTaps] * colWeights[i % kCubicTaps];
    weights[i] = cv::saturate_cast<std::int16_t>(product * kUnity);
    sum += weights[i];
  }
  if (sum != kUnity) {
    makeSumExact(weights, sum - kUnity);
  }
}

CubicWeightTable makeTable() {
  CubicWeightTable table{};
  std::int16_t* weights = table.data();
  for (int row = 0; row < kCubicFractions; ++row) {
    for (int col = 0; col < kCubicFractions; ++col, weights += kCubicWeights) {
      fillWeights(tapWeights(static_cast<float>(row) / kCubicFractions),
                  tapWeights(static_cast<float>(col) / kCubicFractions),
                  weights);
    }
  }
  return table;
}

/// Taps [first, last) of the four that fall on [0, size) when tap 0 falls on `start`.
struct TapRange {
  TapRange(int start, int size)
      : first(std::max(0, -start)), last(std::min(kCubicTaps, size - start)) {}
  int first;
  int last;
};

}  // namespace

const CubicWeightTable& cubicWeightTable() {
  static const CubicWeightTable table = makeTable();
  return table;
}

void sampleCubicPixel(const CubicSource& source, float x, float y, std::uint8_t* out) {
  std::fill_n(out, source.channels, std::uint8_t{0});
  const float scaledX = x * kCubicFractions;
  const float scaledY = y * kCubicFractions;
  if (!(std::abs(scaledX) < kPositionLimit && std::abs(scaledY) < kPositionLimit)) {
    return;
  }
  const int fixedX = cvRound(scaledX);
  const int fixedY = cvRound(scaledY);
  const int startCol = (fixedX >> kCubicFractionBits) - 1;
  const int startRow = (fixedY >> kCubicFractionBits) - 1;
  const TapRange cols(startCol, source.width);
  const TapRange rows(startRow, source.height);
  if (cols.first >= cols.last || rows.first >= rows.last) {
    return;
  }
  const std::ptrdiff_t set =
      (fixedY & (kCubicFractions - 1)) * kCubicFractions + (fixedX & (kCubicFractions - 1));
  const std::int16_t* weights = cubicWeightTable().data() + set * kCubicWeights;
  for (int channel = 0; channel < source.channels; ++channel) {
    int sum = kUnity / 2;
    for (int row = rows.first; row < rows.last; ++row) {
      for (int col = cols.first; col < cols.last; ++col) {
        const std::ptrdiff_t pixel = std::ptrdiff_t{startRow + row} * source.stride +
                                     std::ptrdiff_t{startCol + col} * source.channels + channel;
        sum += source.pixels[pixel] * weights[row * kCubicTaps + col];
      }
    }
    out[channel] = cv::saturate_cast<std::uint8_t>(sum >> kCubicWeightBits);
  }
}

}  // namespace ORV::Common::Platform
