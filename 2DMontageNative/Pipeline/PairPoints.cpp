// SPDX-License-Identifier: MIT
#include "Pipeline/PairPoints.h"

#include "Pipeline/Adjustment.h"
#include "Pipeline/PairMatching.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace montage {
namespace {

using namespace ORV::Common::Algorithms::Montage::
    Registration;  // NOLINT(google-build-using-namespace)

/// Two images are alike if their corners lie this close to each other, registration pixels.
constexpr double kAlikePx = 2.0;
constexpr double kAlikeInlierShare = 0.5;

// Points placed by their surroundings are used alone if there are at least so many.
constexpr std::size_t kFewestPlaced = 12;
constexpr double kLeastPlacedShare = 0.3;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

}  // namespace

cv::Point2d principalPointOf(const Features& features) {
  return {(features.scaledSize.width - 1) / 2.0, (features.scaledSize.height - 1) / 2.0};
}

std::vector<PointPair> inlierPoints(const std::vector<Features>& features,
                                    const PairMatches& pair) {
  const Features& first = features[at(pair.first)];
  const Features& second = features[at(pair.second)];
  std::vector<PointPair> all;
  std::vector<PointPair> placed;
  for (std::size_t k = 0; k < pair.matches.size() && k < pair.inliers.size(); ++k) {
    if (pair.inliers[k] == 0) {
      continue;
    }
    const cv::Point2d a = first.keypoints[at(pair.matches[k].queryIdx)].pt;
    const cv::Point2d b = second.keypoints[at(pair.matches[k].trainIdx)].pt;
    all.push_back({a - principalPointOf(first), b - principalPointOf(second)});
    if (k < pair.shifts.size() && !std::isnan(pair.shifts[k].x)) {
      placed.push_back({all.back().first, all.back().second + cv::Point2d(pair.shifts[k])});
    }
  }
  const bool enough =
      placed.size() >= kFewestPlaced &&
      static_cast<double>(placed.size()) >=
          kLeastPlacedShare * std::min<double>(static_cast<double>(all.size()), kMostPlacedPoints);
  return enough ? placed : all;
}

bool areAlike(const std::vector<Features>& features, const PairMatches& pair) {
  const cv::Size size = features[at(pair.first)].scaledSize;
  if (!pair.hasHomography || size != features[at(pair.second)].scaledSize ||
      pair.inlierCount < kAlikeInlierShare * static_cast<double>(pair.matches.size())) {
    return false;
  }
  const std::vector<cv::Point2d> corners = {{-size.width / 2.0, -size.height / 2.0},
                                            {size.width / 2.0, -size.height / 2.0},
                                            {-size.width / 2.0, size.height / 2.0},
                                            {size.width / 2.0, size.height / 2.0}};
  return std::all_of(corners.begin(), corners.end(), [&](const cv::Point2d& corner) {
    const cv::Vec3d mapped = pair.secondFromFirst * cv::Vec3d(corner.x, corner.y, 1.0);
    return cv::norm(cv::Point2d(mapped[0] / mapped[2], mapped[1] / mapped[2]) - corner) < kAlikePx;
  });
}

std::vector<double> errorsOf(const CameraPair& pair, const std::vector<TurningCamera>& cameras) {
  const TurningCamera& first = cameras[at(pair.first)];
  const TurningCamera& second = cameras[at(pair.second)];
  const double pixelsPerRay = std::sqrt(first.focal * second.focal);
  const auto rayOf = [](const TurningCamera& camera, const cv::Point2d& pixel) {
    return cv::normalize(camera.worldFromCamera * cv::Vec3d(pixel.x, pixel.y, camera.focal));
  };
  std::vector<double> errors;
  errors.reserve(pair.points.size());
  for (const PointPair& points : pair.points) {
    errors.push_back(pixelsPerRay *
                     cv::norm(rayOf(first, points.first) - rayOf(second, points.second)));
  }
  return errors;
}

PairErrors robustErrors(const std::vector<Features>& features,
                        const PairMatches& pair,
                        const Camera& first,
                        const Camera& second) {
  const std::vector<TurningCamera> cameras{{first.focal, first.worldFromCamera},
                                           {second.focal, second.worldFromCamera}};
  PairErrors errors;
  for (const double error : errorsOf({0, 1, inlierPoints(features, pair)}, cameras)) {
    errors.squares += error * error;
    ++errors.count;
  }
  return errors;
}

}  // namespace montage
