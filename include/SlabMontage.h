// SPDX-License-Identifier: MIT
/// @file
/// The montage: overlapping 8-bit images of one scene, in slabs that lie in register, become one
/// blended image per slab.
///
/// A *slab* is one image of every view (for example one colour channel or one focal plane); the
/// views are called *constituents*. Slab 0 is registered: corners, SIFT, pairwise matching, largest
/// connected set, bundle adjustment. Every slab is then composed with the geometry found for slab
/// 0, so the montages of one call lie in register with one another.
///
/// The pixel convention is OpenCV's: integer coordinates lie at pixel centres, x to the right, y
/// downward.
///
/// @code
/// std::vector<cv::Mat> views = ...;               // n views, CV_8UC3, continuous
/// std::vector<unsigned char*> buffers;            // one pointer per view
/// std::vector<int> widths, heights, channels;     // one entry per view
/// double megapixels[3] = {0.6, 0.1, -1.0};        // registration, seams, composition (-1: full)
/// bool options[3] = {true, true, false};          // graph-cut seams, blend, try the GPU
/// std::vector<int> included(n), positions(2 * n);
/// std::vector<cv::Mat> montages(1);               // one element per slab
/// ORV::Common::Algorithms::Montage::SlabMontage montage;
/// int status = montage(buffers, widths.data(), heights.data(), channels.data(), n, n, 1,
///                      megapixels, options, included.data(), positions.data(), montages);
/// @endcode
///
/// Rules common to all operations of the library:
/// - Status: 0 success; 1 the input is rejected; 2 a focal length is not finite.
/// - Array lengths, buffer sizes and list lengths are preconditions and are not checked.
/// - Exceptions of OpenCV and `std::bad_alloc` pass through; everything is released on the way.
/// - Operations keep no state; separate calls may run concurrently on different data.
/// - Same input, same bytes: whatever ran before, and for any number of threads.
#ifndef ORV_MONTAGE_SLAB_MONTAGE_H
#define ORV_MONTAGE_SLAB_MONTAGE_H

#include "Export.h"
#include "Scaler.h"

#include <opencv2/core.hpp>
#include <opencv2/stitching/detail/camera.hpp>
#include <opencv2/stitching/detail/matchers.hpp>

#include <string>
#include <vector>

namespace ORV {
namespace Common {
namespace Algorithms {
namespace Montage {

/// Builds montages from overlapping images; see the file comment for the idea and an example.
///
/// The class has no data members; one object may serve any number of calls, also concurrent ones.
class MONTAGE_API SlabMontage {
 public:
  SlabMontage();
  SlabMontage(const SlabMontage&) = default;
  SlabMontage& operator=(const SlabMontage& other);
  ~SlabMontage();

  /// Montage with the basic pipeline: images in the caller's order, cameras straightened by
  /// horizontal wave correction, multi-band blending, brightness left as it is.
  ///
  /// Panorama model, match confidence and gain compensation after M. Brown and D. Lowe, "Automatic
  /// panoramic image stitching using invariant features", IJCV 74(1), 2007; multi-band blending
  /// after P. Burt and E. Adelson, "A multiresolution spline", ACM TOG 2(4), 1983.
  ///
  /// @param[in] buffers  one pointer per image, buffer k * constituentCount + i being constituent i
  ///   of slab k; 8-bit samples, rows packed with a stride of channels * width bytes, colours
  ///   blue-green-red. Borrowed for the call, never written, never freed.
  /// @param[in] widths, heights  size of every buffer in pixels; images that differ from buffer 0
  ///   are resampled bilinearly to its size.
  /// @param[in] channels  bytes per pixel; 3 is colour, every other value makes a one-channel image
  ///   of the first `width` bytes of each row.
  /// @param[in] bufferCount  number of buffers, at least constituentCount * slabCount.
  /// @param[in] constituentCount  images per slab.
  /// @param[in] slabCount  number of slabs, and of montages.
  /// @param[in] megapixels  3 values: resolution of registration, of seam finding and of
  ///   composition, in megapixels; negative means full resolution.
  /// @param[in] options  3 values: graph-cut colour seams with block exposure gains (else neither);
  ///   blend the overlaps (else the later image wins); let OpenCV try the GPU.
  /// @param[out] constituentIncluded  constituentCount values: 1 used, 0 dropped.
  /// @param[out] constituentPositions  2 * constituentCount values, x and y per constituent: the
  ///   top-left corner of its warped image on the montage plane at composition scale (the plane's
  ///   origin lies on the optical axis of the common frame, so values may be negative); 0, 0 for a
  ///   dropped one.
  /// @param[out] montages  at least slabCount elements; element k becomes the montage of slab k,
  ///   `CV_8UC1` if the slab's first image has one channel, else `CV_8UC3`. New memory; not
  ///   resized.
  /// @return 0; 1 if fewer than two images connect; 2 if a focal length is not finite. On a status
  ///   other than 0 no output is written.
  /// @note Writes one warning line to standard output when an image is left out.
  int operator()(std::vector<unsigned char*> buffers,
                 int* const widths,
                 int* const heights,
                 int* const channels,
                 int bufferCount,
                 int constituentCount,
                 int slabCount,
                 double* const megapixels,
                 bool* const options,
                 int* const constituentIncluded,
                 int* const constituentPositions,
                 std::vector<cv::Mat>& montages);

