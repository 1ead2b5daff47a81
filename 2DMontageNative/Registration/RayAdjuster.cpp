// SPDX-License-Identifier: MIT
#include "Registration/RayAdjuster.h"

#include "Platform/ParallelLoop.h"
#include "Registration/Inliers.h"
#include "Registration/NormalEquations.h"
#include "Registration/RayGeometry.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <cmath>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// Focal length and rotation vector.
constexpr int kParametersPerCamera = NormalEquations::kBlock;
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

/// A step is repeated with more damping while it makes the errors larger, down to this.
constexpr int kMostDamping = 16;  // powers of ten
constexpr int kLeastDamping = -16;
constexpr int kFirstDamping = -3;

/// A product of fewer rows OpenCV makes itself, in four interleaved sums; a BLAS adds one by one.
constexpr int kFewestRowsOfBlas = 100;

double dampingOf(int power) {
  return std::exp(power * std::log(10.));
}

}  // namespace

RayAdjuster::RayAdjuster(std::vector<bool> heldFocals)
    : BundleAdjusterBase(kParametersPerCamera, kErrorsPerMatch),
      heldFocals_(std::move(heldFocals)) {}

bool RayAdjuster::estimate(const std::vector<cv::detail::ImageFeatures>& features,
                           const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                           std::vector<cv::detail::CameraParams>& cameras) {
  num_images_ = static_cast<int>(features.size());
  features_ = features.data();
  pairwise_matches_ = pairwiseMatches.data();
  setUpInitialCameraParams(cameras);
  chooseEdges();
  refine();
  if (!cv::checkRange(cam_params_, true, nullptr, -HUGE_VAL, HUGE_VAL)) {
    return false;
  }
  obtainRefinedCameraParams(cameras);

  // The image in the middle of the strongest pairs looks straight at the common frame.
  cv::detail::Graph tree;
  std::vector<int> centres;
  cv::detail::findMaxSpanningTree(num_images_, pairwiseMatches, tree, centres);
  const cv::Mat frameFromCentre = cameras[static_cast<std::size_t>(centres[0])].R.inv();
  for (cv::detail::CameraParams& camera : cameras) {
    camera.R = frameFromCentre * camera.R;
  }
  return true;
}

/// The pairs that are confident enough, in ascending order.
void RayAdjuster::chooseEdges() {
  pairs_.clear();
  total_num_matches_ = 0;
  for (int i = 0; i < num_images_ - 1; ++i) {
    for (int j = i + 1; j < num_images_; ++j) {
      const cv::detail::MatchesInfo& pair = pairwise_matches_[i * num_images_ + j];
      if (pair.confidence > conf_thresh_) {
        const int matches = inlierCount(pair);
        CV_Assert(matches == pair.num_inliers);
        pairs_.push_back(
            {i,
             j,
             total_num_matches_ * kErrorsPerMatch,
             cv::Mat::zeros(matches * kErrorsPerMatch, 2 * kParametersPerCamera, CV_64F)});
        total_num_matches_ += matches;
      }
    }
  }
}

/// K. Levenberg 1944 and D. Marquardt 1963, with the rules of OpenCV's solver.
void RayAdjuster::refine() {
  if (pairs_.empty()) {
    return;
  }
  int power = kFirstDamping;
  double previousError = -1.0;
  cv::Mat errors;
  for (int iteration = 0;;) {
    differentiate();
    calcError(errors);
    const NormalEquations equations = normalEquations(errors);
    if (iteration == 0) {
      previousError = cv::norm(errors, cv::NORM_L2);
    }
    const cv::Mat previous = cam_params_.clone();
    double error = 0.0;
    for (;;) {
      cam_params_ = previous - equations.solve(dampingOf(power));
      calcError(errors);
      error = cv::norm(errors, cv::NORM_L2);
      if (!(error > previousError) || ++power > kMostDamping) {
        break;
      }
    }
    power = std::max(power - 1, kLeastDamping);
    ++iteration;
    if (iteration >= term_criteria_.maxCount ||
        cv::norm(cam_params_, previous, cv::NORM_RELATIVE | cv::NORM_L2) < term_criteria_.epsilon) {
      return;
    }
    previousError = error;
  }
}

NormalEquations RayAdjuster::normalEquations(const cv::Mat& errors) {
  NormalEquations equations(num_images_);
  for (const Edge& edge : pairs_) {
    equations.add(edge.first, edge.second, edge.derivatives, errors.ptr<double>(edge.firstRow));
  }
  if (errors.rows < kFewestRowsOfBlas) {
    cv::Mat jacobian;
    cv::Mat rightSide;
    calcJacobian(jacobian);
    cv::gemm(jacobian, errors, 1.0, cv::noArray(), 0.0, rightSide, cv::GEMM_1_T);
    equations.setRightSide(rightSide);
  }
  return equations;
}

