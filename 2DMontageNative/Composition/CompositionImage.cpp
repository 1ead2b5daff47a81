// SPDX-License-Identifier: MIT
#include "Composition/CompositionImage.h"

#include "Composition/ScaleTolerance.h"

#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {

cv::Mat scaledForComposition(const cv::Mat& image, double composeScale) {
  if (countsAsFullResolution(composeScale - 1.0)) {
    return image;
  }
  cv::Mat scaled;
  cv::resize(image, scaled, cv::Size(), composeScale, composeScale, cv::INTER_LINEAR);
  return scaled;
}

cv::Size scaledSizeForComposition(cv::Size size, double composeScale) {
  if (countsAsFullResolution(composeScale - 1.0)) {
    return size;
  }
  const cv::Size scaled(cvRound(size.width * composeScale), cvRound(size.height * composeScale));
  CV_Assert(!scaled.empty());
  return scaled;
}

cv::Mat withChannels(const cv::Mat& image, int channels) {
  if (image.channels() == channels) {
    return image;
  }
  cv::Mat converted;
  if (channels == 1) {
    cv::extractChannel(image, converted, 0);
  } else {
    cv::cvtColor(image, converted, cv::COLOR_GRAY2BGR);
  }
  return converted;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
