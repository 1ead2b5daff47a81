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

void samplePixels(const cv::Mat& source,
                  const cv::Mat& xMap,
                  const cv::Mat& yMap,
                  Sampling sampling,
                  cv::Mat destination) {
  const bool grey = source.type() == CV_8UC1;
  const bool colour = source.type() == CV_8UC3;
  if (sampling.interpolation == cv::INTER_CUBIC && (grey || colour) &&
      sampling.border == cv::BORDER_CONSTANT) {
    Platform::CubicSampler(source).sample(xMap, yMap, destination);
    return;
  }
  cv::remap(source, destination, xMap, yMap, sampling.interpolation, sampling.border);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
