// SPDX-License-Identifier: MIT
/// @file
/// How far the rays of two cameras are apart over the points that they share, and how that changes
/// with the cameras.
#ifndef ORV_MONTAGE_REGISTRATION_CAMERAS_RAY_DIFFERENCES_H
#define ORV_MONTAGE_REGISTRATION_CAMERAS_RAY_DIFFERENCES_H

#include "Registration/Cameras/RayBundle.h"

#include <opencv2/core.hpp>

#include <array>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Focal length whose inverse is the unit of the parameter, so that parameters are of the order 1.
constexpr double kUnitFocal = 1000.0;

/// The parameters of a camera in the adjustment.
struct RayParameters {
  double inverse = 1.0;  ///< kUnitFocal / focal length
  /// Turns about x and y times the focal length, in units of kUnitFocal pixels; turn about z,
  /// radians.
  std::array<double, 3> turn{};
};

/// The weighted errors of a pair, condensed: as few errors as parameters and one more, with the
/// squares, the gradient and the normal equations of all (G. Golub and C. Van Loan, "Matrix
/// Computations", section 5.3).
struct CondensedErrors {
  /// Parameters of a pair: inverse and turn of the first camera, then of the second.
  static constexpr int kParameters = 8;
  static constexpr int kErrors = kParameters + 1;

  std::array<double, kErrors> errors{};
  /// A row per error; all zero unless asked for.
  std::array<std::array<double, kParameters>, kErrors> derivatives{};
  bool finite = false;
};

/// The differences of unit rays times the square root of both focal lengths, pixels, under a Cauchy
/// loss of `lossScale` pixels per point.
///
/// @return half the squared length of its errors is half the sum of the losses.
CondensedErrors condensedErrors(const std::vector<PointPair>& points,
                                const RayParameters& first,
                                const RayParameters& second,
                                double lossScale,
                                bool withDerivatives);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CAMERAS_RAY_DIFFERENCES_H
