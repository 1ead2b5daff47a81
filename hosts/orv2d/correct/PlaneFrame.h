// SPDX-License-Identifier: MIT
/// @file
/// The rectangle of the stereographic plane that a correction renders.
#ifndef ORV2D_PLANE_FRAME_H
#define ORV2D_PLANE_FRAME_H

#include "correct/LensParameters.h"

namespace orv2d {

/// Plane coordinates, y downward, of the first and last column and row of the uncropped result.
struct PlaneFrame {
  double firstColumn = -1.0;
  double lastColumn = 1.0;
  double firstRow = -1.0;
  double lastRow = 1.0;

  /// Whether the frame stays within -1 to 1, as mode fov asks.
  [[nodiscard]] bool insideUnitSquare() const;
  /// The largest absolute coordinate.
  [[nodiscard]] double halfExtent() const;
};

/// The frame of the modes square, range and fov.
///
/// Range: the radius tan(angle / 2) of both ends of the range, seen from the viewing direction; the
/// rows run from the positive y of the lower end to the negative y of the upper end. Fov: bounding
/// box of the cone's outline, turned with the view.
PlaneFrame planeFrame(CorrectMode mode, const LensValues& values);

/// Throws `HostError` (usage) when the result of mode range or fov would have a side below 2 or
/// beyond what OpenCV's remapping takes.
void requirePossibleSize(CorrectMode mode, const LensValues& values);

}  // namespace orv2d

#endif  // ORV2D_PLANE_FRAME_H
