// SPDX-License-Identifier: MIT
#include "Registration/Cameras/RayBundle.h"

#include "Platform/ParallelLoop.h"
#include "Registration/Cameras/RayDifferences.h"

#include <opencv2/calib3d.hpp>

#include <algorithm>
#include <array>
#include <ceres/ceres.h>
#include <cmath>
#include <exception>
#include <numeric>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr double kLossScalePx = 0.7;

/// A focal length may differ from the common one by this share at the cost of one pixel.
constexpr double kFocalSpread = 0.001;

/// Pairs condensed between two looks at whether to go on.
constexpr int kPollEvery = 64;

/// A pair's errors as the solver asks for them; they are ready when it does.
class PairErrors : public ceres::CostFunction {
 public:
  /// @param[in] errors  borrowed.
  PairErrors(const CondensedErrors& errors, bool sharedFocal)
      : errors_(errors), sharedFocal_(sharedFocal) {
    set_num_residuals(CondensedErrors::kErrors);
    *mutable_parameter_block_sizes() =
        sharedFocal ? std::vector<int>{1, 3, 3} : std::vector<int>{1, 3, 1, 3};
  }

  bool Evaluate(double const* const* /*parameters*/,
                double* errors,
                double** derivatives) const override {
    std::copy(errors_.errors.begin(), errors_.errors.end(), errors);
    if (derivatives != nullptr) {
      const int secondTurn = sharedFocal_ ? 2 : 3;
      copyColumns(0, 1, derivatives[0]);
      copyColumns(1, 3, derivatives[1]);
      copyColumns(5, 3, derivatives[secondTurn]);
      if (!sharedFocal_) {
        copyColumns(4, 1, derivatives[2]);
      } else if (derivatives[0] != nullptr) {
        for (int error = 0; error < CondensedErrors::kErrors; ++error) {
          derivatives[0][error] += derivative(error, 4);
        }
      }
    }
    return errors_.finite;  // else the solver would print a warning
  }

 private:
  [[nodiscard]] double derivative(int error, int parameter) const {
    return errors_
        .derivatives[static_cast<std::size_t>(error)][static_cast<std::size_t>(parameter)];
  }

  /// Nothing for a block that stays as it is.
  void copyColumns(int first, int count, double* into) const {
    if (into != nullptr) {
      for (int error = 0; error < CondensedErrors::kErrors; ++error) {
        for (int column = 0; column < count; ++column) {
          into[error * count + column] = derivative(error, first + column);
        }
      }
    }
  }

  const CondensedErrors& errors_;
  bool sharedFocal_;
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

/// Lets the caller look again and again; its exception waits until the solver has ended.
class Poll : public ceres::IterationCallback {
 public:
  explicit Poll(const std::function<void()>& poll) : poll_(poll) {}

  ceres::CallbackReturnType operator()(const ceres::IterationSummary& /*summary*/) override {
    return run([&] {
      if (poll_) {
        poll_();
      }
    })
               ? ceres::SOLVER_CONTINUE
               : ceres::SOLVER_ABORT;
  }

