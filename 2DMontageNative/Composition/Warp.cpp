// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "Composition/PlaneWarper.h"
#include "Platform/OpenCvScope.h"

#include <opencv2/core/cuda.hpp>
#include <opencv2/opencv_modules.hpp>

#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

/// The one place where CPU or GPU is chosen. The GPU warper exists only where OpenCV was built with
/// CUDA warping; a failed device query (negative count) selects the CPU.
cv::Ptr<cv::WarperCreator> makeWarperCreator() {
#ifdef HAVE_OPENCV_CUDAWARPING
  if (cv::cuda::getCudaEnabledDeviceCount() >= 1) {
    return cv::makePtr<cv::PlaneWarperGpu>();
  }
#endif
  return cv::makePtr<ParallelPlaneWarperCreator>();
}

float medianFocal(const std::vector<cv::detail::CameraParams>& cameras) {
  std::vector<double> focals;
  focals.reserve(cameras.size());
  for (const auto& camera : cameras) {
    focals.push_back(camera.focal);
  }
  std::sort(focals.begin(), focals.end());
  const std::size_t middle = focals.size() / 2;
  if (focals.size() % 2 == 1) {
    return static_cast<float>(focals[middle]);
  }
  return static_cast<float>(focals[middle - 1] + focals[middle]) * 0.5F;
}

}  // namespace

Warp::Warp(std::vector<cv::detail::CameraParams>& cameras, double aspect)
    : warpedImageScale(medianFocal(cameras)), warperCreator(makeWarperCreator()) {
  scale(aspect);
}
Warp::Warp(Warp& other) = default;
Warp& Warp::operator=(const Warp& other) = default;
Warp::~Warp() = default;

void Warp::scale(double factor) {
  warper = warperCreator->create(static_cast<float>(warpedImageScale * factor));
}

cv::Rect Warp::roi(cv::Size& srcSize, cv::Mat& K, cv::Mat& R) {
  return warper->warpRoi(srcSize, K, R);
}

cv::Point Warp::transform(
    cv::Mat& src, cv::Mat& K, cv::Mat& R, int interpMode, int borderMode, cv::Mat& dst) {
  const Platform::CpuOnly cpuOnly;
  return warper->warp(src, K, R, interpMode, borderMode, dst);
}

cv::Point Warp::transform(
    cv::Mat& src, cv::Mat_<float>& K, cv::Mat& R, int interpMode, int borderMode, cv::Mat& dst) {
  return transform(src, static_cast<cv::Mat&>(K), R, interpMode, borderMode, dst);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
