// SPDX-License-Identifier: MIT
#include "Composition/FootprintMask.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

/// A run of columns, both ends included.
struct Run {
  double first;
  double last;

  /// Keeps the columns u with slope * u + offset >= 0.
  void keep(double slope, double offset) {
    if (slope > 0.0) {
      first = std::max(first, -offset / slope);
    } else if (slope < 0.0) {
      last = std::min(last, -offset / slope);
    } else if (offset < 0.0) {
      last = first - 1.0;
    }
  }
};

}  // namespace

std::vector<cv::Range> runsInside(const cv::detail::PlaneProjector& projector,
                                  const cv::Rect& area,
                                  cv::Size source) {
  std::vector<cv::Range> runs;
  // The position is (x / z, y / z), each linear in the column and the row.
  const float* const k = projector.k_rinv;
  const double scale = projector.scale;
  for (int row = 0; row < area.height; ++row) {
    const double v = (area.y + row) / scale;
    const auto offsetOf = [&](int line) {
      return static_cast<double>(k[3 * line + 1]) * v + static_cast<double>(k[3 * line + 2]);
    };
    const auto slopeOf = [&](int line) { return static_cast<double>(k[3 * line]) / scale; };
    const double zSlope = slopeOf(2);
    const double zOffset = offsetOf(2);
    Run run{static_cast<double>(area.x), static_cast<double>(area.br().x - 1)};
    run.keep(zSlope, zOffset);
    for (const auto& [line, length] : {std::pair{0, source.width}, {1, source.height}}) {
      const double last = length - 0.5;
      run.keep(slopeOf(line) + 0.5 * zSlope, offsetOf(line) + 0.5 * zOffset);
      run.keep(last * zSlope - slopeOf(line), last * zOffset - offsetOf(line));
    }
    const int first = std::clamp(static_cast<int>(std::ceil(run.first)) - area.x, 0, area.width);
    const int end =
        std::clamp(static_cast<int>(std::floor(run.last)) - area.x + 1, first, area.width);
    runs.emplace_back(first, end);
  }
  return runs;
}

void keepRuns(const std::vector<cv::Range>& runs, cv::Mat& mask) {
  for (int row = 0; row < mask.rows; ++row) {
    const cv::Range& run = runs[static_cast<std::size_t>(row)];
    auto* const pixels = mask.ptr<uchar>(row);
    std::fill(pixels, pixels + std::min(run.start, mask.cols), uchar{0});
    std::fill(pixels + std::min(run.end, mask.cols), pixels + mask.cols, uchar{0});
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
