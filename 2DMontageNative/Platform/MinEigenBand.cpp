// SPDX-License-Identifier: MIT
#include "Platform/MinEigenBand.h"

#include "Platform/RegionAccess.h"

#include <algorithm>
#include <array>
#include <cstddef>

// Highway compiles what follows once per instruction set of the processor family.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Platform/MinEigenBand.cpp"
#include <hwy/foreach_target.h>  // before highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Platform::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr int kReach = 2;  // half the side of the derivative kernels and of the window
constexpr int kTaps = 2 * kReach + 1;
constexpr std::size_t kRowPadding = 16;  // floats before each row: room for kReach, a cache line
constexpr float kGradientScale = 1.0F / 80.0F;  // 2^4, the gain of the kernels, times the window 5

/// Samples of five rows above each other, or of five rows of sums.
using RowStack = std::array<const float*, kTaps>;

/// Rows of the three gradient products dx * dx, dx * dy, dy * dy, or of their sums.
using ProductRows = std::array<float*, 3>;

/// Index of the sample that stands for index `i`: mirrored at the ends without repeating them.
int mirrored(int i, int count) {
  if (count == 1) {
    return 0;
  }
  while (i < 0 || i >= count) {
    i = i < 0 ? -i : 2 * (count - 1) - i;
  }
  return i;
}

/// Fills the `kReach` samples on either side of a row.
void mirrorEnds(float* row, int width) {
  for (int k = 1; k <= kReach; ++k) {
    row[-k] = row[mirrored(-k, width)];
    row[width - 1 + k] = row[mirrored(width - 1 + k, width)];
  }
}

/// Calls `body(tag, x)` for whole vectors from x on, then for single samples up to `width`.
///
/// Each sample is computed alone, so that the vector length never shows in the results.
template <class Body>
HWY_INLINE void forEachVector(int width, const Body& body) {
  const hn::ScalableTag<float> vectors;
  const auto lanes = static_cast<int>(hn::Lanes(vectors));
  int x = 0;
  for (; x + lanes <= width; x += lanes) {
    body(vectors, x);
  }
  for (; x < width; ++x) {
    body(hn::CappedTag<float, 1>(), x);
  }
}

/// [1 1 1 1 1] of samples given from first to last.
template <class V>
HWY_INLINE V sum(V v0, V v1, V v2, V v3, V v4) {
  return hn::Add(hn::Add(hn::Add(v0, v4), hn::Add(v1, v3)), v2);
}

/// [1 4 6 4 1] of samples given from first to last.
template <class V>
HWY_INLINE V smooth(V v0, V v1, V v2, V v3, V v4) {
  const hn::DFromV<V> tag;
  const auto inner = hn::Mul(hn::Set(tag, 4.0F), hn::Add(v1, v3));
  return hn::Add(hn::Add(hn::Add(v0, v4), inner), hn::Mul(hn::Set(tag, 6.0F), v2));
}

/// [-1 -2 0 2 1] of samples given from first to last, without the centre.
template <class V>
HWY_INLINE V derive(V v0, V v1, V v3, V v4) {
  const hn::DFromV<V> tag;
  return hn::Add(hn::Sub(v4, v0), hn::Mul(hn::Set(tag, 2.0F), hn::Sub(v3, v1)));
}

/// Vertical halves of the two Sobel kernels.
void sobelAlongColumns(const RowStack& rows, int width, float* smoothed, float* derived) {
  forEachVector(width, [&](auto tag, int x) HWY_ATTR {
    const auto v0 = hn::LoadU(tag, rows[0] + x);
    const auto v1 = hn::LoadU(tag, rows[1] + x);
    const auto v2 = hn::LoadU(tag, rows[2] + x);
    const auto v3 = hn::LoadU(tag, rows[3] + x);
    const auto v4 = hn::LoadU(tag, rows[4] + x);
    hn::StoreU(smooth(v0, v1, v2, v3, v4), tag, smoothed + x);
    hn::StoreU(derive(v0, v1, v3, v4), tag, derived + x);
  });
}

/// Horizontal halves of the two Sobel kernels, then the products of the gradient.
void multiplyGradients(const float* smoothed,
                       const float* derived,
                       int width,
                       const ProductRows& products) {
  forEachVector(width, [&](auto tag, int x) HWY_ATTR {
    const float* const s = smoothed + x;
    const float* const d = derived + x;
    const auto scale = hn::Set(tag, kGradientScale);
    const auto dx = hn::Mul(scale,
                            derive(hn::LoadU(tag, s - 2),
                                   hn::LoadU(tag, s - 1),
                                   hn::LoadU(tag, s + 1),
                                   hn::LoadU(tag, s + 2)));
    const auto dy = hn::Mul(scale,
                            smooth(hn::LoadU(tag, d - 2),
                                   hn::LoadU(tag, d - 1),
                                   hn::LoadU(tag, d),
                                   hn::LoadU(tag, d + 1),
                                   hn::LoadU(tag, d + 2)));
    hn::StoreU(hn::Mul(dx, dx), tag, products[0] + x);
    hn::StoreU(hn::Mul(dx, dy), tag, products[1] + x);
    hn::StoreU(hn::Mul(dy, dy), tag, products[2] + x);
  });
}

