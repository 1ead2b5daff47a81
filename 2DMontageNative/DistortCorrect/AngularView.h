// SPDX-License-Identifier: MIT
/// @file
/// The model of the angular view correction: from a pixel, read as view angles, to a point of the
/// stereographic plane.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_ANGULAR_VIEW_H
#define ORV_MONTAGE_DISTORT_CORRECT_ANGULAR_VIEW_H

#include "DistortCorrect/Extent.h"
#include "DistortCorrect/Rotation.h"

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::DistortCorrect {

/// View angles along one axis and their tangents: they depend on the column or the row alone.
struct AngleAxis {
  std::vector<float> angles;    ///< Radians, 0 in the middle of the axis.
  std::vector<float> tangents;  ///< In single precision.

  AngleAxis(int size, double pixelsPerRadian);
};

/// From a point of the plane to a position in the image: (point - middle) * scale + centre, in
/// double precision, rounded to single.
struct PlanePlacement {
  cv::Point2d middle;
  double scale;
  cv::Point2d centre;
};

/// Projection of all pixels of one view.
///
/// For the angles (a, b) of a pixel: plane point (tan a, tan b) (1 + k (a^2 + b^2)); inverse
/// stereographic lift onto the sphere; rotation; stereographic projection. Single precision except
/// for the radial factor and the quotients of the lift, which are formed in double.
class AngularView {
 public:
  /// @param[in] rotation  applied on the sphere.
  /// @param[in] radialCoeff  k.
  AngularView(AngleAxis columns, AngleAxis rows, const Matrix3f& rotation, double radialCoeff);

  /// Plane point of one pixel.
  [[nodiscard]] cv::Point2f planeFromPixel(int row, int col) const;

  /// The extent of `planeFromPixel` over a whole row, vectorised.
  [[nodiscard]] Extent extentOfRow(int row) const;

  /// Places `planeFromPixel` of some columns of a row, vectorised; bit for bit the same values.
  ///
  /// @param[out] x,y  one value per column each.
  void placeRow(
      int row, const cv::Range& columns, const PlanePlacement& placement, float* x, float* y) const;

 private:
  AngleAxis columns_;
  AngleAxis rows_;
  Matrix3f rotation_;
  double radialCoeff_;
};

}  // namespace ORV::Common::Algorithms::DistortCorrect

#endif  // ORV_MONTAGE_DISTORT_CORRECT_ANGULAR_VIEW_H
