// SPDX-License-Identifier: MIT
#include "Registration/Cameras/RayBundle.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <array>
#include <ceres/ceres.h>
#include <ceres/rotation.h>
#include <cmath>
#include <exception>
#include <numeric>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// Focal length whose inverse is the unit of the parameter, so that parameters are of the order 1.
constexpr double kUnitFocal = 1000.0;
constexpr double kLossScalePx = 0.7;

/// A focal length may differ from the common one by this share at the cost of one pixel.
constexpr double kFocalSpread = 0.001;

/// kUnitFocal / focal length.
using Inverse = double;

/// Turns about x and y times the focal length, in units of kUnitFocal pixels; turn about z,
/// radians.
using Turn = std::array<double, 3>;

/// The ray of a pixel in the common frame, of unit length.
template <class T>
std::array<T, 3> unitRay(const T& inverse, const T* turn, const cv::Point2d& pixel) {
  const T axis[3] = {turn[0] * inverse, turn[1] * inverse, turn[2]};
  const T ray[3] = {inverse * (pixel.x / kUnitFocal), inverse * (pixel.y / kUnitFocal), T(1.0)};
  std::array<T, 3> turned;
  ceres::AngleAxisRotatePoint(axis, ray, turned.data());
  const T length = sqrt(turned[0] * turned[0] + turned[1] * turned[1] + turned[2] * turned[2]);
  for (T& component : turned) {
    component /= length;
  }
  return turned;
}

/// The difference of two rays in pixels.
struct RayDifference {
  PointPair points;

  template <class T>
  bool operator()(
      const T* inverse1, const T* turn1, const T* inverse2, const T* turn2, T* error) const {
    using std::isfinite;  // numbers with derivatives bring their own
    const std::array<T, 3> a = unitRay(*inverse1, turn1, points.first);
    const std::array<T, 3> b = unitRay(*inverse2, turn2, points.second);
    const T pixelsPerRay = kUnitFocal / sqrt(*inverse1 * *inverse2);
    bool isFinite = true;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      error[axis] = pixelsPerRay * (a[axis] - b[axis]);
      isFinite = isFinite && isfinite(error[axis]);
    }
    return isFinite;  // else the solver would print a warning
  }

  template <class T>
  bool operator()(const T* inverse, const T* turn1, const T* turn2, T* error) const {
    return (*this)(inverse, turn1, inverse, turn2, error);
  }
};

/// How far a focal length is from the common one.
struct FocalDifference {
  template <class T>
  bool operator()(const T* inverse, const T* common, T* error) const {
    using std::isfinite;
    *error = (*inverse / *common - 1.0) / kFocalSpread;
    return isfinite(*error);
  }
};

/// Lets the caller look after every iteration; its exception waits until the solver has ended.
class Poll : public ceres::IterationCallback {
 public:
  explicit Poll(const std::function<void()>& poll) : poll_(poll) {}

  ceres::CallbackReturnType operator()(const ceres::IterationSummary& /*summary*/) override {
    try {
      if (poll_) {
        poll_();
      }
      return ceres::SOLVER_CONTINUE;
    } catch (...) {
      exception_ = std::current_exception();
      return ceres::SOLVER_ABORT;
    }
  }

  void rethrow() const {
    if (exception_) {
      std::rethrow_exception(exception_);
    }
  }

 private:
  const std::function<void()>& poll_;
  std::exception_ptr exception_;
};

/// The parameters of all cameras, and the problem that refers to them.
class RayProblem {
 public:
  RayProblem(const std::vector<TurningCamera>& cameras,
             const std::vector<CameraPair>& pairs,
             const RayBundleSettings& settings)
      : settings_(settings) {
    takeStart(cameras);
    addDifferences(pairs);
    addFocals();
    if (problem_.HasParameterBlock(turns_[index(settings.reference)].data())) {
      problem_.SetParameterBlockConstant(turns_[index(settings.reference)].data());
    }
  }

  RayBundleResult solve() {
    Poll poll(settings_.poll);
    ceres::Solver::Options options;
    options.linear_solver_type = ceres::SPARSE_NORMAL_CHOLESKY;
    options.sparse_linear_algebra_library_type = ceres::EIGEN_SPARSE;  // bytes without a BLAS
    options.max_num_iterations = 100;
    options.function_tolerance = 1e-8;
    options.num_threads = 1;
    options.logging_type = ceres::SILENT;
    options.callbacks.push_back(&poll);
    ceres::Solver::Summary summary;
    ceres::Solve(options, &problem_, &summary);
    poll.rethrow();
    return {summary.IsSolutionUsable() && isFinite(), summary.final_cost};
  }

