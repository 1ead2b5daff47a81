// SPDX-License-Identifier: MIT
#include "Scaler.h"

#include "Composition/ScaleTolerance.h"
#include "Platform/Status.h"
#include "Scaler/ResolutionScale.h"

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage {
namespace {

std::vector<cv::Size> sizesOf(const std::vector<cv::Mat>& images) {
  std::vector<cv::Size> sizes;
  sizes.reserve(images.size());
  for (const cv::Mat& image : images) {
    sizes.push_back(image.size());
  }
  return sizes;
}

}  // namespace

Scaler::Scaler(std::vector<cv::Mat>& images)
    : workScale(1.0F),
      seamScale(1.0F),
      composeScale(1.0F),
      seamWorkAspect(1.0F),
      composeWorkAspect(1.0F),
      sizes(sizesOf(images)) {}
Scaler::Scaler(const Scaler& other) = default;
Scaler& Scaler::operator=(const Scaler& other) = default;
Scaler::~Scaler() = default;

int Scaler::processParams(float workMegapixels, float seamMegapixels, float composeMegapixels) {
  if (sizes.empty()) {
    return Platform::kRejected;
  }
  const double area = sizes[0].width * sizes[0].height;
  workScale = resolutionScale(workMegapixels, area);
  seamScale = resolutionScale(seamMegapixels, area);
  composeScale = resolutionScale(composeMegapixels, area);
  seamWorkAspect = seamScale / workScale;
  composeWorkAspect = composeScale / workScale;
  return Platform::kSuccess;
}

void Scaler::updateSizes(std::vector<cv::Mat> images) {
  sizes = sizesOf(images);
}

void Scaler::blendScale(std::vector<cv::detail::CameraParams>& cameras,
                        Composition::Warp& warp,
                        std::vector<cv::Point>& corners) {
  warp.scale(composeWorkAspect);
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    cv::detail::CameraParams& camera = cameras[i];
    camera.focal *= composeWorkAspect;
    camera.ppx *= composeWorkAspect;
    camera.ppy *= composeWorkAspect;

    cv::Size size = sizes[i];
    // The difference is formed in single precision: a scale of 0.9F counts as more than 0.1 off.
    if (!Composition::countsAsFullResolution(composeScale - 1.0F)) {
      size.width = cvRound(static_cast<float>(size.width) * composeScale);
      size.height = cvRound(static_cast<float>(size.height) * composeScale);
    }

    cv::Mat K;
    camera.K().convertTo(K, CV_32F);
    const cv::Rect roi = warp.warper->warpRoi(size, K, camera.R);
    corners[i] = roi.tl();
    sizes[i] = roi.size();
  }
}

}  // namespace ORV::Common::Algorithms::Montage
