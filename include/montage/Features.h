// SPDX-License-Identifier: MIT
/// @file
/// The first two steps of registration: what is to be seen in an image, and which of it two images
/// share.
///
/// @code
/// const montage::Features a = montage::describe(first);
/// const montage::Features b = montage::describe(second);
/// const montage::PairMatches pair = montage::match(a, b);
/// std::cout << pair.inlierCount << " of " << pair.matches.size() << " matches agree\n";
/// montage::save(a, "first.features");
/// assert(montage::loadFeatures("first.features").keypoints.size() == a.keypoints.size());
/// @endcode
#ifndef ORV_MONTAGE_APPLICATION_FEATURES_H
#define ORV_MONTAGE_APPLICATION_FEATURES_H

#include "Export.h"
#include "montage/Options.h"
#include "montage/Progress.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace montage {

/// What describe() found in one image.
struct Features {
  FeatureKind kind = FeatureKind::corners;
  cv::Size imageSize;      ///< full resolution
  double scale = 1.0;      ///< registration / full resolution, (0, 1]
  cv::Size scaledSize;     ///< registration resolution
  std::uint64_t hash = 0;  ///< of the image's size, channels and pixels; 0: unknown
  /// Strongest first; positions in pixels of the registration resolution, pixel centres at
  /// integers.
  std::vector<cv::KeyPoint> keypoints;
  /// One row per keypoint: 128 `CV_8U` (corners) or 64 `CV_32F` (SURF); empty without keypoints.
  cv::Mat descriptors;
  /// `CV_8UC1` of the scaled size, slightly smoothed; empty unless kept.
  cv::Mat image;
};

/// What match() found between two images.
struct PairMatches {
  int first = -1;  ///< numbers of the two images; match() leaves them at -1
  int second = -1;
  /// queryIdx: keypoint of the first image, trainIdx: of the second, distance: of the descriptors.
  std::vector<cv::DMatch> matches;
  /// Per match, 1 if it fits the homography; empty without one.
  std::vector<unsigned char> inliers;
  /// Per match, what to add to the position of the second keypoint so that it shows the same point of
  /// the scene as the first; NaN where that could not be told. Empty: not looked for.
  std::vector<cv::Point2f> shifts;
  int inlierCount = 0;
  bool hasHomography = false;
  /// Pixels of the first image to pixels of the second, registration resolution, origin at the
  /// images' centres.
  cv::Matx33d secondFromFirst = cv::Matx33d::eye();
  /// inliers / (8 + 0.3 matches), 0 below 6 inliers (M. Brown and D. Lowe, "Automatic panoramic
  /// image stitching using invariant features", IJCV 74(1), 2007); no upper bound.
  double confidence = 0.0;
};

/// Finds and describes what can be recognised in another image.
///
/// Corners: J. Shi and C. Tomasi, "Good features to track", CVPR 1994, with descriptors of D. Lowe,
/// "Distinctive image features from scale-invariant keypoints", IJCV 60(2), 2004; at most 5000.
/// SURF: H. Bay et al., "Speeded-up robust features (SURF)", CVIU 110(3), 2008.
///
/// @param[in] image  `CV_8UC1` or `CV_8UC3` (the second channel is used); not written.
/// @throw std::invalid_argument for another type, an empty image or an option out of range.
/// @note Re-entrant; uses all cores. Not the same scale for images of different sizes:
///   registerImages() takes one for all, describe() with @p scale does so too.
MONTAGE_API Features describe(const cv::Mat& image, const FeatureOptions& options = {});

/// The same at a given scale, (0, 1], instead of that of `options.megapixels`.
MONTAGE_API Features describe(const cv::Mat& image, const FeatureOptions& options, double scale);

/// The scale that brings the largest of the images to `options.megapixels`; never above 1.
MONTAGE_API double featureScale(const std::vector<cv::Size>& sizes, const FeatureOptions& options);

/// The pairs of images that are worth comparing, ascending and each with first < second.
///
/// The automatic choice lets more than 20 images vote: a few hundred of the strongest features of
/// each, spread over it, are searched for among those of every other one; an image is compared with
/// those in which it finds the most of them again. Images that find none search once more, with more
/// features. The choice draws no random numbers and does not depend on the number of threads.
///
/// @param[in] features  one per image; those without keypoints are in no pair. All but the automatic
///   choice look at nothing else of them.
/// @throw std::invalid_argument for an option that does not fit the number of images, or (automatic)
///   features of different kinds; Cancelled.
/// @note Re-entrant; uses all cores.
MONTAGE_API std::vector<std::pair<int, int>> selectPairs(const std::vector<Features>& features,
                                                         const PairingOptions& options = {},
                                                         const Progress& progress = {});

/// Compares two images: two nearest neighbours both ways, ratio test, homography by RANSAC.
///
/// The search is exact and draws no random numbers.
///
/// @throw std::invalid_argument for features of different kinds or an option out of range.
/// @note Re-entrant; uses all cores.
MONTAGE_API PairMatches match(const Features& first,
                              const Features& second,
                              const MatchOptions& options = {});

/// match() of many pairs of a set, with every image laid out for the search once and not once a pair.
///
/// @param[in] features  one per image; only those that are in a pair are looked at.
/// @param[in] pairs  numbers of two different images each.
/// @return one per pair, in the same order, with `first` and `second` as in the pair.
/// @throw std::invalid_argument as match(), and for a number that is none of an image; Cancelled.
/// @note Re-entrant; uses all cores.
MONTAGE_API std::vector<PairMatches> matchPairs(const std::vector<Features>& features,
                                                const std::vector<std::pair<int, int>>& pairs,
                                                const MatchOptions& options = {},
                                                const Progress& progress = {});

/// Writes the value to a file of this library's own format; a failed save leaves no file.
/// @throw FileError
MONTAGE_API void save(const Features& features, const std::filesystem::path& file);
MONTAGE_API void save(const PairMatches& pair, const std::filesystem::path& file);

/// Reads it again, exactly as it was. @throw FileError for a file that is damaged, of another kind
/// or of a newer version.
MONTAGE_API Features loadFeatures(const std::filesystem::path& file);
MONTAGE_API PairMatches loadPairMatches(const std::filesystem::path& file);

}  // namespace montage

#endif  // ORV_MONTAGE_APPLICATION_FEATURES_H