  /// Montage with the diagnostic pipeline: images in reverse order, feather blending, every
  /// montage's brightness normalised (98th percentile to about 179), quality of the registration.
  ///
  /// Parameters as in the basic overload, except:
  /// @param[out] constituentPositions  x and y of the centre of each constituent's warped footprint
  ///   in full-resolution pixels, relative to the top-left corner of all footprints.
  /// @param[out] projectionErrorRms  root mean square length of the ray differences of all inlier
  ///   matches, scaled to pixels of the registration resolution.
  /// @param[out] focalMean, focalRange  mean of the focal lengths over the confident pairs, and
  ///   largest minus smallest, in pixels of the registration resolution.
  /// @param[out] rotationMax  largest norm of a used camera's Euler angles, radians.
  /// @param[in] trailingFlag  accepted, has no effect.
  /// @return as the basic overload. The four figures are already written if seam finding fails.
  int operator()(std::vector<unsigned char*> buffers,
                 int* const widths,
                 int* const heights,
                 int* const channels,
                 int bufferCount,
                 int constituentCount,
                 int slabCount,
                 double* const megapixels,
                 bool* const options,
                 int* const constituentIncluded,
                 int* const constituentPositions,
                 double* const projectionErrorRms,
                 double* const focalMean,
                 double* const focalRange,
                 double* const rotationMax,
                 std::vector<cv::Mat>& montages,
                 bool trailingFlag);

 private:
  /// @name Pipelines
  /// The two overloads differ only in what `operator()` says; they share one engine.
  /// @{
  int Process(std::vector<cv::Mat>& images,
              int constituentCount,
              int slabCount,
              bool tryGpu,
              bool useGraphCutSeams,
              bool blendEnabled,
              double workMegapixels,
              double seamMegapixels,
              double composeMegapixels,
              int* const constituentIncluded,
              int* const constituentPositions,
              std::vector<cv::Mat>& montages);

  int Process(std::vector<cv::Mat>& images,
              int constituentCount,
              int slabCount,
              bool tryGpu,
              bool useGraphCutSeams,
              bool blendEnabled,
              double workMegapixels,
              double seamMegapixels,
              double composeMegapixels,
              int* const constituentIncluded,
              int* const constituentPositions,
              double* const projectionErrorRms,
              double* const focalMean,
              double* const focalRange,
              double* const rotationMax,
              std::vector<cv::Mat>& montages,
              bool trailingFlag);
  /// @}

  /// Proposes a processing order: the connected images ranked by their number of inlier matches.
  ///
  /// @param[in] images  at least imageCount images; not modified.
  /// @param[out] order  one pair {slot, image} per connected image, slots ascending, images from
  ///   the one with the fewest inliers to the one with the most. How to apply it to a list that
  ///   also holds unconnected images is the caller's choice. Untouched when feature finding fails.
  /// @return the status of feature finding, else 0.
  int getOrder(std::vector<cv::Mat>& images,
               int imageCount,
               double workMegapixels,
               double seamMegapixels,
               double composeMegapixels,
               bool tryGpu,
               std::vector<std::vector<int>>& order);

  /// Turns one point per kept image into flags and positions per constituent; always 0.
  ///
  /// @param[in] points  one point per kept image, in the order of componentIndices.
  /// @param[in] componentIndices  the kept images' indices.
  int CalculateConstituentPositions(std::vector<cv::Point> points,
                                    std::vector<int> componentIndices,
                                    int constituentCount,
                                    int* const constituentIncluded,
                                    int* const constituentPositions);

  /// The same with results mapped from processing order to the caller's numbering by
  /// `processingOrder`; `images` and `scale` are accepted and not read. Always 0.
  int CalculateOriginalSlabConstituentPositions(std::vector<cv::Mat> images,
                                                std::vector<cv::Point> points,
                                                std::vector<int> componentIndices,
                                                int constituentCount,
                                                int* const constituentIncluded,
                                                int* const constituentPositions,
                                                std::vector<int> processingOrder,
                                                double scale);

  /// @name Camera statistics
  /// Each fills a one-column `CV_64F` matrix (zero rows if no pair is used) over the pairs whose
  /// confidence is at least confThresh, in list order, and returns 0.
  /// @{

  /// Focal length of the source camera, one row per used pair.
  int calcFocals(std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                 float confThresh,
                 std::vector<cv::detail::CameraParams>& cameras,
                 cv::Mat& focals);

  /// Euler angles x, y, z (radians, R = Rz Ry Rx) of the source camera, three rows per used pair.
  /// A matrix that is not a rotation is listed with the angles of the same formulas.
  int calcRotations(std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                    float confThresh,
                    std::vector<cv::detail::CameraParams>& cameras,
                    cv::Mat& angles);

  /// Seven rows per inlier match: source image, destination image, x and y of the source keypoint,
  /// and the difference of the two back-projected unit rays times the geometric mean focal length.
  /// An inlier mask shorter than the match list counts its missing flags as 0.
  int calcProjError(std::vector<cv::detail::ImageFeatures>& features,
                    std::vector<cv::detail::MatchesInfo>& pairwiseMatches,
                    float confThresh,
                    std::vector<cv::detail::CameraParams>& cameras,
                    cv::Mat& residuals);
  /// @}

  /// Writes three JPEG drawings per matched pair (inlier matches, keypoints, all matches).
  ///
  /// @param[in] scaler  only its workScale is read.
  /// @param[in] images  images at input resolution, indexed like features.
  /// @param[in] path  prefix of every file name; a folder ends with its separator.
  /// @return 0, also when a file cannot be written.
  int plotMatches(std::vector<cv::detail::MatchesInfo> pairwiseMatches,
                  std::vector<cv::detail::ImageFeatures> features,
                  ORV::Common::Algorithms::Montage::Scaler scaler,
                  std::vector<cv::Mat> images,
                  std::string path);
};

}  // namespace Montage
}  // namespace Algorithms
}  // namespace Common
}  // namespace ORV

#endif  // ORV_MONTAGE_SLAB_MONTAGE_H
