// SPDX-License-Identifier: MIT
#include "Composition/WeightedLayer.h"

#include "Composition/BlendKernels.h"

namespace ORV::Common::Algorithms::Montage::Composition {

WeightedLayer::WeightedLayer(cv::Size size, int channels)
    : sums_(size, CV_16SC(channels), cv::Scalar::all(0)), weights_(size, CV_32FC1, cv::Scalar(0)) {}

void WeightedLayer::add(const cv::Rect& area,
                        const cv::Mat& fine,
                        const cv::Mat& coarse,
                        const cv::Mat& weights) {
  cv::Mat sums = sums_(area);
  cv::Mat weightSums = weights_(area);
  for (int row = 0; row < area.height; ++row) {
    addWeightedRow(fine.ptr(row),
                   coarse.empty() ? nullptr : coarse.ptr(row),
                   weights.ptr<float>(row),
                   sums.ptr<short>(row),
                   weightSums.ptr<float>(row),
                   area.width,
                   sums.channels());
  }
}

cv::Mat& WeightedLayer::normalise() {
  for (int row = 0; row < sums_.rows; ++row) {
    divideByWeightRow(
        weights_.ptr<float>(row), sums_.ptr<short>(row), sums_.cols, sums_.channels());
  }
  return sums_;
}

void WeightedLayer::write(const cv::Rect& area, cv::Mat pixels) const {
  const cv::Mat sums = sums_(area);
  const cv::Mat weights = weights_(area);
  for (int row = 0; row < area.height; ++row) {
    writeRow(sums.ptr<short>(row),
             weights.ptr<float>(row),
             pixels.ptr(row),
             area.width,
             sums_.channels());
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