void RayAdjuster::setUpInitialCameraParams(const std::vector<cv::detail::CameraParams>& cameras) {
  cam_params_.create(num_images_ * kParametersPerCamera, 1, CV_64F);
  for (int i = 0; i < num_images_; ++i) {
    const cv::detail::CameraParams& camera = cameras[static_cast<std::size_t>(i)];
    const cv::SVD svd(camera.R, cv::SVD::FULL_UV);
    cv::Mat R = svd.u * svd.vt;
    if (cv::determinant(R) < 0) {
      R *= -1;
    }
    cv::Mat rotationVector;
    cv::Rodrigues(R, rotationVector);
    auto* const parameters = cam_params_.ptr<double>(i * kParametersPerCamera);
    parameters[0] = camera.focal;
    for (int axis = 0; axis < 3; ++axis) {
      parameters[1 + axis] = rotationVector.at<float>(axis, 0);
    }
  }
}

void RayAdjuster::obtainRefinedCameraParams(std::vector<cv::detail::CameraParams>& cameras) const {
  for (int i = 0; i < num_images_; ++i) {
    cv::detail::CameraParams& camera = cameras[static_cast<std::size_t>(i)];
    const auto* const parameters = cam_params_.ptr<double>(i * kParametersPerCamera);
    camera.focal = parameters[0];
    const cv::Vec3d rotationVector(parameters[1], parameters[2], parameters[3]);
    cv::Rodrigues(rotationVector, camera.R);
    cv::Mat single;
    camera.R.convertTo(single, CV_32F);
    camera.R = single;
  }
}

void RayAdjuster::calcError(cv::Mat& err) {
  err.create(total_num_matches_ * kErrorsPerMatch, 1, CV_64F);
  Platform::parallelFor(0, static_cast<int>(pairs_.size()), [&](int index) {
    const Edge& edge = pairs_[static_cast<std::size_t>(index)];
    evaluateEdge(edge, cam_params_, err.ptr<double>(edge.firstRow));
  });
}

/// The derivatives as one matrix.
void RayAdjuster::calcJacobian(cv::Mat& jac) {
  jac = cv::Mat::zeros(
      total_num_matches_ * kErrorsPerMatch, num_images_ * kParametersPerCamera, CV_64F);
  for (const Edge& edge : pairs_) {
    const cv::Range rows(edge.firstRow, edge.firstRow + edge.derivatives.rows);
    for (const auto& [camera, first] :
         {std::pair{edge.first, 0}, {edge.second, kParametersPerCamera}}) {
      const int column = camera * kParametersPerCamera;
      edge.derivatives.colRange(first, first + kParametersPerCamera)
          .copyTo(jac(rows, cv::Range(column, column + kParametersPerCamera)));
    }
  }
}

void RayAdjuster::differentiate() {
  Platform::parallelFor(0, static_cast<int>(pairs_.size()), [&](int index) {
    differentiateEdge(pairs_[static_cast<std::size_t>(index)]);
  });
}

void RayAdjuster::evaluateEdge(const Edge& edge, const cv::Mat& parameters, double* errors) const {
  const cv::detail::ImageFeatures& source = features_[edge.first];
  const cv::detail::ImageFeatures& destination = features_[edge.second];
  const cv::detail::MatchesInfo& pair = pairwise_matches_[edge.first * num_images_ + edge.second];
  const cv::Matx33d sourceRays = raysOf(parameters, edge.first, source.img_size);
  const cv::Matx33d destinationRays = raysOf(parameters, edge.second, destination.img_size);
  const double pixelsPerRay =
      std::sqrt(focalOf(parameters, edge.first) * focalOf(parameters, edge.second));

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

void RayAdjuster::differentiateEdge(Edge& edge) const {
  const auto errorCount = static_cast<std::size_t>(edge.derivatives.rows);
  std::vector<double> below(errorCount);
  std::vector<double> above(errorCount);
  cv::Mat parameters = cam_params_.clone();
  for (int column = 0; column < 2 * kParametersPerCamera; ++column) {
    const int camera = column < kParametersPerCamera ? edge.first : edge.second;
    const int k = column % kParametersPerCamera;
    if (isHeld(camera, k)) {
      continue;  // no error seems to depend on it, so the solver leaves it alone
    }
    auto& parameter = parameters.at<double>(camera * kParametersPerCamera + k, 0);
    const double value = parameter;
    parameter = value - kDerivativeStep;
    evaluateEdge(edge, parameters, below.data());
    parameter = value + kDerivativeStep;
    evaluateEdge(edge, parameters, above.data());
    parameter = value;
    for (std::size_t e = 0; e < errorCount; ++e) {
      edge.derivatives.at<double>(static_cast<int>(e), column) =
          (above[e] - below[e]) / (2 * kDerivativeStep);
    }
  }
}

bool RayAdjuster::isHeld(int camera, int parameter) const {
  return parameter == 0 && !heldFocals_.empty() && heldFocals_[static_cast<std::size_t>(camera)];
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
