// SPDX-License-Identifier: MIT
/// @file
/// OpenCV's montages as far as they can be set up like ours.
#ifndef ORV_BENCHMARKS_RIVAL_STITCHER_H
#define ORV_BENCHMARKS_RIVAL_STITCHER_H

#include <opencv2/features2d.hpp>
#include <opencv2/stitching.hpp>

namespace ORV::Benchmarks {

constexpr double kWorkMegapixels = 0.6;
constexpr double kSeamMegapixels = 0.1;
constexpr double kFullResolution = -1.0;

inline cv::Ptr<cv::Stitcher> makeStitcher() {
  cv::Ptr<cv::Stitcher> stitcher = cv::Stitcher::create(cv::Stitcher::PANORAMA);
  stitcher->setRegistrationResol(kWorkMegapixels);
  stitcher->setSeamEstimationResol(kSeamMegapixels);
  stitcher->setCompositingResol(kFullResolution);
  stitcher->setPanoConfidenceThresh(0.7);
  stitcher->setFeaturesFinder(cv::SIFT::create());
  stitcher->setBundleAdjuster(cv::makePtr<cv::detail::BundleAdjusterRay>());
  stitcher->setWarper(cv::makePtr<cv::PlaneWarper>());
  stitcher->setExposureCompensator(cv::makePtr<cv::detail::BlocksGainCompensator>());
  stitcher->setSeamFinder(cv::makePtr<cv::detail::GraphCutSeamFinder>(
      static_cast<int>(cv::detail::GraphCutSeamFinderBase::COST_COLOR)));
  stitcher->setBlender(cv::makePtr<cv::detail::MultiBandBlender>());
  return stitcher;
}

}  // namespace ORV::Benchmarks

#endif  // ORV_BENCHMARKS_RIVAL_STITCHER_H
