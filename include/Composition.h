// SPDX-License-Identifier: MIT
/// @file
/// The composition stages: warping onto the montage plane, exposure gains, seams, blending.
///
/// All four are small values over OpenCV objects held by reference-counted pointers: copies share
/// the objects. None of them may be used by two threads at once.
///
/// @code
/// Warp warp(cameras, seamWorkAspect);
/// Compensate compensate(cv::detail::ExposureCompensator::GAIN_BLOCKS);
/// Seam(warp, compensate)(images, masks, corners, cameras, seamScale, seamWorkAspect, "gc_color",
///                        false, footprintCentres);
/// scaler.blendScale(cameras, warp, corners);
/// Blend(warp, compensate)(images, masks, corners, cameras, scaler.sizes, composeScale, false,
///                         "gc_color", cv::detail::Blender::MULTI_BAND, montage);
/// @endcode
///
/// Integer coordinates lie at pixel centres. Images are `CV_8UC1` or `CV_8UC3` (blue-green-red).
/// A warped image with a side of 32767 pixels or more, or further than 2^24 pixels from the plane's
/// origin, raises a `cv::Exception` before memory is taken. A montage has no such limit.
#ifndef ORV_MONTAGE_COMPOSITION_H
#define ORV_MONTAGE_COMPOSITION_H

#include "Export.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/blenders.hpp>
#include <opencv2/stitching/detail/camera.hpp>
#include <opencv2/stitching/detail/exposure_compensate.hpp>
#include <opencv2/stitching/detail/seam_finders.hpp>
#include <opencv2/stitching/warpers.hpp>

#include <string>
#include <vector>

namespace ORV {
namespace Common {
namespace Algorithms {
namespace Montage {
namespace Composition {

/// The plane projection that carries every registered image onto the montage plane.
struct MONTAGE_API Warp {
  /// Median focal length of the cameras, pixels of the registration resolution.
  float warpedImageScale;
  /// The plane warper in use; its scale is warpedImageScale times the last factor given.
  cv::Ptr<cv::detail::RotationWarper> warper;
  /// The factory that makes `warper`.
  cv::Ptr<cv::WarperCreator> warperCreator;

  /// Takes the median of the cameras' focal lengths (at least one camera; not changed) and makes a
  /// warper of scale median * aspect. A CUDA device is used where OpenCV offers a warper for it.
  Warp(std::vector<cv::detail::CameraParams>& cameras, double aspect);
  /// Shares the other's objects.
  Warp(Warp& other);  // NOLINT(google-explicit-constructor): a copy constructor by interface
  /// Shares the other's objects.
  Warp& operator=(const Warp& other);
  ~Warp();

  /// Replaces `warper` by one of scale warpedImageScale * factor; not cumulative, and copies made
  /// earlier keep theirs.
  void scale(double factor);

  /// Bounding rectangle on the montage plane of an image of srcSize seen by camera K, R (both 3 x 3
  /// `CV_32F`), from its four corners.
  cv::Rect roi(cv::Size& srcSize, cv::Mat& K, cv::Mat& R);

  /// Warps src to dst with OpenCV's interpolation and border modes.
  /// @return the montage-plane position of dst's top-left pixel.
  cv::Point transform(
      cv::Mat& src, cv::Mat& K, cv::Mat& R, int interpMode, int borderMode, cv::Mat& dst);
  /// @copydoc transform
  cv::Point transform(
      cv::Mat& src, cv::Mat_<float>& K, cv::Mat& R, int interpMode, int borderMode, cv::Mat& dst);
};

/// Exposure gains, estimated from the overlaps and applied to the images; copies share the gains.
///
/// Gain compensation of Brown and Lowe 2007, per block of 32 x 32 pixels for type 2.
struct MONTAGE_API Compensate {
  cv::Ptr<cv::detail::ExposureCompensator> compensator;

  /// @param[in] compensatorType  `cv::detail::ExposureCompensator`: 0 none, 1 one gain per image,
  ///   2 gains per block.
  Compensate(int compensatorType);  // NOLINT(google-explicit-constructor): by interface
  Compensate(const Compensate& other);
  Compensate& operator=(const Compensate& other);
  ~Compensate();

  /// Estimates the gains from warped `CV_8UC3` images, their corners and `CV_8UC1` masks (255
  /// valid).
  void feed(std::vector<cv::Mat>& images,
            std::vector<cv::Point>& corners,
            std::vector<cv::Mat>& masks);

  /// Applies the gains of image `index` in place (`CV_8UC3` for block gains, after `feed`).
  void apply(cv::Mat& image, int index, cv::Point& corner, cv::Mat& mask);
};

/// Cuts the overlaps along seams at the seam resolution and feeds the exposure compensator.
///
/// Graph cuts: V. Kwatra et al., "Graphcut textures", SIGGRAPH 2003.
class MONTAGE_API Seam {
 public:
  Warp warp;
  cv::Ptr<cv::detail::ExposureCompensator> compensator;
  /// The finder chosen by the last call; empty before.
  cv::Ptr<cv::detail::SeamFinder> seamFinder;

