// SPDX-License-Identifier: MIT
#include "Composition/WeightedLayer.h"

#include "Composition/BlendKernels.h"

namespace ORV::Common::Algorithms::Montage::Composition {

WeightedLayer::WeightedLayer(cv::Size size, int channels, BlendArithmetic arithmetic)
    : sums_(size, CV_16SC(channels), cv::Scalar::all(0)),
      weights_(size, CV_32FC1, cv::Scalar(0)),
      arithmetic_(arithmetic) {}

void WeightedLayer::add(const cv::Rect& area,
                        const cv::Mat& fine,
                        const cv::Mat& coarse,
                        const cv::Mat& weights) {
  cv::Mat sums = sums_(area);
  cv::Mat weightSums = weights_(area);
  const auto rowOf = [](const cv::Mat& image, int row) {
    return image.empty() ? nullptr : image.ptr(row);
  };
  const auto fineRowOf = [](const cv::Mat& image, int row) {
    return image.empty() ? nullptr : image.ptr<short>(row);
  };
  for (int row = 0; row < area.height; ++row) {
    const auto* const weightRow = weights.ptr<float>(row);
    auto* const sumRow = sums.ptr<short>(row);
    auto* const weightSumRow = weightSums.ptr<float>(row);
    if (arithmetic_ == BlendArithmetic::kFine) {
      addFineRow(fineRowOf(fine, row),
                 fineRowOf(coarse, row),
                 weightRow,
                 sumRow,
                 weightSumRow,
                 area.width,
                 sums.channels());
    } else {
      addWeightedRow(rowOf(fine, row),
                     rowOf(coarse, row),
                     weightRow,
                     sumRow,
                     weightSumRow,
                     area.width,
                     sums.channels());
    }
  }
}

cv::Mat& WeightedLayer::normalise() {
  const auto divide = arithmetic_ == BlendArithmetic::kFine ? divideFineRow : divideByWeightRow;
  for (int row = 0; row < sums_.rows; ++row) {
    divide(weights_.ptr<float>(row), sums_.ptr<short>(row), sums_.cols, sums_.channels());
  }
  return sums_;
}

void WeightedLayer::write(const cv::Rect& area, cv::Mat pixels) const {
  const auto writeOne = arithmetic_ == BlendArithmetic::kFine ? writeFineRow : writeRow;
  const cv::Mat sums = sums_(area);
  const cv::Mat weights = weights_(area);
  for (int row = 0; row < area.height; ++row) {
    writeOne(sums.ptr<short>(row),
             weights.ptr<float>(row),
             pixels.ptr(row),
             area.width,
             sums_.channels());
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
