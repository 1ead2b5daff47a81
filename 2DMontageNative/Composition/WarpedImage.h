// SPDX-License-Identifier: MIT
/// @file
/// The pixels of one warped image of a slab, read part by part.
#ifndef ORV_MONTAGE_COMPOSITION_WARPED_IMAGE_H
#define ORV_MONTAGE_COMPOSITION_WARPED_IMAGE_H

#include "Composition/BlockGains.h"
#include "Composition/ImagePlacement.h"
#include "Composition/PlaneSampling.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/warpers.hpp>

#include <optional>

namespace ORV::Common::Algorithms::Montage::Composition {

/// An image on the montage plane, with its exposure gains.
class WarpedImage {
 public:
  WarpedImage() = default;
  WarpedImage(const WarpedImage&) = delete;
  WarpedImage& operator=(const WarpedImage&) = delete;
  virtual ~WarpedImage() = default;

  /// @param[in] area  relative to the part of the image that is blended, inside it.
  /// @return 8-bit pixels of the area; not to be written. Pixels that do not bear on the montage
  ///   may be zero.
  /// @note Several threads may read at once.
  [[nodiscard]] virtual cv::Mat read(const cv::Rect& area) const = 0;
};

/// An image that was warped as a whole.
class StoredImage : public WarpedImage {
 public:
  explicit StoredImage(cv::Mat pixels) : pixels_(std::move(pixels)) {}
  [[nodiscard]] cv::Mat read(const cv::Rect& area) const override { return pixels_(area); }

 private:
  cv::Mat pixels_;
};

/// What sampling one image of every slab needs besides its pixels.
struct PlaneSampler {
  cv::detail::PlaneProjector projector;
  cv::Point corner;  ///< top-left of the footprint on the plane
  cv::Point offset;  ///< of the part to blend in the footprint
  Sampling sampling;
  cv::Mat wanted;  ///< see `wantedCells`
  std::optional<BlockGains> gains;
};

/// An image that is warped where it is read, with the bytes of the whole warped image.
///
/// Cubic sampling with a reflecting border goes on like this: the image is framed with some
/// reflected pixels, and what lies further out repeats the outermost of them. That needs no slow
/// case at the rim, and blending wants nothing but a smooth continuation. Of such an image only
/// the part that the wanted cells show is held.
class SampledImage : public WarpedImage {
 public:
  /// @param[in] source  at composition scale, `CV_8UC1` or `CV_8UC3`; its pixels are shared.
  /// @param[in] sampler  borrowed.
  SampledImage(const cv::Mat& source, const PlaneSampler& sampler);
  [[nodiscard]] cv::Mat read(const cv::Rect& area) const override;

 private:
  void sampleTile(const cv::Rect& tile, cv::Mat pixels) const;

  cv::Mat source_;     ///< if it is continued, a part of the framed image
  cv::Size framed_;    ///< of the framed image
  cv::Point2f first_;  ///< of `source_` in it
  const PlaneSampler& sampler_;
  bool isContinued_;
};

/// The projection that a plane warper (see `isPlaneWarper`) uses.
cv::detail::PlaneProjector planeProjectorOf(const cv::detail::RotationWarper& warper,
                                            const ImagePlacement& placement);

/// Marks the square cells of a footprint that may come within `reach` pixels of a non-zero mask
/// value.
///
/// @param[in] mask  of a part of the footprint.
/// @param[in] offset  of that part in the footprint.
/// @return `CV_8UC1`, one value per cell, non-zero where marked.
cv::Mat wantedCells(const cv::Mat& mask, cv::Point offset, cv::Size footprint, int reach);

/// The part of an image that is held to be warped to an area, if the image is continued.
///
/// @param[in] projector  of the image at composition scale.
/// @param[in] area  on the plane.
/// @return relative to the image; reaches over its rim where pixels beyond are read. All of it
///   where the part cannot be told.
cv::Rect partRead(const cv::detail::PlaneProjector& projector,
                  const cv::Rect& area,
                  cv::Size image);

/// Whether images are continued beyond their rims by what is held of them.
bool isContinued(const Sampling& sampling);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_WARPED_IMAGE_H
