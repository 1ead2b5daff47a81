// SPDX-License-Identifier: MIT
/// @file
/// Summed-area table, and the box filters that SURF evaluates on it.
#ifndef ORV_MONTAGE_REGISTRATION_INTEGRAL_IMAGE_H
#define ORV_MONTAGE_REGISTRATION_INTEGRAL_IMAGE_H

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Summed-area table of an 8-bit image (F. Crow, "Summed-area tables for texture mapping", SIGGRAPH
/// 1984): entry (y, x) is the sum of all pixels above row y and left of column x.
///
/// Sums are kept modulo 2^32. The sum over a box is exact all the same while it is below 2^31, for
/// boxes of up to 8.4 megapixels, however large the image is.
///
/// The columns may be stored sorted by their residue modulo a sampling step ("phase"): a filter
/// that visits every step-th column then reads consecutive entries, whatever the step.
class IntegralImage {
 public:
  /// Entries that may be read past any entry of the table: lets vector code run past a row's end.
  static constexpr std::size_t kReadablePadding = 64;

  /// Table in plain column order.
  /// @param[in] grey  `CV_8UC1`, at least one pixel.
  explicit IntegralImage(const cv::Mat& grey);

  /// The same table with the columns sorted by their residue modulo `step`, step >= 1.
  [[nodiscard]] IntegralImage sortedByPhase(int step) const;

  /// Size of the image in pixels; the table has one row and one column more.
  [[nodiscard]] int rows() const { return rows_; }
  [[nodiscard]] int cols() const { return cols_; }

  /// Distance from the entry of a column that is a multiple of the step to the entry `y` rows below
  /// and `x` columns to its right; x, y >= 0.
  [[nodiscard]] std::ptrdiff_t offset(int y, int x) const {
    return y * stride_ + (x % step_) * phaseStride_ + x / step_;
  }

  /// Entry (y, x).
  [[nodiscard]] const std::uint32_t* at(int y, int x) const { return sums_.data() + offset(y, x); }

 private:
  IntegralImage(int rows, int cols, int step);

  int rows_;
  int cols_;
  int step_;
  std::ptrdiff_t phaseStride_;
  std::ptrdiff_t stride_;
  std::vector<std::uint32_t> sums_;
};

/// A weighted box in the coordinates of a small pattern: columns [x0, x1), rows [y0, y1).
struct PatternBox {
  int x0, y0, x1, y1;
  float weight;
};

/// A weighted box mean, ready to be evaluated at any entry of one integral image.
struct Box {
  std::ptrdiff_t topLeft = 0;
  std::ptrdiff_t topRight = 0;
  std::ptrdiff_t bottomLeft = 0;
  std::ptrdiff_t bottomRight = 0;
  float factor = 0.0F;  ///< weight / area

  Box() = default;
  /// Pattern coordinates are multiplied by `ratio` and rounded, ties to even.
  Box(const PatternBox& pattern, float ratio, const IntegralImage& image);

  /// Weight times the mean of the box whose pattern origin is the entry `origin`.
  [[nodiscard]] float mean(const std::uint32_t* origin) const {
    const std::uint32_t sum =
        origin[topLeft] + origin[bottomRight] - origin[topRight] - origin[bottomLeft];
    return static_cast<float>(static_cast<std::int32_t>(sum)) * factor;
  }
};

/// The boxes of a pattern, scaled by `ratio`.
template <std::size_t n>
std::array<Box, n> scaledBoxes(const std::array<PatternBox, n>& pattern,
                               float ratio,
                               const IntegralImage& image) {
  std::array<Box, n> boxes{};
  for (std::size_t i = 0; i < n; ++i) {
    boxes[i] = Box(pattern[i], ratio, image);
  }
  return boxes;
}

/// Sum of weighted box means at the entry `origin`, in list order in double precision.
template <std::size_t n>
float boxResponse(const std::array<Box, n>& boxes, const std::uint32_t* origin) {
  double sum = 0.0;
  for (const Box& box : boxes) {
    sum += static_cast<double>(box.mean(origin));
  }
  return static_cast<float>(sum);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_INTEGRAL_IMAGE_H
