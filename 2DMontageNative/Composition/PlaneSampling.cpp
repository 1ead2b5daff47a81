// SPDX-License-Identifier: MIT
#include "Composition/PlaneSampling.h"

#include "Platform/CubicSampler.h"

#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

void fillPlaneMaps(cv::detail::PlaneProjector projector,
                   const cv::Rect& area,
                   cv::Mat& xMap,
                   cv::Mat& yMap) {
  for (int row = 0; row < area.height; ++row) {
    const auto v = static_cast<float>(area.y + row);
    auto* xRow = xMap.ptr<float>(row);
    auto* yRow = yMap.ptr<float>(row);
    for (int column = 0; column < area.width; ++column) {
      float x = 0;
      float y = 0;
      projector.mapBackward(static_cast<float>(area.x + column), v, x, y);
      xRow[column] = x;
      yRow[column] = y;
    }
  }
}

bool liesInside(const cv::Mat& xMap, const cv::Mat& yMap, cv::Size source) {
  constexpr float kReach = 4;  // of the widest one, Lanczos
  const auto right = static_cast<float>(source.width - 1) - kReach;
  const auto bottom = static_cast<float>(source.height - 1) - kReach;
  int inside = 1;  // not a bool and no early exit: vectorises
  for (int row = 0; row < xMap.rows; ++row) {
    const auto* x = xMap.ptr<float>(row);
    const auto* y = yMap.ptr<float>(row);
    for (int i = 0; i < xMap.cols; ++i) {
      inside &= static_cast<int>(x[i] >= kReach) & static_cast<int>(x[i] <= right) &
                static_cast<int>(y[i] >= kReach) & static_cast<int>(y[i] <= bottom);
    }
  }
  return inside != 0;
}

void samplePixels(const cv::Mat& source,
                  const cv::Mat& xMap,
                  const cv::Mat& yMap,
                  Sampling sampling,
                  cv::Mat destination) {
  const bool grey = source.type() == CV_8UC1;
  const bool colour = source.type() == CV_8UC3;
  if (sampling.interpolation == cv::INTER_CUBIC && (grey || colour) &&
      (sampling.border == cv::BORDER_CONSTANT || liesInside(xMap, yMap, source.size()))) {
    Platform::CubicSampler(source).sample(xMap, yMap, destination);
    return;
  }
  cv::remap(source, destination, xMap, yMap, sampling.interpolation, sampling.border);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
