// SPDX-License-Identifier: MIT
#include "Pipeline/Records.h"

#include <utility>

namespace montage {

cv::detail::ImageFeatures keypointRecord(const Features& features, int index) {
  cv::detail::ImageFeatures record;
  record.img_idx = index;
  record.img_size = features.scaledSize;
  record.keypoints = features.keypoints;
  return record;
}

cv::detail::ImageFeatures featureRecord(const Features& features, int index) {
  cv::detail::ImageFeatures record = keypointRecord(features, index);
  features.descriptors.convertTo(record.descriptors, CV_32F);
  return record;
}

cv::detail::MatchesInfo confidenceRecord(const PairMatches& pair) {
  cv::detail::MatchesInfo record;
  record.src_img_idx = pair.first;
  record.dst_img_idx = pair.second;
  record.confidence = pair.confidence;
  return record;
}

cv::detail::MatchesInfo matchRecord(const PairMatches& pair) {
  cv::detail::MatchesInfo record = confidenceRecord(pair);
  record.matches = pair.matches;
  record.inliers_mask = pair.inliers;
  record.num_inliers = pair.inlierCount;
  if (pair.hasHomography) {
    record.H = cv::Mat(pair.secondFromFirst);
  }
  return record;
}

cv::detail::MatchesInfo reverseOf(const cv::detail::MatchesInfo& pair) {
  cv::detail::MatchesInfo reverse = pair;
  std::swap(reverse.src_img_idx, reverse.dst_img_idx);
  if (!pair.H.empty()) {
    reverse.H = pair.H.inv();
  }
  for (cv::DMatch& match : reverse.matches) {
    std::swap(match.queryIdx, match.trainIdx);
  }
  return reverse;
}

PairMatches pairOf(const cv::detail::MatchesInfo& record) {
  PairMatches pair;
  pair.first = record.src_img_idx;
  pair.second = record.dst_img_idx;
  pair.matches = record.matches;
  pair.inliers = record.inliers_mask;
  pair.inlierCount = record.num_inliers;
  pair.hasHomography = !record.H.empty();
  if (pair.hasHomography) {
    pair.secondFromFirst = cv::Matx33d(record.H);
  }
  pair.confidence = record.confidence;
  return pair;
}

cv::detail::CameraParams cameraRecord(const Camera& camera) {
  cv::detail::CameraParams record;
  record.focal = camera.focal;
  record.aspect = camera.aspect;
  record.ppx = camera.ppx;
  record.ppy = camera.ppy;
  cv::Mat(camera.worldFromCamera).convertTo(record.R, CV_32F);
  record.t = cv::Mat::zeros(3, 1, CV_64F);
  return record;
}

Camera cameraOf(const cv::detail::CameraParams& record) {
  cv::Mat rotation;
  record.R.convertTo(rotation, CV_64F);
  return {record.focal, record.aspect, record.ppx, record.ppy, cv::Matx33d(rotation)};
}

}  // namespace montage