/// Sums of five neighbours in a row.
void sumAlongRow(const float* samples, int width, float* sums) {
  forEachVector(width, [&](auto tag, int x) HWY_ATTR {
    const float* const p = samples + x;
    const auto total = sum(hn::LoadU(tag, p - 2),
                           hn::LoadU(tag, p - 1),
                           hn::LoadU(tag, p),
                           hn::LoadU(tag, p + 1),
                           hn::LoadU(tag, p + 2));
    hn::StoreU(total, tag, sums + x);
  });
}

/// Sums of one column of five rows.
template <class Tag>
HWY_INLINE hn::Vec<Tag> sumOfRows(Tag tag, const RowStack& rows, int x) {
  return sum(hn::LoadU(tag, rows[0] + x),
             hn::LoadU(tag, rows[1] + x),
             hn::LoadU(tag, rows[2] + x),
             hn::LoadU(tag, rows[3] + x),
             hn::LoadU(tag, rows[4] + x));
}

/// Vertical half of the window sum, then the smaller eigenvalue.
void smallerEigenvalues(const std::array<RowStack, 3>& sums, int width, float* eigenvalues) {
  forEachVector(width, [&](auto tag, int x) HWY_ATTR {
    const auto half = hn::Set(tag, 0.5F);
    const auto a = hn::Mul(half, sumOfRows(tag, sums[0], x));
    const auto b = sumOfRows(tag, sums[1], x);
    const auto c = hn::Mul(half, sumOfRows(tag, sums[2], x));
    const auto difference = hn::Sub(a, c);
    const auto root = hn::Sqrt(hn::Add(hn::Mul(difference, difference), hn::Mul(b, b)));
    hn::StoreU(hn::Sub(hn::Add(a, c), root), tag, eigenvalues + x);
  });
}

/// The rows that a band works in: two of half-made gradients, three of their products, and a ring
/// of the products' sums along the last five source rows.
class Workspace {
 public:
  static std::size_t floatCount(int width) { return kRowCount * pitch(width); }

  Workspace(float* memory, int width) : memory_(memory + kRowPadding), pitch_(pitch(width)) {}

  [[nodiscard]] float* smoothed() const { return row(0); }
  [[nodiscard]] float* derived() const { return row(1); }
  [[nodiscard]] float* product(std::size_t k) const { return row(2 + k); }
  [[nodiscard]] float* sums(std::size_t k, int sourceRow) const {
    return row(5 + k * kTaps + static_cast<std::size_t>(sourceRow % kTaps));
  }

 private:
  static constexpr std::size_t kRowCount = 2 + 3 + 3 * kTaps;

  static std::size_t pitch(int width) {
    const std::size_t used = kRowPadding + static_cast<std::size_t>(width) + kReach;
    return (used + kRowPadding - 1) / kRowPadding * kRowPadding;
  }
  [[nodiscard]] float* row(std::size_t index) const { return memory_ + index * pitch_; }

  float* memory_;
  std::size_t pitch_;
};

/// From source row `y` to the sums of its gradient products along the row.
void sumProductsOfRow(const MinEigenImages& images, int y, const Workspace& work) {
  const int width = images.size.width;
  RowStack rows;
  for (int k = 0; k < kTaps; ++k) {
    const int row = mirrored(y + k - kReach, images.size.height);
    rows[static_cast<std::size_t>(k)] = rowAt(images.source, images.sourceStep, row);
  }
  sobelAlongColumns(rows, width, work.smoothed(), work.derived());
  mirrorEnds(work.smoothed(), width);
  mirrorEnds(work.derived(), width);
  multiplyGradients(
      work.smoothed(), work.derived(), width, {work.product(0), work.product(1), work.product(2)});
  for (std::size_t k = 0; k < 3; ++k) {
    mirrorEnds(work.product(k), width);
    sumAlongRow(work.product(k), width, work.sums(k, y));
  }
}

void computeBand(const MinEigenImages& images, int firstRow, int endRow, float* workspace) {
  const Workspace work(workspace, images.size.width);
  int nextSource = std::max(firstRow - kReach, 0);
  for (int y = firstRow; y < endRow; ++y) {
    for (; nextSource <= std::min(y + kReach, images.size.height - 1); ++nextSource) {
      sumProductsOfRow(images, nextSource, work);
    }
    std::array<RowStack, 3> sums;
    for (int k = 0; k < kTaps; ++k) {
      const int row = mirrored(y + k - kReach, images.size.height);
      for (std::size_t product = 0; product < 3; ++product) {
        sums[product][static_cast<std::size_t>(k)] = work.sums(product, row);
      }
    }
    smallerEigenvalues(
        sums, images.size.width, rowAt(images.destination, images.destinationStep, y));
  }
}

std::size_t bandFloats(int width) {
  return Workspace::floatCount(width);
}

}  // namespace
}  // namespace ORV::Common::Platform::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Platform {

HWY_EXPORT(computeBand);

std::size_t minEigenBandFloats(int width) {
  return HWY_STATIC_DISPATCH(bandFloats)(width);
}

void minEigenBand(const MinEigenImages& images, int firstRow, int endRow, float* workspace) {
  HWY_DYNAMIC_DISPATCH(computeBand)(images, firstRow, endRow, workspace);
}

}  // namespace ORV::Common::Platform
#endif  // HWY_ONCE
