// SPDX-License-Identifier: MIT
/// @file
/// The gradient histogram of a descriptor window, vectorised.
#ifndef ORV_MONTAGE_REGISTRATION_CORNER_WINDOW_H
#define ORV_MONTAGE_REGISTRATION_CORNER_WINDOW_H

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Cells of a descriptor per side, with a border of one on every side, and orientations per cell,
/// with two more: interpolation never tests for edges.
constexpr int kCornerCells = 4;
constexpr int kCornerOrientations = 8;
constexpr int kBinsPerCell = kCornerOrientations + 2;
constexpr int kBinsPerRow = (kCornerCells + 2) * kBinsPerCell;
/// Orientation -1 (rounding at 360 degrees) of the first cell needs one bin before the histogram.
constexpr int kGuardBins = 1;
using CornerHistogram = std::array<float, kGuardBins + (kCornerCells + 2) * kBinsPerRow>;

/// The gradient of every pixel of an image row by row, followed by padding for whole vectors.
struct GradientPlanes {
  static constexpr std::size_t kPadding = 16;

  explicit GradientPlanes(cv::Size imageSize);

  [[nodiscard]] std::ptrdiff_t index(int x, int y) const {
    return static_cast<std::ptrdiff_t>(y) * size.width + x;
  }

  cv::Size size;
  std::vector<float> magnitude;
  std::vector<float> fraction;            ///< towards the next orientation
  std::vector<std::int32_t> orientation;  ///< -1 to 7
};

/// The pixels of a window and what each contributes to the histogram.
class CornerWindow {
 public:
  /// One pixel, relative to the keypoint.
  struct Sample {
    int dx;
    int dy;
    int bin;               ///< first histogram bin of its cell
    float rowFraction;     ///< towards the next cell down
    float columnFraction;  ///< towards the next cell to the right
    float weight;
  };

  /// @param[in] samples  row by row, those of a row side by side.
  explicit CornerWindow(const std::vector<Sample>& samples);

  /// Windows that are summed at once.
  static constexpr std::size_t kGroup = 4;

  /// The histograms around up to kGroup pixels by trilinear interpolation, each bin summed in the
  /// order of the samples. Samples without a gradient, on the image's border and outside, are left
  /// out.
  void histogramsAt(const GradientPlanes& gradient,
                    const cv::Point* centres,
                    std::size_t count,
                    CornerHistogram* histograms) const;

  /// Neighbouring samples of one row.
  struct Run {
    int dx;  ///< of the first
    int dy;
    int count;
    std::size_t first;  ///< place in the lists below; whole vectors may be read from it on
  };
  static constexpr int kLongestRun = 64;

  std::vector<Run> runs;
  std::vector<std::int32_t> bins;
  std::vector<float> rowFractions;
  std::vector<float> columnFractions;
  std::vector<float> weights;

 private:
  [[nodiscard]] bool isInside(const GradientPlanes& gradient, cv::Point centre) const;
};

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CORNER_WINDOW_H