  Seam(Warp& warp, Compensate& compensate);
  Seam(Seam& other);  // NOLINT(google-explicit-constructor): a copy constructor by interface
  Seam& operator=(const Seam& other);
  ~Seam();

  /// @param[in] images  n full-resolution images.
  /// @param[out] masks  at least n elements; `CV_8UC1` at seam scale, non-zero where the image
  ///   supplies the pixel, widened for blending. Untouched for "no".
  /// @param[out] corners  at least n elements; top-left of each warped image at seam scale.
  /// @param[in] cameras  n cameras at registration scale.
  /// @param[in] seamScale  seam resolution / full resolution.
  /// @param[in] seamWorkAspect  seam resolution / registration resolution.
  /// @param[in] seamType  "no" (geometry only: no masks, no gains), "dp_color", "dp_colorgrad",
  ///   "gc_color", "gc_colorgrad" or "voronoi"; case-sensitive.
  /// @param[in] wideSeamDilation  widen the masks by 7 pixels instead of 1.
  /// @param[out] footprintCentres  n points: centre of each warped footprint in full-resolution
  ///   pixels, relative to the top-left corner of all footprints.
  /// @return 0; 1 for any other keyword, with one line on standard output and no output touched.
  int operator()(std::vector<cv::Mat>& images,
                 std::vector<cv::Mat>& masks,
                 std::vector<cv::Point>& corners,
                 std::vector<cv::detail::CameraParams>& cameras,
                 double seamScale,
                 double seamWorkAspect,
                 std::string seamType,
                 bool wideSeamDilation,
                 std::vector<cv::Point>& footprintCentres);

 private:
  int Process(std::vector<cv::Mat>& images,
              std::vector<cv::Mat>& masks,
              std::vector<cv::Point>& corners,
              std::vector<cv::detail::CameraParams>& cameras,
              double seamScale,
              double seamWorkAspect,
              bool wideSeamDilation,
              std::vector<cv::Point>& footprintCentres);

  int Process(std::vector<cv::Mat>& images,
              std::vector<cv::Point>& corners,
              std::vector<cv::detail::CameraParams>& cameras,
              double seamScale,
              double seamWorkAspect,
              std::vector<cv::Point>& footprintCentres);
};

/// Composes one montage: resample, warp, gains, blend.
class MONTAGE_API Blend {
 public:
  Warp warp;
  cv::Ptr<cv::detail::ExposureCompensator> compensator;
  /// The blender made by the last call; empty before.
  cv::Ptr<cv::detail::Blender> blender;

  Blend(Warp& warp, Compensate& compensate);
  Blend(Blend& other);  // NOLINT(google-explicit-constructor): a copy constructor by interface
  Blend& operator=(const Blend& other);
  ~Blend();

  /// @param[in] images  n full-resolution images of one slab, in the order of the cameras.
  /// @param[in] masks  seam masks from `Seam`; not read for seamType "no".
  /// @param[in] corners, sizes  footprints at composition scale, from `Scaler::blendScale`.
  /// @param[in] cameras  cameras at composition scale.
  /// @param[in] composeScale  composition / full resolution; within 0.1 of 1 nothing is resampled.
  /// @param[in] tryGpu  handed to OpenCV's blender factory.
  /// @param[in] seamType  "no": footprint masks and no gains; anything else: seam masks and gains.
  /// @param[in] blendType  0 none, 1 feather (sharpness 0.1), 2 multi-band (3 bands).
  /// @param[out] result  the montage, 8-bit, one channel if the first image has one, else three; 0
  ///   outside the images. New memory.
  /// @return 0; 1 for any other blendType, with one line on standard output and result untouched.
  int operator()(std::vector<cv::Mat>& images,
                 std::vector<cv::Mat>& masks,
                 std::vector<cv::Point>& corners,
                 std::vector<cv::detail::CameraParams>& cameras,
                 std::vector<cv::Size>& sizes,
                 double composeScale,
                 bool tryGpu,
                 std::string seamType,
                 int blendType,
                 cv::Mat& result);

 private:
  int Process(std::vector<cv::Mat>& images,
              std::vector<cv::Mat>& masks,
              std::vector<cv::Point>& corners,
              std::vector<cv::detail::CameraParams>& cameras,
              std::vector<cv::Size>& sizes,
              double composeScale,
              bool tryGpu,
              cv::Mat& result);

  int Process(std::vector<cv::Mat>& images,
              std::vector<cv::Point>& corners,
              std::vector<cv::detail::CameraParams>& cameras,
              std::vector<cv::Size>& sizes,
              double composeScale,
              bool tryGpu,
              int blendType,
              cv::Mat& result);
};

}  // namespace Composition
}  // namespace Montage
}  // namespace Algorithms
}  // namespace Common
}  // namespace ORV

#endif  // ORV_MONTAGE_COMPOSITION_H
