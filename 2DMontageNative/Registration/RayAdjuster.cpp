// SPDX-License-Identifier: MIT
#include "Registration/RayAdjuster.h"

#include "Platform/ParallelLoop.h"
#include "Registration/Inliers.h"
#include "Registration/RayGeometry.h"

#include <opencv2/calib3d.hpp>

#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// Focal length and rotation vector.
constexpr int kParametersPerCamera = 4;
constexpr int kErrorsPerMatch = 3;
constexpr double kDerivativeStep = 1e-3;

double focalOf(const cv::Mat& parameters, int camera) {
  return parameters.at<double>(camera * kParametersPerCamera, 0);
}

/// Maps pixels of an image of this size to rays in the common frame.
cv::Matx33d raysOf(const cv::Mat& parameters, int camera, const cv::Size& imageSize) {
  cv::Mat rotationVector(3, 1, CV_64F);
  for (int axis = 0; axis < 3; ++axis) {
    rotationVector.at<double>(axis, 0) =
        parameters.at<double>(camera * kParametersPerCamera + 1 + axis, 0);
  }
  cv::Mat R(3, 3, CV_64F);
  cv::Rodrigues(rotationVector, R);
  cv::Mat K = cv::Mat::eye(3, 3, CV_64F);
  K.at<double>(0, 0) = focalOf(parameters, camera);
  K.at<double>(0, 2) = imageSize.width * 0.5;
  K.at<double>(1, 1) = focalOf(parameters, camera);
  K.at<double>(1, 2) = imageSize.height * 0.5;
  return rayFromPixel(R, K);
}

int inlierCount(const cv::detail::MatchesInfo& pair) {
  int count = 0;
  for (std::size_t k = 0; k < pair.matches.size(); ++k) {
    count += isInlier(pair, k) ? 1 : 0;
  }
  return count;
}

}  // namespace

std::vector<int> RayAdjuster::firstMatchOfEdges() const {
  std::vector<int> first{0};
  for (const auto& [i, j] : edges_) {
    first.push_back(first.back() + inlierCount(pairwise_matches_[i * num_images_ + j]));
  }
  // OpenCV sizes its matrices by the pairs' own inlier counts.
  CV_Assert(first.back() == total_num_matches_);
  return first;
}

void RayAdjuster::evaluateEdge(std::size_t edge, const cv::Mat& parameters, double* errors) const {
  const auto [i, j] = edges_[edge];
  const cv::detail::ImageFeatures& source = features_[i];
  const cv::detail::ImageFeatures& destination = features_[j];
  const cv::detail::MatchesInfo& pair = pairwise_matches_[i * num_images_ + j];
  const cv::Matx33d sourceRays = raysOf(parameters, i, source.img_size);
  const cv::Matx33d destinationRays = raysOf(parameters, j, destination.img_size);
  const double pixelsPerRay = std::sqrt(focalOf(parameters, i) * focalOf(parameters, j));

  for (std::size_t k = 0; k < pair.matches.size(); ++k) {
    if (!isInlier(pair, k)) {
      continue;
    }
    const auto query = static_cast<std::size_t>(pair.matches[k].queryIdx);
    const auto train = static_cast<std::size_t>(pair.matches[k].trainIdx);
    const cv::Vec3d a = unitRay(sourceRays, source.keypoints[query].pt);
    const cv::Vec3d b = unitRay(destinationRays, destination.keypoints[train].pt);
    for (int axis = 0; axis < kErrorsPerMatch; ++axis) {
      *errors++ = pixelsPerRay * (a[axis] - b[axis]);
    }
  }
}

void RayAdjuster::calcError(cv::Mat& err) {
  err.create(total_num_matches_ * kErrorsPerMatch, 1, CV_64F);
  const std::vector<int> firstMatch = firstMatchOfEdges();
  Platform::parallelFor(0, static_cast<int>(edges_.size()), [&](int edge) {
    const auto index = static_cast<std::size_t>(edge);
    evaluateEdge(index, cam_params_, err.ptr<double>(firstMatch[index] * kErrorsPerMatch));
  });
}

void RayAdjuster::calcJacobian(cv::Mat& jac) {
  jac.create(total_num_matches_ * kErrorsPerMatch, num_images_ * kParametersPerCamera, CV_64F);
  jac.setTo(0.0);
  const std::vector<int> firstMatch = firstMatchOfEdges();
  Platform::parallelFor(0, static_cast<int>(edges_.size()), [&](int edge) {
    const auto index = static_cast<std::size_t>(edge);
    differentiateEdge(index, firstMatch[index], jac);
  });
}

void RayAdjuster::differentiateEdge(std::size_t edge, int firstMatch, cv::Mat& jac) const {
  const auto [i, j] = edges_[edge];
  const cv::detail::MatchesInfo& pair = pairwise_matches_[i * num_images_ + j];
  const auto errorCount = static_cast<std::size_t>(inlierCount(pair)) * kErrorsPerMatch;
  std::vector<double> below(errorCount);
  std::vector<double> above(errorCount);
  cv::Mat parameters = cam_params_.clone();
  for (const int camera : {i, j}) {
    for (int k = 0; k < kParametersPerCamera; ++k) {
      if (isHeld(camera, k)) {
        continue;  // no error seems to depend on it, so the solver leaves it alone
      }
      const int column = camera * kParametersPerCamera + k;
      auto& parameter = parameters.at<double>(column, 0);
      const double value = parameter;
      parameter = value - kDerivativeStep;
      evaluateEdge(edge, parameters, below.data());
      parameter = value + kDerivativeStep;
      evaluateEdge(edge, parameters, above.data());
      parameter = value;
      for (std::size_t e = 0; e < errorCount; ++e) {
        jac.at<double>(firstMatch * kErrorsPerMatch + static_cast<int>(e), column) =
            (above[e] - below[e]) / (2 * kDerivativeStep);
      }
    }
  }
}

bool RayAdjuster::isHeld(int camera, int parameter) const {
  return parameter == 0 && !heldFocals_.empty() && heldFocals_[static_cast<std::size_t>(camera)];
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
