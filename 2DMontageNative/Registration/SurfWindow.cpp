// SPDX-License-Identifier: MIT
#include "Registration/SurfWindow.h"

#include <algorithm>
#include <array>
#include <cstdint>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Registration/SurfWindow.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Positions need double precision; a lane is a row of the window.
using Doubles = hn::ScalableTag<double>;
using RowFloats = hn::Rebind<float, Doubles>;
using RowInts = hn::Rebind<std::int32_t, Doubles>;

/// Samples of a few columns, one vector of rows after the other.
struct Samples {
  /// Few enough for the first-level cache.
  static constexpr int kColumns = 32;
  static constexpr std::size_t kCount = std::size_t{kColumns} * hn::MaxLanes(Doubles());

  /// Offset of the pixel in the image; then the pixel in bits 0 to 7 and its right, lower and lower
  /// right neighbours in the higher bytes.
  HWY_ALIGN std::array<std::int32_t, kCount> quads;
  HWY_ALIGN std::array<float, kCount> shareX;  ///< of the right neighbours
  HWY_ALIGN std::array<float, kCount> shareY;  ///< of the lower neighbours
};

/// 1. Places the samples of columns [begin, end) of the vector of rows that starts at `row`.
template <bool isInside>
HWY_INLINE void placeSamples(
    const SurfWindow& window, int row, int begin, int end, Samples& samples) {
  const Doubles doubles;
  const auto zero = hn::Zero(doubles);
  const auto lastX = hn::Set(doubles, window.image.cols - 2);
  const auto lastY = hn::Set(doubles, window.image.rows - 2);
  const auto stride = hn::Set(doubles, static_cast<double>(window.image.step[0]));
  const auto startX = hn::LoadU(doubles, window.rowX.data() + row);
  const auto startY = hn::LoadU(doubles, window.rowY.data() + row);
  std::size_t k = 0;
  for (int column = begin; column < end; ++column, k += hn::Lanes(doubles)) {
    const auto x = hn::Add(startX, hn::Set(doubles, column * window.stepX));
    const auto y = hn::Add(startY, hn::Set(doubles, column * window.stepY));
    auto pixelX = hn::Floor(x);
    auto pixelY = hn::Floor(y);
    auto shareX = hn::Sub(x, pixelX);
    auto shareY = hn::Sub(y, pixelY);
    if (!isInside) {
      // Where a neighbour is missing, the nearest pixel alone counts.
      const auto hasRight = hn::And(hn::Ge(pixelX, zero), hn::Lt(pixelX, lastX));
      const auto hasLower = hn::And(hn::Ge(pixelY, zero), hn::Lt(pixelY, lastY));
      const auto hasAll = hn::And(hasRight, hasLower);
      const auto nearestX = hn::Min(hn::Max(hn::Round(x), zero), lastX);
      const auto nearestY = hn::Min(hn::Max(hn::Round(y), zero), lastY);
      pixelX = hn::IfThenElse(hasAll, pixelX, nearestX);
      pixelY = hn::IfThenElse(hasAll, pixelY, nearestY);
      shareX = hn::IfThenElseZero(hasAll, shareX);
      shareY = hn::IfThenElseZero(hasAll, shareY);
    }
    const auto offset = hn::Add(hn::Mul(pixelY, stride), pixelX);
    hn::Store(hn::DemoteTo(RowInts(), offset), RowInts(), samples.quads.data() + k);
    hn::Store(hn::DemoteTo(RowFloats(), shareX), RowFloats(), samples.shareX.data() + k);
    hn::Store(hn::DemoteTo(RowFloats(), shareY), RowFloats(), samples.shareY.data() + k);
  }
}

/// 2. Replaces the first `count` offsets by the pixels there. One by one: gather instructions were
/// slower, and a table of ready quads needs four times the cache.
inline void readQuads(const cv::Mat& image, std::size_t count, Samples& samples) {
  const auto pairAt = [](const std::uint8_t* pixel) {
    return static_cast<std::uint32_t>(pixel[0]) | static_cast<std::uint32_t>(pixel[1]) << 8U;
  };
  const std::uint8_t* const upper = image.data;
  const std::uint8_t* const lower = upper + image.step[0];
  const std::size_t lanes = hn::Lanes(Doubles());
  for (std::size_t vector = 0; vector < count; vector += lanes) {
    for (std::size_t k = vector; k < vector + lanes; ++k) {  // known length: unrolled
      const auto offset = static_cast<std::uint32_t>(samples.quads[k]);
      samples.quads[k] =
          static_cast<std::int32_t>(pairAt(upper + offset) | pairAt(lower + offset) << 16U);
    }
  }
}

