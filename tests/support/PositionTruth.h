// SPDX-License-Identifier: MIT
/// @file
/// Where a montage must report its views, from the true cameras alone.
///
/// Registration fixes the cameras up to one common rotation, the frame. Both pipelines say which:
/// bundle adjustment takes the frame of the view at the centre of the matching tree (one of the
/// views, so all are tried), and the basic pipeline then straightens it by wave correction. What is
/// left of the frame is an estimate (half a degree on small pictures, mostly tilt), which moves all
/// views together; so the rotation that fits best is taken out and its size reported.
#ifndef ORV_TESTS_SUPPORT_POSITION_TRUTH_H
#define ORV_TESTS_SUPPORT_POSITION_TRUTH_H

#include "support/SyntheticScene.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <algorithm>
#include <limits>
#include <vector>

namespace ORV::TestSupport {

/// Bounding box on the montage plane of a view seen by camera K, frameFromView; the plane's scale
/// is the focal length.
inline cv::Rect2d planeFootprint(const cv::Matx33d& K,
                                 const cv::Matx33d& frameFromView,
                                 cv::Size size) {
  const cv::Matx33d frameFromPixel = frameFromView * K.inv();
  const double right = size.width - 1, bottom = size.height - 1;
  cv::Point2d low(std::numeric_limits<double>::max(), std::numeric_limits<double>::max());
  cv::Point2d high = -low;
  for (const cv::Vec3d& pixel : {cv::Vec3d(0, 0, 1),
                                 cv::Vec3d(right, 0, 1),
                                 cv::Vec3d(0, bottom, 1),
                                 cv::Vec3d(right, bottom, 1)}) {
    const cv::Vec3d ray = frameFromPixel * pixel;
    const cv::Point2d point = cv::Point2d(ray[0], ray[1]) * (K(0, 0) / ray[2]);
    low = {std::min(low.x, point.x), std::min(low.y, point.y)};
    high = {std::max(high.x, point.x), std::max(high.y, point.y)};
  }
  return {low, high};
}

/// Rotations of the kept views in the frame of view `centre`, straightened if asked for.
inline std::vector<cv::Matx33d> framedRotations(const ViewSet& set,
                                                const std::vector<int>& kept,
                                                int centre,
                                                bool straighten) {
  const cv::Matx33d frameFromWorld = set.worldFromView[static_cast<std::size_t>(centre)].t();
  std::vector<cv::Mat> rotations;
  for (const int view : kept) {
    rotations.emplace_back(
        cv::Matx33f(frameFromWorld * set.worldFromView[static_cast<std::size_t>(view)]));
  }
  if (straighten) {
    cv::detail::waveCorrect(rotations, cv::detail::WAVE_CORRECT_HORIZ);
  }
  std::vector<cv::Matx33d> framed;
  for (const cv::Mat& rotation : rotations) {
    framed.emplace_back(cv::Matx33f(rotation));
  }
  return framed;
}

/// The frame that a montage has chosen, and how well it explains the reported positions.
struct FrameFit {
  std::vector<cv::Matx33d> frameFromView;  ///< per kept view
  /// Away from the frame that the pipeline promises.
  double rotationDeg = std::numeric_limits<double>::max();
  double worstErrorPx = 0;
};

/// Expected minus reported positions: x and y of every kept view. `placesOf` turns footprints into
/// positions.
template <class PlacesOf>
cv::Mat positionErrors(const ViewSet& set,
                       const std::vector<cv::Matx33d>& frameFromView,
                       const std::vector<int>& kept,
                       const std::vector<int>& positions,
                       const PlacesOf& placesOf) {
  std::vector<cv::Rect2d> footprints;
  for (const cv::Matx33d& rotation : frameFromView) {
    footprints.push_back(planeFootprint(set.K, rotation, set.size));
  }
  const std::vector<cv::Point2d> places = placesOf(footprints);
  cv::Mat errors;
  for (std::size_t j = 0; j < kept.size(); ++j) {
    const auto entry = 2 * static_cast<std::size_t>(kept[j]);
    errors.push_back(places[j].x - positions[entry]);
    errors.push_back(places[j].y - positions[entry + 1]);
  }
  return errors;
}

inline std::vector<cv::Matx33d> turned(const cv::Vec3d& axisAngle,
                                       std::vector<cv::Matx33d> rotations) {
  cv::Matx33d turn;
  cv::Rodrigues(axisAngle, turn);
  for (cv::Matx33d& rotation : rotations) {
    rotation = turn * rotation;
  }
  return rotations;
}

/// Turns the frame of every kept view by Gauss-Newton steps until it fits best, and keeps the one
/// that needed the smallest turn.
template <class PlacesOf>
FrameFit fitFrame(const ViewSet& set,
                  const std::vector<int>& kept,
                  const std::vector<int>& positions,
                  bool straighten,
                  const PlacesOf& placesOf) {
  constexpr int kSteps = 5;
  constexpr double kDifference = 1e-4;  // radians
  FrameFit best;
  for (const int centre : kept) {
    const auto promised = framedRotations(set, kept, centre, straighten);
    const auto errorsAt = [&](const cv::Vec3d& turn) {
      return positionErrors(set, turned(turn, promised), kept, positions, placesOf);
    };
    cv::Vec3d turn(0, 0, 0);
    for (int step = 0; step < kSteps; ++step) {
      const cv::Mat errors = errorsAt(turn);
      cv::Mat jacobian(errors.rows, 3, CV_64F), change;
      for (int axis = 0; axis < 3; ++axis) {
        cv::Vec3d further = turn;
        further[axis] += kDifference;
        jacobian.col(axis) = (errorsAt(further) - errors) / kDifference;
      }
      cv::solve(jacobian, errors, change, cv::DECOMP_SVD);
      turn -= cv::Vec3d(change);
    }
    double worst = 0;
    const cv::Mat errors = errorsAt(turn);
    for (int row = 0; row < errors.rows; row += 2) {
      worst = std::max(worst, cv::norm(errors.rowRange(row, row + 2)));
    }
    const double rotationDeg = cv::norm(turn) * 180 / CV_PI;
    if (rotationDeg < best.rotationDeg) {
      best = {turned(turn, promised), rotationDeg, worst};
    }
  }
  return best;
}

/// Basic pipeline, composition at full resolution: top-left corners of the straightened footprints.
inline FrameFit fitBasicFrame(const ViewSet& set,
                              const std::vector<int>& kept,
                              const std::vector<int>& positions) {
  return fitFrame(set, kept, positions, true, [](const std::vector<cv::Rect2d>& footprints) {
    std::vector<cv::Point2d> corners;
    for (const cv::Rect2d& footprint : footprints) {
      corners.push_back(footprint.tl());
    }
    return corners;
  });
}

/// Diagnostic pipeline: centres of the footprints relative to the top-left corner of them all.
inline FrameFit fitDiagnosticFrame(const ViewSet& set,
                                   const std::vector<int>& kept,
                                   const std::vector<int>& positions) {
  return fitFrame(set, kept, positions, false, [](const std::vector<cv::Rect2d>& footprints) {
    cv::Rect2d all = footprints[0];
    for (const cv::Rect2d& footprint : footprints) {
      all |= footprint;
    }
    std::vector<cv::Point2d> centres;
    for (const cv::Rect2d& footprint : footprints) {
      centres.push_back((footprint.tl() + footprint.br()) * 0.5 - all.tl());
    }
    return centres;
  });
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_POSITION_TRUTH_H
