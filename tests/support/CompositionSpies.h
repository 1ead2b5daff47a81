// SPDX-License-Identifier: MIT
/// @file
/// Stand-ins for the OpenCV objects that the composition stages share: they answer with what a test
/// wants and note how they were called.
#ifndef ORV_TESTS_SUPPORT_COMPOSITION_SPIES_H
#define ORV_TESTS_SUPPORT_COMPOSITION_SPIES_H

#include <opencv2/imgproc.hpp>
#include <opencv2/stitching/detail/exposure_compensate.hpp>
#include <opencv2/stitching/warpers.hpp>

#include <functional>
#include <utility>
#include <vector>

namespace ORV::TestSupport {

/// Places each source where `place` says (nearest neighbour), whatever the camera; `place` gets the
/// x coordinate of the camera's principal point, so that tests tell cameras apart by it. Where it
/// puts an image is known only from warping it.
class SpyWarper : public cv::detail::RotationWarper {
 public:
  using Place = std::function<cv::Rect(cv::Size source, float principalX)>;
  struct Call {
    cv::Size source;
    int type;
    int interpolation;
    int border;
    cv::Mat K;
  };

  explicit SpyWarper(Place place) : place_(std::move(place)) {}

  cv::Rect warpRoi(cv::Size, cv::InputArray, cv::InputArray) override {
    CV_Error(cv::Error::StsNotImplemented, "the stages take what warping gives");
  }
  cv::Point warp(cv::InputArray source,
                 cv::InputArray K,
                 cv::InputArray,
                 int interpolation,
                 int border,
                 cv::OutputArray result) override {
    calls.push_back({source.size(), source.type(), interpolation, border, K.getMat().clone()});
    const cv::Rect footprint = place_(source.size(), K.getMat().at<float>(0, 2));
    cv::resize(source, result, footprint.size(), 0, 0, cv::INTER_NEAREST);
    return footprint.tl();
  }
  cv::Point2f warpPoint(const cv::Point2f& point, cv::InputArray, cv::InputArray) override {
    return point;
  }
  cv::Rect buildMaps(
      cv::Size, cv::InputArray, cv::InputArray, cv::OutputArray, cv::OutputArray) override {
    CV_Error(cv::Error::StsNotImplemented, "the stages do not ask for maps");
  }
  void warpBackward(cv::InputArray,
                    cv::InputArray,
                    cv::InputArray,
                    int,
                    int,
                    cv::Size,
                    cv::OutputArray) override {
    CV_Error(cv::Error::StsNotImplemented, "the stages do not warp backward");
  }

  std::vector<Call> calls;

 private:
  Place place_;
};

/// Applies a fixed gain and notes what it was given.
class SpyCompensator : public cv::detail::ExposureCompensator {
 public:
  void feed(const std::vector<cv::Point>& corners,
            const std::vector<cv::UMat>& images,
            const std::vector<std::pair<cv::UMat, uchar>>& masks) override {
    ++feedCount;
    fedCorners = corners;
    for (std::size_t i = 0; i < images.size(); ++i) {
      fedImages.emplace_back();
      images[i].copyTo(fedImages.back());
      fedMasks.emplace_back();
      masks[i].first.copyTo(fedMasks.back());
    }
  }
  void apply(int index, cv::Point corner, cv::InputOutputArray image, cv::InputArray) override {
    applied.emplace_back(index, corner);
    appliedTypes.push_back(image.type());
    image.getMat().convertTo(image, -1, kGain);
  }
  void getMatGains(std::vector<cv::Mat>&) override {}
  void setMatGains(std::vector<cv::Mat>&) override {}

  static constexpr double kGain = 0.5;
  int feedCount = 0;
  std::vector<cv::Point> fedCorners;
  std::vector<cv::Mat> fedImages, fedMasks;
  std::vector<std::pair<int, cv::Point>> applied;
  std::vector<int> appliedTypes;
};

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_COMPOSITION_SPIES_H
