// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Platform/ParallelLoop.h"
#include "Platform/Status.h"
#include "Registration.h"
#include "Registration/GreyImage.h"
#include "Registration/SurfFeaturesFinder.h"

#include <opencv2/imgproc.hpp>

#include <utility>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// Value of a disabled descriptor: outside [-1, 1], the range of real ones.
constexpr float kDisabledDescriptor = 2.0F;

SurfFeaturesFinder makeFinder(const std::vector<float>& surfParameters) {
  const auto parameter = [&](std::size_t i) { return static_cast<int>(surfParameters[i]); };
  return SurfFeaturesFinder(parameter(0), parameter(1), parameter(2), parameter(3), parameter(4));
}

/// 255 inside the image content, 0 on zero-valued background and in a margin of about a twentieth
/// of the image's height along it. The image's own edge is no background.
cv::Mat contentMask(const cv::Mat& grey) {
  constexpr int kHeightPerElement = 20;
  constexpr int kErosions = 2;
  cv::Mat mask;
  cv::threshold(grey, mask, 0.0, 255.0, cv::THRESH_BINARY);
  const int side = grey.rows / kHeightPerElement;
  const cv::Mat element =
      cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(side, side), cv::Point(-1, -1));
  for (int i = 0; i < kErosions; ++i) {
    cv::erode(mask,
              mask,
              element,
              cv::Point(-1, -1),
              1,
              cv::BORDER_CONSTANT,
              cv::morphologyDefaultBorderValue());
  }
  return mask;
}

void disableOutside(const cv::Mat& mask,
                    const std::vector<cv::KeyPoint>& keypoints,
                    cv::Mat& descriptors) {
  for (int j = 0; j < descriptors.rows; ++j) {
    const cv::Point2f& position = keypoints[static_cast<std::size_t>(j)].pt;
    if (mask.at<uchar>(static_cast<int>(position.y), static_cast<int>(position.x)) == 0) {
      descriptors.row(j).setTo(kDisabledDescriptor);
    }
  }
}

}  // namespace

int FeatureFinding::operator()(std::vector<cv::Mat>& images,
                               std::vector<float> surfParameters,
                               float scale,
                               bool useMask,
                               std::vector<cv::detail::ImageFeatures>& features) {
  return Process(images, std::move(surfParameters), scale, useMask, features);
}

int FeatureFinding::Process(std::vector<cv::Mat>& images,
                            std::vector<float> surfParameters,  // NOLINT: by interface
                            float scale,
                            bool useMask,
                            std::vector<cv::detail::ImageFeatures>& features) {
  const SurfFeaturesFinder finder = makeFinder(surfParameters);
  std::vector<cv::Mat> descriptors(images.size());
  Platform::parallelFor(0, static_cast<int>(images.size()), [&](int index) {
    const auto i = static_cast<std::size_t>(index);
    const cv::Mat grey = greyOf(scaledImage(images[i], scale));
    finder.find(grey, features[i].keypoints, descriptors[i]);
    features[i].img_size = grey.size();
    if (useMask) {
      disableOutside(contentMask(grey), features[i].keypoints, descriptors[i]);
    }
  });

  // The records' matrices may live on a device: filled here, on the caller's thread only.
  const Platform::CpuOnly cpuOnly;
  for (std::size_t i = 0; i < images.size(); ++i) {
    features[i].descriptors.release();  // a record that shares the old ones keeps them
    descriptors[i].copyTo(features[i].descriptors);
  }
  return Platform::kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
