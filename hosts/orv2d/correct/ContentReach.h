// SPDX-License-Identifier: MIT
/// @file
/// How far from the lens axis content may lie for a stereographic correction to show it whole and
/// once.
#ifndef ORV2D_CONTENT_REACH_H
#define ORV2D_CONTENT_REACH_H

#include "correct/LensParameters.h"
#include "correct/PlaneFrame.h"

#include <opencv2/core.hpp>

namespace orv2d {

/// Radii are in half widths and half heights of the source: 1 is its border.
struct ContentReach {
  double angleDeg;    ///< Polar angle, at most 90 degrees, ...
  double radius;      ///< ... and where the source shows it.
  double fullRadius;  ///< Where the source shows 90 degrees: what lies beyond is never rendered.

  /// The radius within which content may lie, a little less than `radius` for the sampling's sake.
  [[nodiscard]] double contentRadius(const cv::Size& sourceSize) const;
  /// 255 where the pixels of a source lie within that.
  [[nodiscard]] cv::Mat within(const cv::Size& sourceSize) const;
};

/// The reach of a frame of mode square, range or fov.
///
/// The lens model takes a ray at 100 degrees for one at 80: a frame that holds directions beyond
/// the half sphere shows there, mirrored, what lies as far before it. For the modes range and fov
/// the border of the frame must stay free of content too.
ContentReach contentReach(CorrectMode mode, const LensValues& values, const PlaneFrame& frame);

/// The same frame's reach, narrowed to a polar angle below its own.
ContentReach narrowedTo(double angleDeg, const ContentReach& reach, const LensValues& values);

/// Of the pixels brighter than 10, the share that lies between two radii.
double contentShare(const cv::Mat& source, double innerRadius, double outerRadius);

}  // namespace orv2d

#endif  // ORV2D_CONTENT_REACH_H
