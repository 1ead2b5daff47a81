// SPDX-License-Identifier: MIT
#include "Registration/Cameras/RayDifferences.h"

#include <Eigen/Geometry>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>
#include <cstddef>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

constexpr int kParameters = CondensedErrors::kParameters;
constexpr int kErrors = CondensedErrors::kErrors;
constexpr int kPerCamera = kParameters / 2;

/// Errors with their derivatives, the errors in the last column.
using Rows = Eigen::Matrix<double, Eigen::Dynamic, kErrors>;

Matrix3d crossing(const Vector3d& v) {
  Matrix3d matrix;
  matrix << 0, -v.z(), v.y(), v.z(), 0, -v.x(), -v.y(), v.x(), 0;
  return matrix;
}

/// A camera laid out for many points.
class Turned {
 public:
  explicit Turned(const RayParameters& parameters) : inverse_(parameters.inverse) {
    const Vector3d perInverse(parameters.turn[0], parameters.turn[1], 0.0);
    const Vector3d axis = perInverse * inverse_ + Vector3d(0.0, 0.0, parameters.turn[2]);
    const double squared = axis.squaredNorm();
    const double angle = std::sqrt(squared);
    const Matrix3d cross = crossing(axis);
    // Rodrigues' formula and its integral; for small angles the first terms of their series.
    constexpr double kSmall = 1e-8;
    const bool small = squared < kSmall;
    const double sine = small ? 1.0 - squared / 6.0 : std::sin(angle) / angle;
    const double half = std::sin(angle / 2.0);
    const double cosine = small ? 0.5 - squared / 24.0 : 2.0 * half * half / squared;
    const double rest = small ? 1.0 / 6.0 - squared / 120.0 : (1.0 - sine) / squared;
    rotation_ = Matrix3d::Identity() + sine * cross + cosine * cross * cross;
    const Matrix3d turning = Matrix3d::Identity() + cosine * cross + rest * cross * cross;
    perTurn_ = turning * Vector3d(inverse_, inverse_, 1.0).asDiagonal();
    turnPerInverse_ = turning * perInverse;
  }

  struct Ray {
    Vector3d unit;
    double length;  ///< before it was made a unit
  };

  [[nodiscard]] Ray rayOf(const cv::Point2d& pixel) const {
    const Vector3d ray =
        rotation_ * Vector3d(inverse_ * pixel.x / kUnitFocal, inverse_ * pixel.y / kUnitFocal, 1.0);
    const double length = ray.norm();
    return {ray / length, length};
  }

  /// Of a unit ray by inverse and turn.
  [[nodiscard]] Eigen::Matrix<double, 3, kPerCamera> derivativeOf(const Ray& ray,
                                                                  const cv::Point2d& pixel) const {
    Eigen::Matrix<double, 3, kPerCamera> derivative;
    const Vector3d along =
        rotation_ * Vector3d(pixel.x / kUnitFocal, pixel.y / kUnitFocal, 0.0) / ray.length;
    derivative.col(0) = turnPerInverse_.cross(ray.unit) + along - ray.unit * ray.unit.dot(along);
    for (int axis = 0; axis < 3; ++axis) {
      derivative.col(1 + axis) = perTurn_.col(axis).cross(ray.unit);
    }
    return derivative;
  }

 private:
  double inverse_;
  Matrix3d rotation_;
  Matrix3d perTurn_;
  Vector3d turnPerInverse_;
};

/// Triangular form of the rows: the same squares and products with fewer rows.
Eigen::Matrix<double, kErrors, kErrors> condensed(Rows& rows) {
  Eigen::Matrix<double, kErrors, kErrors> result = Eigen::Matrix<double, kErrors, kErrors>::Zero();
  const auto kept = std::min<Eigen::Index>(rows.rows(), kErrors);
  const Eigen::HouseholderQR<Eigen::Ref<Rows>> factors(rows);
  result.topRows(kept) = factors.matrixQR().topRows(kept).triangularView<Eigen::Upper>();
  return result;
}

}  // namespace

CondensedErrors condensedErrors(const std::vector<PointPair>& points,
                                const RayParameters& first,
                                const RayParameters& second,
                                double lossScale,
                                bool withDerivatives) {
  const Turned a(first);
  const Turned b(second);
  const double pixelsPerRay = kUnitFocal / std::sqrt(first.inverse * second.inverse);
  const double scale = lossScale * lossScale;
  Rows rows(withDerivatives ? static_cast<Eigen::Index>(3 * points.size()) : 0, kErrors);
  double losses = 0.0;
  double squares = 0.0;  // of the weighted errors; never more than the losses
  Eigen::Index next = 0;
  for (const PointPair& point : points) {
    const Turned::Ray rayA = a.rayOf(point.first);
    const Turned::Ray rayB = b.rayOf(point.second);
    const Vector3d error = pixelsPerRay * (rayA.unit - rayB.unit);
    const double squared = error.squaredNorm();
    losses += scale * std::log1p(squared / scale);
    if (withDerivatives) {
      const double weight = 1.0 / (1.0 + squared / scale);
      squares += weight * squared;
      auto block = rows.middleRows<3>(next);
      block.leftCols<kPerCamera>() = pixelsPerRay * a.derivativeOf(rayA, point.first);
      block.middleCols<kPerCamera>(kPerCamera) = -pixelsPerRay * b.derivativeOf(rayB, point.second);
      block.col(0) -= error / (2.0 * first.inverse);
      block.col(kPerCamera) -= error / (2.0 * second.inverse);
      block.col(kParameters) = error;
      block *= std::sqrt(weight);
      next += 3;
    }
  }
  CondensedErrors result;
  result.finite = std::isfinite(losses);
  if (!withDerivatives || !result.finite) {
    result.errors.back() = std::sqrt(losses);
    return result;
  }
  const auto triangle = condensed(rows);
  for (std::size_t error = 0; error < kErrors; ++error) {
    const auto row = triangle.row(static_cast<Eigen::Index>(error));
    result.errors[error] = row[kParameters];
    std::copy_n(row.begin(), kParameters, result.derivatives[error].begin());
  }
  // The last one has no derivatives: it takes what the loss exceeds the weighted squares by.
  result.errors.back() =
      std::hypot(result.errors.back(), std::sqrt(std::max(losses - squares, 0.0)));
  return result;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
