// SPDX-License-Identifier: MIT
/// @file
/// What a montage will look like, before any of its pixels is made.
///
/// @code
/// const montage::MontagePlan plan = montage::planMontage(registration, photographs);
/// if (plan.status != montage::PlanStatus::ok) { std::cerr << plan.reason << '\n'; }
/// std::cout << plan.size << ", " << plan.estimate.memoryBytes / 1e6 << " MB\n";
/// montage::save(plan, "scene.plan");
/// @endcode
#ifndef ORV_MONTAGE_APPLICATION_MONTAGE_PLAN_H
#define ORV_MONTAGE_APPLICATION_MONTAGE_PLAN_H

#include "Export.h"
#include "montage/Images.h"
#include "montage/Options.h"
#include "montage/Progress.h"
#include "montage/Registration.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace montage {

enum class PlanStatus {
  ok,
  nothingToShow,  ///< fewer than two images can be shown on one plane
  tooLarge        ///< the montage would have more than `PlanOptions::maxMegapixels`, or an image
                  ///< more than 32766 pixels on a side
};

/// One image of a montage. The montage plane is at unit distance of the cameras; its pixels are
/// counted from the point that the common frame looks at, to the right and down.
struct PlannedImage {
  int index = 0;           ///< in the source
  std::string name;        ///< that the source gives it
  std::uint64_t hash = 0;  ///< of size, channels and pixels; 0: unknown
  cv::Size sourceSize;     ///< full resolution
  Camera camera;           ///< composition resolution, single precision
  cv::Rect footprint;      ///< box around the warped image on the plane, composition resolution
  /// The same at seam resolution, where gains and seams were found.
  cv::Rect seamFootprint;
  cv::Mat seamMask;  ///< `CV_8UC1`, at seam resolution, 0 or 255; empty without seams
  cv::Mat gains;     ///< `CV_32FC1`, one per block of the warped image; empty without seams
};

struct LeftOutImage {
  int index = 0;
  std::string reason;  ///< one sentence
};

/// What composing will take.
struct Estimate {
  std::uint64_t pixels = 0;        ///< of the montage
  std::uint64_t montageBytes = 0;  ///< its samples, uncompressed
  /// Of memory at the peak, if all is held at once: images, masks, weights and the montage.
  std::uint64_t memoryBytes = 0;
  /// Of memory at the peak, if it is made in strips that are written as they are finished.
  std::uint64_t leastMemoryBytes = 0;
  /// On this machine, without reading and writing files; not saved: 0 in a loaded plan.
  double seconds = 0.0;
};

struct MontagePlan {
  PlanStatus status = PlanStatus::nothingToShow;
  std::string reason;  ///< one sentence; says which images were left out, if any
  cv::Size size;       ///< of the montage, cropped
  /// Top-left pixel of the montage on the plane.
  cv::Point origin;
  /// Union of the footprints on the plane, before cropping.
  cv::Rect canvas;
  std::vector<PlannedImage> images;   ///< in the order in which they are blended
  std::vector<LeftOutImage> leftOut;  ///< used by the registration, but not to be shown
  int sourceCount = 0;                ///< images that a slab must have
  int channels = 0;  ///< of the montage of the slab that was planned; 0: its images were not read
  double seamScale = 1.0;     ///< seam / full resolution
  double composeScale = 1.0;  ///< composition / full resolution
  double planeScale = 1.0;    ///< pixels of the montage per unit of the plane
  int bands = 0;              ///< of multi-band blending
  PlanOptions options;        ///< that it was made with
  Estimate estimate;

  /// Where a pixel of source image `index` (full resolution) lies in the montage.
  /// @throw std::invalid_argument if the image is not in the plan.
  [[nodiscard]] MONTAGE_API cv::Point2d montageFromImage(int index, cv::Point2d pixel) const;

  /// Centres of the warped images in the order of `images`, pixels at full resolution from the
  /// top-left corner of all warped images: what the longer overload of `SlabMontage` reports.
  [[nodiscard]] MONTAGE_API std::vector<cv::Point> footprintCentres() const;
};

/// Lays the images out on a plane, equalises their exposures and cuts their overlaps.
///
/// Gains: Brown and Lowe 2007, per block. Seams: V. Kwatra et al., "Graphcut textures", SIGGRAPH
/// 2003. Straightening: Brown and Lowe 2007. Images whose axis lies more than 80 degrees off the
/// plane's, or that reach further than 87, are left out.
///
/// @param[in] images  one slab in register with the images of the registration, of which the gains
///   and seams are found; the same count. Sizes as in the registration, or all larger or smaller by
///   one factor.
/// @return also if there is nothing to show or too much: its status and reason say so. No memory
/// for
///   the montage has been taken.
/// @throw std::invalid_argument, Cancelled, what the source throws
/// @note Every image that is used is read once.
MONTAGE_API MontagePlan planMontage(const Registration& registration,
                                    const ImageSource& images,
                                    const PlanOptions& options = {},
                                    const Progress& progress = {});

/// Writes the plan, masks and gains compressed. A failed save leaves no file. @throw FileError
MONTAGE_API void save(const MontagePlan& plan, const std::filesystem::path& file);

/// Reads it again: compose() gives the same bytes. @throw FileError for a file that is damaged, of
/// another kind or of a newer version.
MONTAGE_API MontagePlan loadPlan(const std::filesystem::path& file);

}  // namespace montage

#endif  // ORV_MONTAGE_APPLICATION_MONTAGE_PLAN_H
