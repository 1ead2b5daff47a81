// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/ParallelLoop.h"
#include "Platform/RegionAccess.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace ORV::Common::Platform {
namespace {

constexpr int kSupport = 4;  // pixels of the cubic kernel along one axis
/// Sharpness of the cubic convolution kernel.
constexpr double kCubicA = -0.75;

using Weights = std::array<double, kSupport>;

/// Weights of the pixels at -1, 0, 1 and 2 for a position at `fraction` in [0, 1) past pixel 0.
Weights cubicWeights(double fraction) {
  const auto near = [](double d) { return ((kCubicA + 2.0) * d - (kCubicA + 3.0)) * d * d + 1.0; };
  const auto far = [](double d) {
    return ((kCubicA * d - 5.0 * kCubicA) * d + 8.0 * kCubicA) * d - 4.0 * kCubicA;
  };
  return {far(1.0 + fraction), near(fraction), near(1.0 - fraction), far(2.0 - fraction)};
}

/// Float values of a map.
struct Map {
  const float* first;
  int step;
};

/// The sampled region of the source.
template <int channels>
class Region {
 public:
  Region(const unsigned char* image, std::ptrdiff_t stepBytes, const IppiRect& rect)
      : image_(image),
        step_(stepBytes),
        left_(rect.x),
        top_(rect.y),
        right_(rect.x + rect.width - 1),
        bottom_(rect.y + rect.height - 1) {}

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
    for (int k = 0; k < kSupport; ++k) {
      Patch edge;
      const unsigned char* const line = patchLine(baseCol - 1, clampRow(baseRow - 1 + k), edge);
      const double weight = rowWeights[static_cast<std::size_t>(k)];
      for (std::size_t i = 0; i < kPatchBytes; ++i) {
        sums[i] += weight * line[i];
      }
    }
    for (std::size_t channel = 0; channel < channels; ++channel) {
      double value = 0.0;
      for (std::size_t k = 0; k < kSupport; ++k) {
        value += colWeights[k] * sums[k * channels + channel];
      }
      const double rounded = std::nearbyint(std::clamp(value, 0.0, 255.0));
      out[channel] = static_cast<unsigned char>(rounded);
    }
  }

 private:
  static constexpr std::size_t kPatchBytes = std::size_t{kSupport} * channels;
  using Patch = std::array<unsigned char, kPatchBytes>;

  [[nodiscard]] int clampRow(int row) const { return std::clamp(row, top_, bottom_); }

  /// Four pixels of a row from `firstCol` on: in the image, or gathered with edge pixels repeated.
  const unsigned char* patchLine(int firstCol, int row, Patch& gathered) const {
    const unsigned char* const line = image_ + row * step_;
    if (firstCol >= left_ && firstCol + kSupport - 1 <= right_) {
      return line + static_cast<std::ptrdiff_t>(firstCol) * channels;
    }
    for (int k = 0; k < kSupport; ++k) {
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

/// The part of `rect` that lies on an image of `size`.
IppiRect cutDown(const IppiRect& rect, IppiSize size) {
  const int left = std::max(rect.x, 0);
  const int top = std::max(rect.y, 0);
  const int right = std::min(rect.x + rect.width, size.width);
  const int bottom = std::min(rect.y + rect.height, size.height);
  return {left, top, right - left, bottom - top};
}

template <int channels>
int remap(const unsigned char* source,
          IppiSize sourceSize,
          int sourceStep,
          const IppiRect& sourceRegion,
          const Map& mapCols,
          const Map& mapRows,
          unsigned char* destination,
          int destinationStep,
          IppiSize destinationSize,
          int interpolation) {
  const int imageStatus =
      firstError(checkImage(source, sourceStep, sourceSize, channels),
                 checkImage(destination, destinationStep, destinationSize, channels));
  const int mapStatus = firstError(checkImage(mapCols.first, mapCols.step, destinationSize),
                                   checkImage(mapRows.first, mapRows.step, destinationSize));
  const int status = firstError(imageStatus, mapStatus);
  if (status != ippStsNoErr) {
    return status;
  }
  const IppiRect rect = cutDown(sourceRegion, sourceSize);
  if (rect.width < 1 || rect.height < 1) {
    return ippStsSizeErr;
  }
  if (interpolation != ippiInterCubic) {
    return ippStsBadArgErr;
  }
  const Region<channels> region(source, sourceStep, rect);
  parallelFor(0, destinationSize.height, [&](int row) {
    const float* const cols = rowAt(mapCols.first, mapCols.step, row);
    const float* const rows = rowAt(mapRows.first, mapRows.step, row);
    unsigned char* out = rowAt(destination, destinationStep, row);
    for (int col = 0; col < destinationSize.width; ++col, out += channels) {
      if (region.contains(cols[col], rows[col])) {
        region.sample(cols[col], rows[col], out);
      }
    }
  });
  return ippStsNoErr;
}

}  // namespace

int ippiRemap_8u_C1R(const unsigned char* source,
                     IppiSize sourceSize,
                     int sourceStep,
                     IppiRect sourceRegion,
                     const float* mapCols,
                     int mapColsStep,
                     const float* mapRows,
                     int mapRowsStep,
                     unsigned char* destination,
                     int destinationStep,
                     IppiSize destinationSize,
                     int interpolation) {
  return remap<1>(source,
                  sourceSize,
                  sourceStep,
                  sourceRegion,
                  {mapCols, mapColsStep},
                  {mapRows, mapRowsStep},
                  destination,
                  destinationStep,
                  destinationSize,
                  interpolation);
}

int ippiRemap_8u_C3R(const unsigned char* source,
                     IppiSize sourceSize,
                     int sourceStep,
                     IppiRect sourceRegion,
                     const float* mapCols,
                     int mapColsStep,
                     const float* mapRows,
                     int mapRowsStep,
                     unsigned char* destination,
                     int destinationStep,
                     IppiSize destinationSize,
                     int interpolation) {
  return remap<3>(source,
                  sourceSize,
                  sourceStep,
                  sourceRegion,
                  {mapCols, mapColsStep},
                  {mapRows, mapRowsStep},
                  destination,
                  destinationStep,
                  destinationSize,
                  interpolation);
}

}  // namespace ORV::Common::Platform
