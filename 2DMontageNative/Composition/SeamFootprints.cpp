// SPDX-License-Identifier: MIT
#include "Composition/SeamFootprints.h"

#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

std::vector<cv::Point> footprintCentresOf(const std::vector<cv::Point>& corners,
                                          const std::vector<cv::Size>& sizes,
                                          double seamScale) {
  const auto truncated = [](double value) { return static_cast<int>(value); };

  std::vector<cv::Point> extremes;  // top-left and bottom-right of every footprint
  std::vector<cv::Point> centres;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    const double width = sizes[i].width / seamScale;
    const double height = sizes[i].height / seamScale;
    const cv::Point topLeft(truncated(corners[i].x / seamScale),
                            truncated(corners[i].y / seamScale));
    extremes.push_back(topLeft);
    extremes.push_back(topLeft + cv::Point(truncated(width), truncated(height)));
    centres.push_back(topLeft - cv::Point(truncated(-0.5 * width), truncated(-0.5 * height)));
  }

  const cv::Point origin = cv::boundingRect(extremes).tl();
  for (cv::Point& centre : centres) {
    centre -= origin;
  }
  return centres;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
