// SPDX-License-Identifier: MIT
/// @file
/// OpenCV's ray bundle adjuster with a Jacobian that computes each entry once.
#ifndef ORV_MONTAGE_REGISTRATION_RAY_ADJUSTER_H
#define ORV_MONTAGE_REGISTRATION_RAY_ADJUSTER_H

#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <utility>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Minimises the distances between the rays of matched keypoints (M. Brown and D. Lowe, "Automatic
/// panoramic image stitching using invariant features", IJCV 74(1), 2007).
///
/// Errors, Jacobian and cameras are those of `cv::detail::BundleAdjusterRay`, to the last bit. That
/// one evaluates all matches twice for every parameter; here a camera's parameters touch only the
/// pairs that the camera belongs to, the other entries are 0, and pairs are evaluated in parallel.
///
/// As OpenCV's, it refines focal lengths and rotations whatever the refinement mask says.
class RayAdjuster : public cv::detail::BundleAdjusterRay {
 public:
  /// @param[in] heldFocals  one flag per camera: its focal length stays as it comes in. Empty: all
  ///   are refined.
  explicit RayAdjuster(std::vector<bool> heldFocals = {}) : heldFocals_(std::move(heldFocals)) {}

 private:
  void calcError(cv::Mat& err) override;
  void calcJacobian(cv::Mat& jac) override;

  /// Where the errors of every pair begin, counted in matches; one entry more than pairs.
  [[nodiscard]] std::vector<int> firstMatchOfEdges() const;
  /// Writes the errors of one pair, three per inlier match, to `errors`.
  void evaluateEdge(std::size_t edge, const cv::Mat& parameters, double* errors) const;
  /// Fills the columns of the eight parameters of one pair's cameras, in that pair's rows.
  void differentiateEdge(std::size_t edge, int firstMatch, cv::Mat& jac) const;
  /// True for the focal length of a camera that is to be held.
  [[nodiscard]] bool isHeld(int camera, int parameter) const;

  std::vector<bool> heldFocals_;
};

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_RAY_ADJUSTER_H
