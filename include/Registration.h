// SPDX-License-Identifier: MIT
/// @file
/// The registration stages: feature finding, pairwise matching, bundle adjustment.
///
/// @code
/// std::vector<cv::detail::ImageFeatures> features(images.size());
/// std::vector<cv::detail::MatchesInfo> pairwiseMatches;
/// std::vector<cv::detail::CameraParams> cameras;
/// FeatureFinding()(images, 1.0f, features);
/// FeatureMatching()(features, pairwiseMatches, false, 0.3f);
/// int status = BundleAdjustment()(features, pairwiseMatches, 0.7f, cameras);
/// @endcode
///
/// The records are OpenCV's (`cv::detail`); keypoint coordinates are pixels of the resized image,
/// pixel centres at integers.
#ifndef ORV_MONTAGE_REGISTRATION_H
#define ORV_MONTAGE_REGISTRATION_H

#include "Export.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/camera.hpp>
#include <opencv2/stitching/detail/matchers.hpp>

#include <vector>

namespace ORV {
namespace Common {
namespace Algorithms {
namespace Montage {
namespace Registration {

/// Turns 8-bit images into keypoints with descriptors, one image per parallel iteration.
class MONTAGE_API FeatureFinding {
 public:
  FeatureFinding();
  FeatureFinding(const FeatureFinding&) = default;
  FeatureFinding& operator=(const FeatureFinding& other);
  ~FeatureFinding();

  /// Corners on a contrast-stretched grey image, described by SIFT.
  ///
  /// Corner strength: J. Shi and C. Tomasi, "Good features to track", CVPR 1994. Descriptors:
  /// D. Lowe, "Distinctive image features from scale-invariant keypoints", IJCV 60(2), 2004.
  ///
  /// @param[in] images  `CV_8UC1` or `CV_8UC3`; of a colour image the second channel is used. The
  ///   pixels are never written.
  /// @param[in] scale  every image is resized by this factor first; exactly 1 means as it is.
  /// @param[in,out] features  at least one entry per image. Entry i receives at most 5000 keypoints
  ///   (size 7, angle -1, octave 1, strongest first, at least 5 px apart), `CV_32F` descriptors of
  ///   128 columns (empty without keypoints), img_idx i and the resized size.
  /// @return 0. An image in which no corner is found has empty lists.
  int operator()(std::vector<cv::Mat>& images,
                 float scale,
                 std::vector<cv::detail::ImageFeatures>& features);

  /// SURF keypoints and descriptors, optionally disabled near the border of the image content.
  ///
  /// H. Bay, A. Ess, T. Tuytelaars, L. Van Gool, "Speeded-up robust features (SURF)", CVIU 110(3),
  /// 2008.
  ///
  /// @param[in] surfParameters  five values, truncated to integers: Hessian threshold (grey levels
  ///   squared), octaves, layers per octave, octaves and layers for the descriptors.
  /// @param[in] scale  as in the corner overload.
  /// @param[in] useMask  keypoints closer than about a twentieth of the height to zero-valued
  ///   background keep their place but get a descriptor of all 2.0. Needs images of at least 20
  ///   rows.
  /// @param[in,out] features  at least one entry per image; `CV_32F` descriptors of 64 columns.
  ///   img_idx keeps its value.
  /// @return 0.
  int operator()(std::vector<cv::Mat>& images,
                 std::vector<float> surfParameters,
                 float scale,
                 bool useMask,
                 std::vector<cv::detail::ImageFeatures>& features);

 private:
  int Process(std::vector<cv::Mat>& images,
              std::vector<float> surfParameters,
              float scale,
              bool useMask,
              std::vector<cv::detail::ImageFeatures>& features);
};

/// Matches the features of every pair of images and scores each pair.
class MONTAGE_API FeatureMatching {
 public:
  FeatureMatching();
  FeatureMatching(const FeatureMatching& other);
  FeatureMatching& operator=(const FeatureMatching& other);
  ~FeatureMatching();

  /// Two nearest neighbours, ratio test, homography; then confidence = inliers / (8 + 0.3 matches),
  /// without an upper bound, and 0 below 6 inliers (Brown and Lowe 2007, with their constants).
  ///
  /// @param[in] features  one record per image. Descriptors are all of one type and length:
  ///   `CV_32F`, compared by their Euclidean distance, or `CV_8U`, bits compared by their Hamming
  ///   distance. NaN and infinite values are refused by `cv::Exception`.
  /// @param[out] pairwiseMatches  n * n entries; entry i * n + j is the ordered pair (i, j). Pairs
  ///   that were not matched (i == j, or an image without keypoints) keep indices -1.
  /// @param[in] tryGpu  accepted; the search is exact, on the CPU, and draws no random numbers.
  /// @param[in] matchConf  ratio test: the best distance must be below (1 - matchConf) times the
  ///   second best.
  /// @return 0.
  int operator()(std::vector<cv::detail::ImageFeatures>& features,
                 std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                 bool tryGpu,
                 float matchConf);

 private:
  int Process(std::vector<cv::detail::ImageFeatures>& features,
              std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
              bool tryGpu,
              float matchConf);
};

/// Estimates one camera per image and refines all of them together.
class MONTAGE_API BundleAdjustment {
 public:
  BundleAdjustment();
  BundleAdjustment(const BundleAdjustment&) = default;
  BundleAdjustment& operator=(const BundleAdjustment& other);
  ~BundleAdjustment();

  /// Estimate from the pairwise homographies, then ray bundle adjustment (Brown and Lowe 2007).
  ///
  /// A focal length that would exceed 10^5 pixels, as those of a flat scene do without limit, is
  /// held there while everything else is refined.
  ///
  /// @param[in] features, pairwiseMatches  of the same images in the same order, connected.
  /// @param[in] confThresh  pairs with a greater confidence take part.
  /// @param[out] cameras  one camera per image; focal length and principal point in pixels of the
  ///   registration resolution, R 3 x 3 `CV_32F`, from the camera to the common frame.
  /// @return 0; 2 if the adjustment fails or a focal length is not finite, also for a single image,
  ///   which tells none (`cameras` is then left as it came). Without an image 0 and no camera.
  int operator()(std::vector<cv::detail::ImageFeatures>& features,
                 std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                 float confThresh,
                 std::vector<cv::detail::CameraParams>& cameras);

 private:
  int Process(std::vector<cv::detail::ImageFeatures>& features,
              std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
              float confThresh,
              std::vector<cv::detail::CameraParams>& cameras);
};

}  // namespace Registration
}  // namespace Montage
}  // namespace Algorithms
}  // namespace Common
}  // namespace ORV

#endif  // ORV_MONTAGE_REGISTRATION_H
