// SPDX-License-Identifier: MIT
/// @file
/// The part of the plane that a correction renders: by an angular range, or by the field of view.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_PLANE_FRAME_H
#define ORV_MONTAGE_DISTORT_CORRECT_PLANE_FRAME_H

#include "DistortCorrect/Rotation.h"

namespace ORV::Common::Algorithms::DistortCorrect {

/// Plane coordinates of the first and last output column and row.
struct PlaneFrame {
  double left;
  double right;
  double top;
  double bottom;
};

/// Frame of the directions from minAngleDeg to maxAngleDeg as seen from (yaw, pitch).
///
/// A ray at polar angle a meets the stereographic plane at radius tan(a / 2).
/// @param[in] yaw,pitch  radians.
/// @param[in] marginDeg  added on both sides, degrees.
/// @return top > bottom for an ordinary range: the first row lies at positive y.
[[nodiscard]] PlaneFrame frameOfRange(
    double yaw, double pitch, int marginDeg, double minAngleDeg, double maxAngleDeg);

/// Bounding box of the outline of the field of view, traced in steps of one degree and turned to
/// the view's orientation.
///
/// @param[in] marginPercent  enlargement of the outline, percent.
/// @param[in] coneAngleDeg  polar angle of the outline from the lens axis, degrees.
/// @return top <= bottom.
[[nodiscard]] PlaneFrame frameOfCone(const Orientation& orientation,
                                     int marginPercent,
                                     double coneAngleDeg);

/// Whether an edge of the frame lies outside -1..1.
[[nodiscard]] bool leavesUnitSquare(const PlaneFrame& frame);

/// Pixels along an extent of the plane, truncated toward zero; 0 where no `int` can hold them.
[[nodiscard]] int pixelCount(double extent, double pixelsPerUnit);

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_PLANE_FRAME_H
