// SPDX-License-Identifier: MIT
/// @file
/// The projection model: from a point of the output plane to a position in the source image.
///
/// Every step is a single-precision operation in the order written, except for the lens factor,
/// which is formed in double precision; so a position depends neither on the machine nor on how
/// many are computed at once.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_PLANE_PROJECTION_H
#define ORV_MONTAGE_DISTORT_CORRECT_PLANE_PROJECTION_H

#include "DistortCorrect/Extent.h"
#include "DistortCorrect/Rotation.h"

namespace ORV::Common::Algorithms::DistortCorrect {

/// How a plane point (x, y) is lifted into space, with t = 1 / (x^2 + y^2 + 1).
enum class Lift {
  kStereographic,  ///< (2 x t, 2 y t, (1 - x^2 - y^2) t): inverse stereographic projection onto the
                   ///< unit sphere (J. Snyder, USGS 1395, 1987).
  kRect            ///< (x t, y t, t).
};

/// Position along one source axis from a lens coordinate v, -1 and +1 at the borders.
///
/// ((v + 1) * extent) * factor. The two makers differ only where the product overflows.
struct PixelAxis {
  float extent;
  float factor;

  /// (v + 1) * (size / 2).
  [[nodiscard]] static PixelAxis ofHalfSize(int size) {
    return {static_cast<float>(size * 0.5), 1.0F};
  }
  /// ((v + 1) * size) / 2; halving in single precision gives what halving in double and rounding
  /// gives, since the product with 0.5 is rounded once either way.
  [[nodiscard]] static PixelAxis ofSize(int size) { return {static_cast<float>(size), 0.5F}; }
};

/// Radial lens model: factor f(rho^2) = (linearCoeff + cubicCoeff rho^2) / sin(halfFieldAngle).
struct LensModel {
  double squareCoeff;
  double constant;

  /// @param[in] halfFieldAngle  radians.
  LensModel(double halfFieldAngle, double cubicCoeff, double linearCoeff);

  [[nodiscard]] float factor(float squaredRadius) const {
    return static_cast<float>(static_cast<double>(squaredRadius) * squareCoeff + constant);
  }
};

/// A position in the source image, pixels; integers at pixel centres.
struct SourcePosition {
  float col;
  float row;
};

/// The projection model with all its parameters.
struct PlaneProjection {
  Lift lift;
  bool rotated;
  Matrix3f rotation;  ///< Lens from view; used when `rotated`.
  LensModel lens;
  PixelAxis columns;
  PixelAxis rows;

  PlaneProjection(Lift howLifted,
                  const LensModel& lensModel,
                  const Orientation& orientation,
                  PixelAxis sourceColumns,
                  PixelAxis sourceRows);

  /// Whether any plane point can have a finite source position.
  [[nodiscard]] bool hasFinitePositions() const;

  /// Source position of the plane point (x, y): x to the right, y downward.
  [[nodiscard]] SourcePosition sourceFromPlane(float x, float y) const;

  /// `sourceFromPlane` of `count` points (xs[i], y), vectorised; bit for bit the same values.
  ///
  /// @param[out] cols,sourceRows  `count` values each; must not overlap xs.
  /// @param[in,out] extent  takes in the positions.
  void sourceFromPlaneRow(
      const float* xs, int count, float y, float* cols, float* sourceRows, Extent& extent) const;
};

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_PLANE_PROJECTION_H
