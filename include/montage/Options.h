// SPDX-License-Identifier: MIT
/// @file
/// What can be chosen at each step; every field has a default that suits photographs.
///
/// @code
/// montage::PlanOptions options;                    // of the pipeline `picture`
/// options.crop = montage::Crop::inner;
/// options.background = montage::Background::transparent;
/// std::cout << options;                            // all fields with their values
/// @endcode
///
/// Each step checks its options first and throws `std::invalid_argument` that names the field, the
/// value and what is possible.
#ifndef ORV_MONTAGE_APPLICATION_OPTIONS_H
#define ORV_MONTAGE_APPLICATION_OPTIONS_H

#include "Export.h"

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace montage {

/// Whole pipelines that the options of all steps can be set to.
enum class Preset {
  picture,    ///< the default: the best picture, robust cameras
  basic,      ///< as the shorter overload of `SlabMontage`, byte for byte
  diagnostic  ///< as the longer overload of `SlabMontage`, byte for byte
};

enum class FeatureKind {
  corners,  ///< corners of one scale, described by SIFT: 128 whole numbers
  surf      ///< blobs of many scales, turned upright: 64 real numbers
};

struct FeatureOptions {
  FeatureKind kind = FeatureKind::corners;
  /// Images are reduced to this resolution, (0, 1000]; -1: full resolution.
  double megapixels = 0.6;
  /// Smallest Hessian determinant of a SURF keypoint, grey levels squared, >= 0.
  double surfThreshold = 300.0;
  /// Octaves of the SURF scale space, 1 to 8.
  int surfOctaves = 3;
  /// Layers per octave, 1 to 8.
  int surfLayers = 4;
  /// Keep the grey image in the features, so that matching can place points by their surroundings.
  bool keepImage = true;
};

struct MatchOptions {
  /// A match counts if its distance is below (1 - strictness) times that of the second best, [0,
  /// 1).
  double strictness = 0.3;
  /// Place the points of inlier matches to a tenth of a pixel by the pixels around them, where the
  /// features have kept their images.
  bool refine = true;
};

/// Which pairs of images are compared.
enum class Pairing {
  all,         ///< every image with every other one: n (n - 1) / 2 pairs
  automatic,   ///< all up to 20 images; more find their partners by their strongest features
  sequential,  ///< each image with those that follow it: a sweep or a strip
  grid,        ///< each image with its up to eight neighbours in a grid
  list         ///< the pairs of `PairingOptions::pairs`
};

struct PairingOptions {
  Pairing kind = Pairing::automatic;
  /// sequential: with how many images that follow it each one is compared, 1 to 100000.
  int followers = 2;
  /// sequential: the first images follow the last ones.
  bool closeLoop = false;
  /// grid: its size; rows * columns is the number of images, which come row by row.
  int rows = 0;
  int columns = 0;
  /// grid: every second row runs from right to left.
  bool snake = false;
  /// list: numbers of two images from 0, in any order; no pair twice.
  std::vector<std::pair<int, int>> pairs;
};

enum class AdjustMethod {
  robust,  ///< false pairs are found and dropped, one bad pair ends nothing
  plain    ///< OpenCV's estimator and ray adjuster over all confident pairs
};

struct AdjustOptions {
  AdjustMethod method = AdjustMethod::robust;
  /// Two images connect from this confidence on: inliers / (8 + 0.3 matches), > 0.
  double confidence = 0.7;
  /// One focal length for all images instead of one each (robust method).
  bool sharedFocal = false;
};

/// What registerImages() does.
struct RegisterOptions {
  FeatureOptions features;
  PairingOptions pairing;
  MatchOptions matching;
  AdjustOptions adjustment;
  /// Process the images from the last to the first; results keep the caller's numbering.
  bool reverseOrder = false;
  /// Keep the matches in the registration, so that they are saved with it.
  bool keepMatches = false;
};

enum class Seams {
  graphCut,  ///< overlaps are cut where they differ least, exposures are equalised
  none       ///< whole images, exposures as they are
};

enum class Blending {
  multiBand,  ///< coarse structure fades over a wide seam, fine structure over a narrow one
  feather,    ///< images fade out towards the rim of their masks
  none        ///< later images cover earlier ones
};

/// How the montage is turned upright.
enum class Straighten {
  automatic,   ///< horizontal or vertical if the views spread that way, else by the mean camera
  horizontal,  ///< the views lie beside each other: their horizon becomes horizontal
  vertical,    ///< the views lie above each other
  none         ///< as the reference image is
};

enum class Crop {
  none,     ///< the box around all warped images
  content,  ///< the box around the pixels that some image covers
  inner     ///< the largest rectangle without background
};

enum class Background {
  black,
  white,
  transparent  ///< an alpha channel: 255 where some image covers the pixel, else 0
};

/// What planMontage() does.
struct PlanOptions {
  Seams seams = Seams::graphCut;
  /// Resolution per image of seam finding and exposure gains, (0, 1000]; -1: full resolution.
  double seamMegapixels = 0.1;
  /// Resolution that every image is reduced to in the montage, (0, 1000]; -1: full resolution.
  double composeMegapixels = -1.0;
  /// How far seam masks are widened for blending, pixels of the seam resolution, 0 to 100.
  int seamWidening = 1;
  /// Masks stay inside their images, which are continued by reflection for blending; otherwise
  /// black is blended in where a widened mask reaches over an image's rim.
  bool masksInsideImages = true;
  Blending blending = Blending::multiBand;
  /// Bands of multi-band blending, 1 to 5; 0: from the size of the overlaps.
  int bands = 0;
  Straighten straighten = Straighten::automatic;
  /// The plane faces the mean viewing direction instead of the reference image's.
  bool faceMeanDirection = true;
  Crop crop = Crop::none;
  Background background = Background::black;
  /// Bring every montage to one brightness; such a montage has no windows.
  bool normaliseBrightness = false;
  /// Larger montages are refused, > 0.
  double maxMegapixels = 20000.0;
};

/// The options of the two steps for a pipeline.
MONTAGE_API RegisterOptions registerOptions(Preset preset);
MONTAGE_API PlanOptions planOptions(Preset preset);

/// Throws `std::invalid_argument` unless every field is in its range.
MONTAGE_API void check(const FeatureOptions& options);
MONTAGE_API void check(const PairingOptions& options);
MONTAGE_API void check(const MatchOptions& options);
MONTAGE_API void check(const AdjustOptions& options);
MONTAGE_API void check(const RegisterOptions& options);
MONTAGE_API void check(const PlanOptions& options);

/// The names of the fields with their values, as JSON on one line.
MONTAGE_API std::string toString(const RegisterOptions& options);
MONTAGE_API std::string toString(const PlanOptions& options);

inline std::ostream& operator<<(std::ostream& out, const RegisterOptions& options) {
  return out << toString(options);
}
inline std::ostream& operator<<(std::ostream& out, const PlanOptions& options) {
  return out << toString(options);
}

}  // namespace montage

#endif  // ORV_MONTAGE_APPLICATION_OPTIONS_H
