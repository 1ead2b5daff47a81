// SPDX-License-Identifier: MIT
#include "Composition/PlaneFootprint.h"

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr long long kSideLimit = 32767;     // of cv::remap, exclusive
constexpr long long kFurthest = 1LL << 24;  // whole numbers are exact in float up to here

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

void requireFootprint(cv::Point corner, long long width, long long height) {
  if (width < 1 || height < 1 || width >= kSideLimit || height >= kSideLimit) {
    CV_Error_(
        cv::Error::StsOutOfRange,
        ("a footprint of %lld x %lld pixels on the montage plane cannot be warped", width, height));
  }
  const auto isOutside = [](long long first, long long length) {
    return first < -kFurthest || first + length > kFurthest;
  };
  if (isOutside(corner.x, width) || isOutside(corner.y, height)) {
    CV_Error_(
        cv::Error::StsOutOfRange,
        ("a footprint at (%d, %d) on the montage plane cannot be warped", corner.x, corner.y));
  }
}

void requireFootprints(const std::vector<cv::Point>& corners, const std::vector<cv::Size>& sizes) {
  CV_Assert(!corners.empty() && corners.size() == sizes.size());
  for (std::size_t i = 0; i < corners.size(); ++i) {
    requireFootprint(corners[i], sizes[i].width, sizes[i].height);
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
