// SPDX-License-Identifier: MIT
#include "Composition/PlaneFootprint.h"

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr long long kSideLimit = 32767;  // of cv::remap, exclusive

}  // namespace

cv::Mat intrinsicsOf(const cv::detail::CameraParams& camera) {
  cv::Mat K;
  camera.K().convertTo(K, CV_32F);
  return K;
}

cv::Mat intrinsicsOf(const cv::detail::CameraParams& camera, double aspect) {
  cv::Mat K = intrinsicsOf(camera);
  for (const cv::Point& entry :
       {cv::Point(0, 0), cv::Point(2, 0), cv::Point(1, 1), cv::Point(2, 1)}) {
    K.at<float>(entry) = static_cast<float>(K.at<float>(entry) * aspect);
  }
  return K;
}

void requireMontageSize(long long width, long long height) {
  if (width < 1 || height < 1 || width >= kSideLimit || height >= kSideLimit) {
    CV_Error_(
        cv::Error::StsOutOfRange,
        ("a footprint of %lld x %lld pixels on the montage plane cannot be warped", width, height));
  }
}

void requireMontageSize(const std::vector<cv::Point>& corners, const std::vector<cv::Size>& sizes) {
  CV_Assert(!corners.empty() && corners.size() == sizes.size());
  long long left = corners[0].x;
  long long top = corners[0].y;
  long long right = left;
  long long bottom = top;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    left = std::min<long long>(left, corners[i].x);
    top = std::min<long long>(top, corners[i].y);
    right = std::max(right, static_cast<long long>(corners[i].x) + sizes[i].width);
    bottom = std::max(bottom, static_cast<long long>(corners[i].y) + sizes[i].height);
  }
  requireMontageSize(right - left, bottom - top);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