/// Byte `index` of every quad.
template <int index, class Floats>
HWY_INLINE hn::Vec<Floats> byteOf(Floats floats, hn::Vec<hn::Rebind<std::int32_t, Floats>> quads) {
  const hn::Rebind<std::int32_t, Floats> ints;
  constexpr std::int32_t kByte = 0xff;
  return hn::ConvertTo(floats, hn::And(hn::ShiftRight<8 * index>(quads), hn::Set(ints, kByte)));
}

/// 3. Bilinear grey levels, rounded, of the samples from number `k` on.
template <class Floats>
HWY_INLINE hn::Vec<Floats> interpolate(Floats floats, const Samples& samples, std::size_t k) {
  const hn::Rebind<std::int32_t, Floats> ints;
  const auto quads = hn::Load(ints, samples.quads.data() + k);
  const auto right = hn::Load(floats, samples.shareX.data() + k);
  const auto lower = hn::Load(floats, samples.shareY.data() + k);
  const auto left = hn::Sub(hn::Set(floats, 1.0F), right);
  const auto upper = hn::Sub(hn::Set(floats, 1.0F), lower);
  auto grey = hn::Mul(hn::Mul(byteOf<0>(floats, quads), left), upper);
  grey = hn::Add(grey, hn::Mul(hn::Mul(byteOf<1>(floats, quads), right), upper));
  grey = hn::Add(grey, hn::Mul(hn::Mul(byteOf<2>(floats, quads), left), lower));
  grey = hn::Add(grey, hn::Mul(hn::Mul(byteOf<3>(floats, quads), right), lower));
  return hn::Round(grey);
}

/// Samples all columns of the vector of rows that starts at `row`: a vector per column.
template <bool isInside>
void sampleRows(const SurfWindow& window, int row, float* grey) {
  const hn::ScalableTag<float> floats;
  Samples samples;
  for (int begin = 0; begin < window.side; begin += Samples::kColumns) {
    const int end = std::min(begin + Samples::kColumns, window.side);
    const std::size_t count = static_cast<std::size_t>(end - begin) * hn::Lanes(Doubles());
    placeSamples<isInside>(window, row, begin, end, samples);
    readQuads(window.image, count, samples);
    for (std::size_t k = 0; k < count; k += hn::Lanes(floats)) {
      hn::StoreU(interpolate(floats, samples, k), floats, grey + k);
    }
    grey += count;
  }
}

void averageRows(const SurfWindow& window,
                 const std::vector<AreaWeight>& weights,
                 int targets,
                 float* samples,
                 float* averages) {
  const RowFloats floats;
  HWY_ALIGN std::array<float, hn::MaxLanes(floats)> lane;
  const int lanes = static_cast<int>(hn::Lanes(floats));
  const auto sample = window.isInside() ? &sampleRows<true> : &sampleRows<false>;
  for (int row = 0; row < window.side; row += lanes) {
    sample(window, row, samples);
    const int rows = std::min(lanes, window.side - row);
    auto sum = hn::Zero(floats);
    for (std::size_t k = 0; k < weights.size(); ++k) {
      const AreaWeight& entry = weights[k];
      const auto grey = hn::LoadU(floats, samples + std::ptrdiff_t{entry.source} * lanes);
      sum = hn::Add(sum, hn::Mul(grey, hn::Set(floats, entry.weight)));
      if (k + 1 == weights.size() || weights[k + 1].target != entry.target) {
        hn::Store(sum, floats, lane.data());
        for (int i = 0; i < rows; ++i) {
          averages[(row + i) * targets + entry.target] = lane[static_cast<std::size_t>(i)];
        }
        sum = hn::Zero(floats);
      }
    }
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

HWY_EXPORT(averageRows);

}  // namespace

bool SurfWindow::isInside() const {
  const auto isPixelFromEdge = [this](double x, double y) {
    constexpr int kPadding = 1;  // of the image
    return x >= 1 && y >= 1 && x < image.cols - kPadding - 2 && y < image.rows - kPadding - 2;
  };
  // All samples lie between the four corners.
  const auto last = static_cast<std::size_t>(side) - 1;
  const double lengthX = static_cast<double>(last) * stepX;
  const double lengthY = static_cast<double>(last) * stepY;
  return isPixelFromEdge(rowX[0], rowY[0]) && isPixelFromEdge(rowX[last], rowY[last]) &&
         isPixelFromEdge(rowX[0] + lengthX, rowY[0] + lengthY) &&
         isPixelFromEdge(rowX[last] + lengthX, rowY[last] + lengthY);
}

void averageWindowRows(const SurfWindow& window,
                       const std::vector<AreaWeight>& weights,
                       int targets,
                       float* samples,
                       float* averages) {
  HWY_DYNAMIC_DISPATCH(averageRows)(window, weights, targets, samples, averages);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
#endif  // HWY_ONCE
