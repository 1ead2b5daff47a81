// SPDX-License-Identifier: MIT
#include "Registration/SurfFeaturesFinder.h"

#include "Registration/IntegralImage.h"
#include "Registration/SurfDescriptor.h"
#include "Registration/SurfOrientation.h"

#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// The image itself if it has one channel, else its luminance.
cv::Mat luminance(const cv::Mat& image) {
  CV_Assert(image.type() == CV_8UC1 || image.type() == CV_8UC3);
  if (image.type() == CV_8UC1) {
    return image;
  }
  cv::Mat grey;
  cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
  return grey;
}

}  // namespace

SurfFeaturesFinder::SurfFeaturesFinder(
    double hessThresh, int octaves, int layers, int octavesDescr, int layersDescr)
    : hessThresh_(hessThresh),
      detection_{octaves, layers},
      description_{octavesDescr, layersDescr} {}

bool SurfFeaturesFinder::describesAsItDetects() const {
  return detection_.octaves == description_.octaves && detection_.layers == description_.layers;
}

void SurfFeaturesFinder::find(const cv::Mat& image,
                              std::vector<cv::KeyPoint>& keypoints,
                              cv::Mat& descriptors) const {
  const cv::Mat grey = luminance(image);
  if (grey.empty() && !describesAsItDetects()) {
    keypoints.clear();
    descriptors = cv::Mat();
    return;
  }
  CV_Assert(!grey.empty());
  CV_Assert(hessThresh_ >= 0 && detection_.octaves > 0 && detection_.layers > 0);

  const IntegralImage integral(grey);
  auto found = detectSurfKeypoints(integral, detection_, static_cast<float>(hessThresh_));
  assignSurfOrientations(integral, found);
  CV_Assert(found.empty() || (description_.octaves > 0 && description_.layers > 0));
  descriptors = describeSurfKeypoints(grey, found);
  keypoints = std::move(found);
}

void SurfFeaturesFinder::operator()(const cv::Mat& image,
                                    cv::detail::ImageFeatures& features) const {
  cv::Mat descriptors;
  find(image, features.keypoints, descriptors);
  features.img_size = image.size();
  features.descriptors.release();  // a record that shares the old ones keeps them
  descriptors.copyTo(features.descriptors);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
