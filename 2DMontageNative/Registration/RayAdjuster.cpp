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

/// Maps pixels of an image of this size to rays in the common frame.
cv::Matx33d raysWith(const cv::Vec4d& parameters, const cv::Size& imageSize) {
  const cv::Vec3d rotationVector(parameters[1], parameters[2], parameters[3]);
  cv::Mat R(3, 3, CV_64F);
  cv::Rodrigues(rotationVector, R);
  const cv::Matx33d K(parameters[0],
                      0.0,
                      imageSize.width * 0.5,
                      0.0,
                      parameters[0],
                      imageSize.height * 0.5,
                      0.0,
                      0.0,
                      1.0);
  return rayFromPixel(R, cv::Mat(K));
}

/// The factor from differences of two cameras' rays to pixels.
double pixelsPerRay(double firstFocal, double secondFocal) {
  return std::sqrt(firstFocal * secondFocal);
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
        Edge edge = edgeOf(i, j);
        const int matches = static_cast<int>(edge.firstPixels.count);
        CV_Assert(matches == pair.num_inliers);
        edge.firstRow = total_num_matches_ * kErrorsPerMatch;
        edge.derivatives =
            cv::Mat::zeros(matches * kErrorsPerMatch, 2 * kParametersPerCamera, CV_64F);
        pairs_.push_back(std::move(edge));
        total_num_matches_ += matches;
      }
    }
  }
}

RayAdjuster::Edge RayAdjuster::edgeOf(int first, int second) const {
  const cv::detail::MatchesInfo& pair = pairwise_matches_[first * num_images_ + second];
  std::vector<cv::Point2f> firstPoints;
  std::vector<cv::Point2f> secondPoints;
  for (std::size_t k = 0; k < pair.matches.size(); ++k) {
    if (isInlier(pair, k)) {
      const cv::DMatch& match = pair.matches[k];
      firstPoints.push_back(
          features_[first].keypoints[static_cast<std::size_t>(match.queryIdx)].pt);
      secondPoints.push_back(
          features_[second].keypoints[static_cast<std::size_t>(match.trainIdx)].pt);
    }
  }
  return {first, second, 0, PixelColumns(firstPoints), PixelColumns(secondPoints), cv::Mat()};
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
    evaluateEdge(edge, err.ptr<double>(edge.firstRow));
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

cv::Vec4d RayAdjuster::parametersOf(int camera) const {
  return cv::Vec4d(cam_params_.ptr<double>(camera * kParametersPerCamera));
}

cv::Matx33d RayAdjuster::raysOf(int camera) const {
  return raysWith(parametersOf(camera), features_[camera].img_size);
}

RayAdjuster::RaySteps RayAdjuster::stepsOf(int camera) const {
  const cv::Vec4d parameters = parametersOf(camera);
  const auto moved = [&](int k, double step) {
    cv::Vec4d changed = parameters;
    changed[k] += step;
    return raysWith(changed, features_[camera].img_size);
  };
  RaySteps steps;
  for (int k = 0; k < kParametersPerCamera; ++k) {
    const auto index = static_cast<std::size_t>(k);
    steps.below[index] = moved(k, -kDerivativeStep);
    steps.above[index] = moved(k, kDerivativeStep);
  }
  return steps;
}

void RayAdjuster::differentiate() {
  std::vector<RaySteps> steps(static_cast<std::size_t>(num_images_));
  Platform::parallelFor(0, num_images_, [&](int camera) {
    steps[static_cast<std::size_t>(camera)] = stepsOf(camera);
  });
  Platform::parallelFor(0, static_cast<int>(pairs_.size()), [&](int index) {
    differentiateEdge(pairs_[static_cast<std::size_t>(index)], steps);
  });
}

void RayAdjuster::evaluateEdge(const Edge& edge, double* errors) const {
  const RayColumns a = unitRays(raysOf(edge.first), edge.firstPixels);
  const RayColumns b = unitRays(raysOf(edge.second), edge.secondPixels);
  const double scale = pixelsPerRay(parametersOf(edge.first)[0], parametersOf(edge.second)[0]);
  for (std::size_t k = 0; k < edge.firstPixels.count; ++k) {
    *errors++ = scale * (a.x[k] - b.x[k]);
    *errors++ = scale * (a.y[k] - b.y[k]);
    *errors++ = scale * (a.z[k] - b.z[k]);
  }
}

void RayAdjuster::differentiateEdge(Edge& edge, const std::vector<RaySteps>& steps) const {
  // A parameter of one camera leaves the rays of the other as they are.
  const RayColumns a = unitRays(raysOf(edge.first), edge.firstPixels);
  const RayColumns b = unitRays(raysOf(edge.second), edge.secondPixels);
  for (int column = 0; column < 2 * kParametersPerCamera; ++column) {
    const bool ofFirst = column < kParametersPerCamera;
    const int camera = ofFirst ? edge.first : edge.second;
    const int k = column % kParametersPerCamera;
    if (isHeld(camera, k)) {
      continue;  // no error seems to depend on it, so the solver leaves it alone
    }
    const double otherFocal = parametersOf(ofFirst ? edge.second : edge.first)[0];
    const auto mapAt = [&](const cv::Matx33d& rays, double step) {
      const double focal = parametersOf(camera)[0] + (k == 0 ? step : 0.0);
      return RayMap{rays, pixelsPerRay(focal, otherFocal)};
    };
    const RaySteps& stepsOfCamera = steps[static_cast<std::size_t>(camera)];
    differentiateRays(mapAt(stepsOfCamera.below[static_cast<std::size_t>(k)], -kDerivativeStep),
                      mapAt(stepsOfCamera.above[static_cast<std::size_t>(k)], kDerivativeStep),
                      ofFirst ? edge.firstPixels : edge.secondPixels,
                      ofFirst ? b : a,
                      ofFirst,
                      2 * kDerivativeStep,
                      edge.derivatives.ptr<double>() + column,
                      std::size_t{2} * kParametersPerCamera);
  }
}

bool RayAdjuster::isHeld(int camera, int parameter) const {
  return parameter == 0 && !heldFocals_.empty() && heldFocals_[static_cast<std::size_t>(camera)];
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
