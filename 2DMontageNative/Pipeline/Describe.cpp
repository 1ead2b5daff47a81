// SPDX-License-Identifier: MIT
#include "Pipeline/FindFeatures.h"
#include "Registration.h"
#include "Registration/CornerFeatures.h"
#include "Registration/GreyImage.h"
#include "Scaler/ResolutionScale.h"
#include "montage/Features.h"
#include "montage/Images.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace montage {
namespace {

namespace stages = ORV::Common::Algorithms::Montage::Registration;

/// Takes off noise and what bilinear sampling would blur differently at every position.
constexpr double kSmoothingPx = 0.8;

void requirePicture(const cv::Mat& image) {
  if (image.empty() || (image.type() != CV_8UC1 && image.type() != CV_8UC3)) {
    throw std::invalid_argument("image: an 8-bit image of one or three channels is expected");
  }
}

std::vector<float> surfParametersOf(const FeatureOptions& options) {
  const auto octaves = static_cast<float>(options.surfOctaves);
  const auto layers = static_cast<float>(options.surfLayers);
  return {static_cast<float>(options.surfThreshold), octaves, layers, octaves, layers};
}

/// Where features lie and how they are described, before the values' own types.
struct Found {
  cv::Size imageSize;
  std::vector<cv::KeyPoint> keypoints;
  cv::Mat descriptors;
};

Found findCorners(const cv::Mat& image, float scale) {
  stages::CornerFeatures found = stages::findCornerFeatures(image, scale);
  if (found.detectorFailed) {
    throw std::bad_alloc();  // no image is left out for want of memory
  }
  return {found.imageSize, std::move(found.keypoints), found.descriptors};
}

Found findBlobs(const cv::Mat& image, const FeatureOptions& options, float scale) {
  std::vector<cv::Mat> images{image};
  std::vector<cv::detail::ImageFeatures> found(1);
  stages::FeatureFinding()(images, surfParametersOf(options), scale, false, found);
  return {found[0].img_size,
          std::move(found[0].keypoints),
          found[0].descriptors.getMat(cv::ACCESS_READ).clone()};
}

}  // namespace

double featureScale(const std::vector<cv::Size>& sizes, const FeatureOptions& options) {
  double largestArea = 0.0;
  for (const cv::Size& size : sizes) {
    largestArea = std::max(largestArea, static_cast<double>(size.width) * size.height);
  }
  return ORV::Common::Algorithms::Montage::resolutionScale(static_cast<float>(options.megapixels),
                                                           largestArea);
}

Features findFeatures(const cv::Mat& image, const FeatureOptions& options, float scale) {
  Found found = options.kind == FeatureKind::surf ? findBlobs(image, options, scale)
                                                  : findCorners(image, scale);
  Features features;
  features.kind = options.kind;
  features.imageSize = image.size();
  features.scale = scale;
  features.scaledSize = found.imageSize;
  features.keypoints = std::move(found.keypoints);
  // Corner descriptors are whole numbers from 0 to 255: a quarter of the memory holds them.
  found.descriptors.convertTo(features.descriptors,
                              options.kind == FeatureKind::corners ? CV_8U : CV_32F);
  if (options.keepImage) {
    cv::GaussianBlur(stages::greyOf(stages::scaledImage(image, scale)),
                     features.image,
                     cv::Size(),
                     kSmoothingPx);
  }
  return features;
}

Features describe(const cv::Mat& image, const FeatureOptions& options) {
  return describe(image, options, featureScale({image.size()}, options));
}

Features describe(const cv::Mat& image, const FeatureOptions& options, double scale) {
  check(options);
  requirePicture(image);
  if (!(scale > 0.0 && scale <= 1.0)) {
    throw std::invalid_argument("scale: a factor above 0 and up to 1 is expected");
  }
  Features features = findFeatures(image, options, static_cast<float>(scale));
  features.hash = hashOf(image);
  return features;
}

}  // namespace montage
