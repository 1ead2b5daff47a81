// SPDX-License-Identifier: MIT
#include "Registration/Cameras/CameraLists.h"
#include "SlabMontage.h"

namespace ORV::Common::Algorithms::Montage {

int SlabMontage::calcFocals(std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                            float confThresh,
                            std::vector<cv::detail::CameraParams>& cameras,
                            cv::Mat& focals) {
  focals = Registration::listFocals(pairwiseMatches, confThresh, cameras);
  return 0;
}

int SlabMontage::calcRotations(std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                               float confThresh,
                               std::vector<cv::detail::CameraParams>& cameras,
                               cv::Mat& angles) {
  angles = Registration::listRotations(pairwiseMatches, confThresh, cameras);
  return 0;
}

int SlabMontage::calcProjError(std::vector<cv::detail::ImageFeatures>& features,
                               std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                               float confThresh,
                               std::vector<cv::detail::CameraParams>& cameras,
                               cv::Mat& residuals) {
  residuals = Registration::listProjectionErrors(features, pairwiseMatches, confThresh, cameras);
  return 0;
}

}  // namespace ORV::Common::Algorithms::Montage
