// SPDX-License-Identifier: MIT
/// @file
/// Which images belong together, and the camera of each.
///
/// @code
/// const montage::FileSource photographs({"a.jpg", "b.jpg", "c.jpg"});
/// const montage::Registration registration = montage::registerImages(photographs);
/// for (const montage::RegisteredImage& image : registration.images) {
///   std::cout << image.name << ": " << image.reason << '\n';
/// }
/// montage::save(registration, "scene.json");
/// @endcode
#ifndef ORV_MONTAGE_APPLICATION_REGISTRATION_H
#define ORV_MONTAGE_APPLICATION_REGISTRATION_H

#include "Export.h"
#include "montage/Features.h"
#include "montage/Images.h"
#include "montage/Options.h"
#include "montage/Progress.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace montage {

/// What became of an image.
enum class Verdict {
  used,
  unreadable,     ///< its source failed
  tooFewCorners,  ///< there is too little to recognise in it
  noPartner,      ///< no other image shares enough with it
  anotherGroup,   ///< it connects to some images, but not to the largest group
  contradictory,  ///< its pairs do not agree with those of the other images
  tooAlike        ///< it shows the same view as another image
};

/// One word, one sentence, and what a user may try.
MONTAGE_API const char* nameOf(Verdict verdict);
MONTAGE_API const char* sentenceOf(Verdict verdict);
MONTAGE_API const char* adviceOn(Verdict verdict);

/// A pinhole camera that only turns; lengths in pixels of one resolution, pixel centres at
/// integers.
struct Camera {
  double focal = 1.0;
  double aspect = 1.0;  ///< vertical / horizontal focal length
  double ppx = 0.0;     ///< principal point
  double ppy = 0.0;
  /// Rays of the camera (x to the right, y down, z forward) to rays of the common frame.
  cv::Matx33d worldFromCamera = cv::Matx33d::eye();
};

struct RegisteredImage {
  std::string name;
  cv::Size size;           ///< full resolution; empty if unreadable
  std::uint64_t hash = 0;  ///< of size, channels and pixels; 0: unknown
  Verdict verdict = Verdict::noPartner;
  std::string reason;  ///< one sentence with the figures of this image
  int keypoints = 0;
  int group = -1;  ///< number of its group, 0 the largest; -1: in none
  /// The pair with the highest confidence, an index into the registration's pairs; -1: none.
  int bestPair = -1;
  int alikeTo = -1;  ///< the image that shows the same view, if it is too alike
  Camera camera;     ///< registration resolution; meaningful if used
  double rms = 0.0;  ///< of the reprojection errors of its inlier matches, registration pixels
};

/// What became of a pair of images.
enum class PairVerdict {
  used,           ///< its matches refined the cameras
  tooWeak,        ///< its confidence is too low
  outside,        ///< of images that are not used
  openLoop,       ///< its rotation contradicts the other ways from one image to the other
  largeResidual,  ///< its matches lie far from where the adjusted cameras put them
  diverging       ///< the adjustment did not stay finite with it
};

MONTAGE_API const char* nameOf(PairVerdict verdict);
MONTAGE_API const char* sentenceOf(PairVerdict verdict);

struct RegisteredPair {
  int first = 0;  ///< images, first < second
  int second = 0;
  int matches = 0;
  int inliers = 0;
  double confidence = 0.0;
  PairVerdict verdict = PairVerdict::tooWeak;
  /// Of its inlier matches under the final cameras, registration pixels; -1 unless both images are
  /// used.
  double rms = -1.0;
};

/// Figures about the whole registration; lengths in pixels of the registration resolution.
struct Figures {
  double rms = 0.0;          ///< of the lengths of the differences of matched rays
  double focalMean = -1.0;   ///< over the pairs used
  double focalRange = -1.0;  ///< largest minus smallest
  double rotationMax = 0.0;  ///< largest norm of Euler angles, radians
};

enum class RegistrationStatus {
  ok,
  notConnected,  ///< fewer than two images connect
  notFinite      ///< the cameras did not stay finite (plain method)
};

MONTAGE_API const char* sentenceOf(RegistrationStatus status);

struct Registration {
  RegistrationStatus status = RegistrationStatus::notConnected;
  std::vector<RegisteredImage> images;  ///< in the caller's order
  std::vector<RegisteredPair> pairs;    ///< all that were compared and share a match, ascending
  std::vector<int> used;  ///< the images used, in the order in which they were processed
  double scale = 1.0;     ///< registration / full resolution
  Figures figures;
  RegisterOptions options;           ///< that it was made with
  std::string version;               ///< of the library that made it
  std::vector<PairMatches> matches;  ///< if they were asked for; entry i belongs to pairs[i]

  /// The camera of image `index` in pixels of its full resolution.
  [[nodiscard]] MONTAGE_API Camera fullResolution(int index) const;
};

/// Finds the largest group of images that belong together and their cameras.
///
/// The robust method: rotations of pairs by homographies; pairs whose rotations contradict the
/// loops they are in are dropped; cameras from the rest by bundle adjustment of ray differences
/// (Brown and Lowe 2007) under a robust loss; pairs with residuals far above the others are dropped
/// and the adjustment is repeated. A scene without depth of angle (pictures cut out of one larger
/// picture) gives a focal length of at most 200000 pixels.
///
/// @param[in] features  one per image, all at one scale.
/// @param[in] pairs  with first < second set; pairs that are missing count as not matching.
/// @return also if too few images connect: its status and verdicts say so. Names are those of
///   `ImageSource::name`.
/// @throw std::invalid_argument, Cancelled
MONTAGE_API Registration adjust(const std::vector<Features>& features,
                                const std::vector<PairMatches>& pairs,
                                const AdjustOptions& options = {},
                                const Progress& progress = {});

/// describe(), match() of all pairs and adjust() in one call, images and pairs in parallel.
///
/// Every image is read once. Images of different sizes are reduced by the same factor.
/// @throw std::invalid_argument, Cancelled, what the source throws other than `FileError`
MONTAGE_API Registration registerImages(const ImageSource& images,
                                        const RegisterOptions& options = {},
                                        const Progress& progress = {});

/// Writes the registration as JSON; docs/registration-file.md describes the fields. A failed save
/// leaves no file. @throw FileError
MONTAGE_API void save(const Registration& registration, const std::filesystem::path& file);

/// Reads it again: planMontage() gives the same bytes as in the first run. @throw FileError for a
/// file that is damaged, of another kind or of a newer version.
MONTAGE_API Registration loadRegistration(const std::filesystem::path& file);

}  // namespace montage

#endif  // ORV_MONTAGE_APPLICATION_REGISTRATION_H
