// SPDX-License-Identifier: MIT
/// @file
/// Per-pair lists of camera values, the raw material of the quality figures.
#ifndef ORV_MONTAGE_REGISTRATION_CAMERAS_CAMERA_LISTS_H
#define ORV_MONTAGE_REGISTRATION_CAMERAS_CAMERA_LISTS_H

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/camera.hpp>
#include <opencv2/stitching/detail/matchers.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// True if the pair is confident enough and has a source image. Its destination is not looked at.
bool isConfidentPair(const cv::detail::MatchesInfo& pair, float confThresh);

/// The values as one `CV_64F` column with memory of its own; zero rows for an empty list.
cv::Mat columnOf(const std::vector<double>& values);

/// Focal length of the source camera of every confident pair, one row each; see
/// `SlabMontage::calcFocals`.
cv::Mat listFocals(const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                   float confThresh,
                   const std::vector<cv::detail::CameraParams>& cameras);

/// Euler angles of the source camera of every confident pair, three rows each; see
/// `SlabMontage::calcRotations`.
cv::Mat listRotations(const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                      float confThresh,
                      const std::vector<cv::detail::CameraParams>& cameras);

/// Ray differences of every inlier match of the confident pairs, seven rows each; see
/// `SlabMontage::calcProjError`.
cv::Mat listProjectionErrors(const std::vector<cv::detail::ImageFeatures>& features,
                             const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                             float confThresh,
                             const std::vector<cv::detail::CameraParams>& cameras);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CAMERAS_CAMERA_LISTS_H
