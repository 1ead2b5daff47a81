// SPDX-License-Identifier: MIT
/// @file
/// SURF keypoints and descriptors of an image, as OpenCV 2.4's stitching module found them.
#ifndef ORV_MONTAGE_REGISTRATION_SURF_FEATURES_FINDER_H
#define ORV_MONTAGE_REGISTRATION_SURF_FEATURES_FINDER_H

#include "Registration/SurfDetector.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/matchers.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Finds blobs and describes them by 64 values, after H. Bay, A. Ess, T. Tuytelaars, L. Van Gool,
/// "Speeded-up robust features (SURF)", CVIU 110(3), 2008.
///
/// Stands in for `cv::detail::SurfFeaturesFinder` of OpenCV 2.4 (CPU), which OpenCV 4 no longer
/// has: the same arguments, keypoints, order and fields. Has no state besides its settings: one
/// object may serve any number of threads.
class SurfFeaturesFinder {
 public:
  /// Settings are checked by the calls, not here.
  ///
  /// @param[in] hessThresh  least determinant of the Hessian, grey levels squared; at least 0.
  /// @param[in] octaves, layers  extent of the scale space, each at least 1.
  /// @param[in] octavesDescr, layersDescr  extent given for the description; has no effect on the
  ///   result, but other numbers than the detector's change two errors, see `find`.
  explicit SurfFeaturesFinder(double hessThresh = 300.0,
                              int octaves = 3,
                              int layers = 4,
                              int octavesDescr = 3,
                              int layersDescr = 4);

  /// Finds and describes the keypoints of an image.
  ///
  /// @param[in] image  `CV_8UC1`, or `CV_8UC3` in the order blue-green-red; never written.
  /// @param[out] keypoints  strongest first; see `detectSurfKeypoints` for the fields. `angle` in
  ///   degrees from +x towards +y.
  /// @param[out] descriptors  new memory, `CV_32F`, row j of 64 values belongs to keypoint j; empty
  ///   without keypoints.
  /// @note Throws `cv::Exception`, with both outputs untouched, for another image type, and for
  ///   settings out of range. An empty image is an error when the description's numbers equal the
  ///   detector's, and has no keypoints when they differ; numbers of the description out of range
  ///   are then an error only if there is a keypoint.
  void find(const cv::Mat& image, std::vector<cv::KeyPoint>& keypoints, cv::Mat& descriptors) const;

  /// `find` into OpenCV's record: `keypoints`, `descriptors` and `img_size`; `img_idx` keeps its
  /// value. Touches a `cv::UMat`: see `Platform::CpuOnly`.
  void operator()(const cv::Mat& image, cv::detail::ImageFeatures& features) const;

  /// Does nothing: there is no memory to give back.
  void collectGarbage() const {}

 private:
  /// True when one object would detect and describe.
  [[nodiscard]] bool describesAsItDetects() const;

  double hessThresh_;
  SurfScaleSpace detection_;
  SurfScaleSpace description_;
};

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_SURF_FEATURES_FINDER_H