  [[nodiscard]] std::vector<TurningCamera> cameras() const {
    std::vector<TurningCamera> result(turns_.size());
    for (std::size_t i = 0; i < turns_.size(); ++i) {
      const Inverse inverse = inverses_[inverseIndex(i)];
      const cv::Vec3d axis(turns_[i][0] * inverse, turns_[i][1] * inverse, turns_[i][2]);
      cv::Matx33d turn;
      cv::Rodrigues(axis, turn);
      result[i] = {kUnitFocal / inverse, worldFromFrame_ * turn};
    }
    return result;
  }

 private:
  static std::size_t index(int camera) { return static_cast<std::size_t>(camera); }
  [[nodiscard]] std::size_t inverseIndex(std::size_t camera) const {
    return settings_.sharedFocal ? 0 : camera;
  }

  /// Rotations are counted from the reference camera.
  void takeStart(const std::vector<TurningCamera>& cameras) {
    worldFromFrame_ = cameras[index(settings_.reference)].worldFromCamera;
    for (const TurningCamera& camera : cameras) {
      inverses_.push_back(kUnitFocal / camera.focal);
    }
    std::vector<double> sorted = inverses_;
    std::nth_element(
        sorted.begin(), sorted.begin() + static_cast<long>(sorted.size() / 2), sorted.end());
    common_ = sorted[sorted.size() / 2];
    if (settings_.sharedFocal) {
      inverses_.assign(1, common_);
    }
    for (std::size_t i = 0; i < cameras.size(); ++i) {
      cv::Vec3d axis;
      cv::Rodrigues(worldFromFrame_.t() * cameras[i].worldFromCamera, axis);
      const Inverse inverse = inverses_[inverseIndex(i)];
      turns_.push_back({axis[0] / inverse, axis[1] / inverse, axis[2]});
    }
  }

  void addDifferences(const std::vector<CameraPair>& pairs) {
    auto* const loss = new ceres::CauchyLoss(kLossScalePx);  // NOLINT: the problem owns it
    for (const CameraPair& pair : pairs) {
      double* const turn1 = turns_[index(pair.first)].data();
      double* const turn2 = turns_[index(pair.second)].data();
      double* const inverse1 = &inverses_[inverseIndex(index(pair.first))];
      double* const inverse2 = &inverses_[inverseIndex(index(pair.second))];
      for (const PointPair& points : pair.points) {
        if (settings_.sharedFocal) {
          using Cost = ceres::AutoDiffCostFunction<RayDifference, 3, 1, 3, 3>;
          problem_.AddResidualBlock(
              new Cost(new RayDifference{points}), loss, inverse1, turn1, turn2);  // NOLINT
        } else {
          using Cost = ceres::AutoDiffCostFunction<RayDifference, 3, 1, 3, 1, 3>;
          problem_.AddResidualBlock(new Cost(new RayDifference{points}),
                                    loss,
                                    inverse1,
                                    turn1,
                                    inverse2,
                                    turn2);  // NOLINT
        }
      }
    }
  }

  void addFocals() {
    using Cost = ceres::AutoDiffCostFunction<FocalDifference, 1, 1, 1>;
    for (Inverse& inverse : inverses_) {
      if (!problem_.HasParameterBlock(&inverse)) {
        continue;
      }
      if (settings_.fixedFocals) {
        problem_.SetParameterBlockConstant(&inverse);
        continue;
      }
      problem_.SetParameterLowerBound(&inverse, 0, kUnitFocal / kLongestFocal);
      problem_.SetParameterUpperBound(&inverse, 0, kUnitFocal / settings_.shortestFocal);
      if (!settings_.sharedFocal) {
        problem_.AddResidualBlock(new Cost(new FocalDifference),  // NOLINT
                                  new ceres::CauchyLoss(kLossScalePx),
                                  &inverse,
                                  &common_);
      }
    }
  }

  [[nodiscard]] bool isFinite() const {
    const auto finite = [](double value) { return std::isfinite(value); };
    return std::all_of(inverses_.begin(), inverses_.end(), finite) &&
           std::all_of(turns_.begin(), turns_.end(), [&](const Turn& turn) {
             return std::all_of(turn.begin(), turn.end(), finite);
           });
  }

  const RayBundleSettings& settings_;
  cv::Matx33d worldFromFrame_;
  std::vector<Inverse> inverses_;
  Inverse common_ = 1.0;
  std::vector<Turn> turns_;
  ceres::Problem problem_;
};

}  // namespace

RayBundleResult adjustRays(std::vector<TurningCamera>& cameras,
                           const std::vector<CameraPair>& pairs,
                           const RayBundleSettings& settings) {
  RayProblem problem(cameras, pairs, settings);
  const RayBundleResult result = problem.solve();
  if (result.usable) {
    cameras = problem.cameras();
  }
  return result;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
