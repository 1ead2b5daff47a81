// SPDX-License-Identifier: MIT
/// @file
/// OpenCV's ray bundle adjuster with normal equations summed up block by block.
#ifndef ORV_MONTAGE_REGISTRATION_RAY_ADJUSTER_H
#define ORV_MONTAGE_REGISTRATION_RAY_ADJUSTER_H

#include "Registration/EdgeRays.h"
#include "Registration/NormalEquations.h"

#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <array>
#include <utility>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Minimises the distances between the rays of matched keypoints (M. Brown and D. Lowe, "Automatic
/// panoramic image stitching using invariant features", IJCV 74(1), 2007).
///
/// Errors, derivatives and steps are those of `cv::detail::BundleAdjusterRay`. That one stores the
/// whole Jacobian and multiplies it through whichever BLAS a machine has, whose order of summation
/// the last bits depend on; here a camera's parameters touch only the pairs that the camera belongs
/// to, and products are summed up in the order of the matches. For up to six cameras the result is
/// OpenCV's to the last bit where that uses the reference BLAS. More are solved by a sparse
/// Cholesky factorisation instead of a dense singular value decomposition, and agree to a fraction
/// of a pixel.
///
/// As OpenCV's, it refines focal lengths and rotations whatever the refinement mask says.
class RayAdjuster : public cv::detail::BundleAdjusterBase {
 public:
  /// @param[in] heldFocals  one flag per camera: its focal length stays as it comes in. Empty: all
  ///   are refined.
  explicit RayAdjuster(std::vector<bool> heldFocals = {});

 private:
  /// Errors and derivatives of one pair: rows of three per inlier match, columns for the parameters
  /// of its two cameras.
  struct Edge {
    int first;
    int second;
    int firstRow;              ///< of all errors
    PixelColumns firstPixels;  ///< of the inlier matches
    PixelColumns secondPixels;
    cv::Mat derivatives;  ///< `CV_64F`, eight columns
  };

  /// A camera's maps from pixels to rays, one step below and above each of its parameters.
  struct RaySteps {
    std::array<cv::Matx33d, NormalEquations::kBlock> below;
    std::array<cv::Matx33d, NormalEquations::kBlock> above;
  };

  bool estimate(const std::vector<cv::detail::ImageFeatures>& features,
                const std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                std::vector<cv::detail::CameraParams>& cameras) override;

  // What the base class wants of its own solver.
  void setUpInitialCameraParams(const std::vector<cv::detail::CameraParams>& cameras) override;
  void obtainRefinedCameraParams(std::vector<cv::detail::CameraParams>& cameras) const override;
  void calcError(cv::Mat& err) override;
  void calcJacobian(cv::Mat& jac) override;

  void chooseEdges();
  void refine();
  void differentiate();
  NormalEquations normalEquations(const cv::Mat& errors);

  /// The pair of images with the pixels of its inlier matches.
  [[nodiscard]] Edge edgeOf(int first, int second) const;
  /// Focal length and rotation vector of a camera.
  [[nodiscard]] cv::Vec4d parametersOf(int camera) const;
  /// The rays of a camera, and those with each of its parameters one step lower and higher.
  [[nodiscard]] cv::Matx33d raysOf(int camera) const;
  [[nodiscard]] RaySteps stepsOf(int camera) const;
  /// Writes the errors of one pair, three per inlier match, to `errors`.
  void evaluateEdge(const Edge& edge, double* errors) const;
  void differentiateEdge(Edge& edge, const std::vector<RaySteps>& steps) const;
  /// True for the focal length of a camera that is to be held.
  [[nodiscard]] bool isHeld(int camera, int parameter) const;

  std::vector<bool> heldFocals_;
  std::vector<Edge> pairs_;
};

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_RAY_ADJUSTER_H
