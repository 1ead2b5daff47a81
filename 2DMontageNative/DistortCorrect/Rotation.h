// SPDX-License-Identifier: MIT
/// @file
/// Single-precision rotations of the sphere and the matrix product they are made with.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_ROTATION_H
#define ORV_MONTAGE_DISTORT_CORRECT_ROTATION_H

#include <array>

namespace ORV::Common::Algorithms::DistortCorrect {

/// 3 x 3 matrix, row-major.
using Matrix3f = std::array<float, 9>;

/// Viewing direction, radians: about the vertical (y), horizontal (x) and optical (z) axis.
struct Orientation {
  double yaw;
  double pitch;
  double roll;

  /// Whether any angle differs from 0; a NaN does.
  [[nodiscard]] bool rotates() const { return yaw != 0.0 || pitch != 0.0 || roll != 0.0; }
};

/// c (m x n) += a (m x k) * b (k x n), row-major; products are added in order of the inner index.
///
/// @note Rows of c run in parallel; a and b must not overlap c.
void matMult(const float* a, const float* b, float* c, int m, int n, int k);

/// Rotation from the view's sphere to the lens's sphere: Rz(roll) Rx(pitch) Ry(yaw), multiplied
/// from the left; sines and cosines are rounded to single precision first.
[[nodiscard]] Matrix3f lensFromView(const Orientation& orientation);

/// Rotation with the factors of `lensFromView` in reverse order: Ry(yaw) Rx(pitch) Rz(roll).
[[nodiscard]] Matrix3f outlineRotation(const Orientation& orientation);

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_ROTATION_H