  /// False once something has thrown.
  template <class Work>
  bool run(const Work& work) {
    try {
      if (!exception_) {
        work();
      }
    } catch (...) {
      exception_ = std::current_exception();
    }
    return exception_ == nullptr;
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

/// The parameters of all cameras, and the problem that refers to them. The errors of all pairs are
/// condensed at once, in parallel, before the solver asks for them.
class RayProblem : private ceres::EvaluationCallback {
 public:
  RayProblem(const std::vector<TurningCamera>& cameras,
             const std::vector<CameraPair>& pairs,
             const RayBundleSettings& settings)
      : settings_(settings),
        pairs_(pairs),
        errors_(pairs.size()),
        poll_(settings.poll),
        problem_(optionsOf(*this)) {
    takeStart(cameras);
    addDifferences();
    addFocals();
    if (problem_.HasParameterBlock(turns_[index(settings.reference)].data())) {
      problem_.SetParameterBlockConstant(turns_[index(settings.reference)].data());
    }
  }

  RayBundleResult solve() {
    ceres::Solver::Options options;
    options.linear_solver_type = ceres::SPARSE_NORMAL_CHOLESKY;
    options.sparse_linear_algebra_library_type = ceres::EIGEN_SPARSE;  // bytes without a BLAS
    options.max_num_iterations = settings_.mostIterations;
    options.function_tolerance = 1e-8;
    options.num_threads = 1;
    options.logging_type = ceres::SILENT;
    options.callbacks.push_back(&poll_);
    ceres::Solver::Summary summary;
    ceres::Solve(options, &problem_, &summary);
    poll_.rethrow();
    return {summary.IsSolutionUsable() && isFinite(), summary.final_cost};
  }

  [[nodiscard]] std::vector<TurningCamera> cameras() const {
    std::vector<TurningCamera> result(turns_.size());
    for (std::size_t i = 0; i < turns_.size(); ++i) {
      const double inverse = inverses_[inverseIndex(i)];
      const cv::Vec3d axis(turns_[i][0] * inverse, turns_[i][1] * inverse, turns_[i][2]);
      cv::Matx33d turn;
      cv::Rodrigues(axis, turn);
      result[i] = {kUnitFocal / inverse, worldFromFrame_ * turn};
    }
    return result;
  }

 private:
  static ceres::Problem::Options optionsOf(RayProblem& problem) {
    ceres::Problem::Options options;
    options.evaluation_callback = &problem;
    return options;
  }

  void PrepareForEvaluation(bool withDerivatives, bool /*newPoint*/) override {
    const bool goesOn = poll_.run([&] {
      Platform::parallelFor(0, static_cast<int>(pairs_.size()), [&](int p) {
        if (p % kPollEvery == 0 && settings_.poll) {
          settings_.poll();
        }
        const CameraPair& pair = pairs_[index(p)];
        errors_[index(p)] = condensedErrors(pair.points,
                                            parametersOf(index(pair.first)),
                                            parametersOf(index(pair.second)),
                                            kLossScalePx,
                                            withDerivatives);
      });
    });
    if (!goesOn) {
      // Nothing is left to do, so that the solver ends without a printed warning.
      CondensedErrors none;
      none.finite = true;
      errors_.assign(errors_.size(), none);
    }
  }

  [[nodiscard]] RayParameters parametersOf(std::size_t camera) const {
    return {inverses_[inverseIndex(camera)], turns_[camera]};
  }

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
      const double inverse = inverses_[inverseIndex(i)];
      turns_.push_back({axis[0] / inverse, axis[1] / inverse, axis[2]});
    }
  }

  void addDifferences() {
    for (std::size_t p = 0; p < pairs_.size(); ++p) {
      const std::size_t first = index(pairs_[p].first);
      const std::size_t second = index(pairs_[p].second);
      double* const inverse1 = &inverses_[inverseIndex(first)];
      double* const inverse2 = &inverses_[inverseIndex(second)];
      double* const turn1 = turns_[first].data();
      double* const turn2 = turns_[second].data();
      problem_.AddResidualBlock(
          new PairErrors(errors_[p], settings_.sharedFocal),  // NOLINT: the problem owns it
          nullptr,
          settings_.sharedFocal ? std::vector<double*>{inverse1, turn1, turn2}
                                : std::vector<double*>{inverse1, turn1, inverse2, turn2});
    }
  }

  void addFocals() {
    using Cost = ceres::AutoDiffCostFunction<FocalDifference, 1, 1, 1>;
    for (double& inverse : inverses_) {
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
           std::all_of(turns_.begin(), turns_.end(), [&](const auto& turn) {
             return std::all_of(turn.begin(), turn.end(), finite);
           });
  }

  const RayBundleSettings& settings_;
  const std::vector<CameraPair>& pairs_;
  std::vector<CondensedErrors> errors_;  ///< per pair, at the parameters last asked for
  cv::Matx33d worldFromFrame_;
  std::vector<double> inverses_;  ///< see RayParameters
  double common_ = 1.0;           ///< inverse
  std::vector<std::array<double, 3>> turns_;
  Poll poll_;
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
