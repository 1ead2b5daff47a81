// SPDX-License-Identifier: MIT
/// @file
/// Distortion correction: a wide-angle 8-bit image is re-projected and cropped to its content.
///
/// Projection model, in single precision where not said otherwise. A point (x, y) of the
/// stereographic plane (x to the right, y downward, unit = radius of the sphere) is lifted onto the
/// unit sphere (inverse stereographic projection: J. Snyder, "Map projections - a working manual",
/// USGS 1395, 1987), rotated by R = Rz(roll) Rx(pitch) Ry(yaw) unless all three angles are exactly
/// 0, and pushed through a radial lens model into the source image:
///
///     t = 1 / (x^2 + y^2 + 1)       X = 2 x t     Y = 2 y t     Z = (1 - x^2 - y^2) t
///     f = (linearCoeff + cubicCoeff (X^2 + Y^2)) / sin(halfFieldAngle)         (double)
///     column = (X f + 1) columns / 2              row = (Y f + 1) rows / 2
///
/// @code
/// ORV::Common::Algorithms::DistortCorrect::SterProject correct;
/// double yaw = 0, pitch = 0, left, top, right, bottom;
/// int status = correct(1.5707963, 0.0, 1.0, yaw, pitch, 0.0, left, top, right, bottom, image);
/// @endcode
///
/// Rules common to all operations:
/// - Images are non-empty `CV_8UC1` or `CV_8UC3`; a region of a larger matrix gives the result of
///   its clone, and nothing outside the region is written.
/// - Status 0 is success. On any other status the arguments keep their entry values, except where
///   an operation says so. OpenCV's exceptions and `std::bad_alloc` pass through.
/// - Operations keep no state; concurrent calls on different images are independent.
/// - Floating-point contraction is off: the same input gives the same bytes on every machine with
///   the same OpenCV, for any number of threads.
#ifndef ORV_MONTAGE_DISTORT_CORRECT_H
#define ORV_MONTAGE_DISTORT_CORRECT_H

#include "Export.h"

#include <opencv2/core.hpp>

#include <vector>

namespace ORV {
namespace Common {
namespace Algorithms {
namespace DistortCorrect {

/// Re-projects wide-angle images; see the file comment for the model.
///
/// Parameters that several operations share:
/// - `halfFieldAngle`, radians: polar angle of the ray that meets the source border on its axes
///   when linearCoeff = 1 and cubicCoeff = 0.
/// - `cubicCoeff`, `linearCoeff`: the lens model's coefficient of the squared radius and constant.
/// - `yaw`, `pitch`, `roll`, radians: rotation about the vertical, horizontal and optical axis.
///   `yaw` and `pitch` are overwritten on success with the position of the projection centre in the
///   result, from -1 (left, top border) to +1 (right, bottom border).
/// - `boundLeft`, `boundTop`, `boundRight`, `boundBottom`: crop edges in plane coordinates.
class MONTAGE_API SterProject {
 public:
  SterProject();
  SterProject(const SterProject&) = default;
  SterProject& operator=(const SterProject& other);
  ~SterProject();  // NOLINT(performance-trivially-destructible): exported by interface

  /// Square correction: 9200 x 9200 samples of the plane from -1 to +1 on both axes, bicubic,
  /// cropped to the non-black content. A grey image is smoothed (3 x 3, sigma 1) before sampling.
  ///
  /// @param[out] boundLeft,boundTop,boundRight,boundBottom  with the vertical axis pointing up.
  /// @param[in,out] image  replaced by the cropped result in new memory.
  /// @return 0; 1 if the content is not one unbroken band of columns and of rows.
  int operator()(double halfFieldAngle,
                 double cubicCoeff,
                 double linearCoeff,
                 double& yaw,
                 double& pitch,
                 double roll,
                 double& boundLeft,
                 double& boundTop,
                 double& boundRight,
                 double& boundBottom,
                 cv::Mat& image);

  /// Correction over an angular range around the viewing direction.
  ///
  /// @param[in] marginDeg  degrees added on both sides of the range.
  /// @param[in] minAngleDeg,maxAngleDeg  range on both axes, degrees.
  /// @param[in] pixelsPerUnit  output pixels per unit of plane coordinate.
  /// @param[out] boundLeft,boundTop,boundRight,boundBottom  boundTop comes from the bottom crop
  ///   edge and boundBottom from the top one, both negated.
  /// @param[in,out] image  smoothed in place (3 x 3, sigma 1) before it is sampled, also when the
  ///   status is 1; replaced by the cropped result on success.
  /// @return 0; 1 if the content touches the first or last column or row, is missing, or is broken.
  int operator()(double halfFieldAngle,
                 double cubicCoeff,
                 double linearCoeff,
                 double& yaw,
                 double& pitch,
                 double roll,
                 int marginDeg,
                 double minAngleDeg,
                 double maxAngleDeg,
                 double pixelsPerUnit,
                 double& boundLeft,
                 double& boundTop,
                 double& boundRight,
                 double& boundBottom,
                 cv::Mat& image);

  /// Map export: fills the source columns and rows of the square grid of outputSize samples from
  /// -planeHalfExtent to +planeHalfExtent.
  ///
  /// @param[in] yaw,pitch  read, never written.
  /// @param[in] channels  accepted, not used.
  /// @param[in] sourceWidth,sourceHeight  source size, pixels.
  /// @param[out] mapCols,mapRows  outputSize row pointers into one block each; element [r][c] is
  ///   the source column (row) of output row r, column c.
  /// @return 0.
  int operator()(double halfFieldAngle,
                 double cubicCoeff,
                 double linearCoeff,
                 double& yaw,
                 double& pitch,
                 double roll,
                 int outputSize,
                 double planeHalfExtent,
                 int channels,
                 int sourceWidth,
                 int sourceHeight,
                 float** mapCols,
                 float** mapRows);

  /// Correction framed by the field of view: the plane rectangle is the bounding box of the outline
  /// of a cone around the lens axis, traced in steps of one degree.
  ///
  /// @param[in] marginPercent  enlargement of the cone, percent.
  /// @param[in] coneAngleDeg  polar angle of the cone from the lens axis (90: a half-sphere),
  ///   degrees.
  /// @param[in] pixelsPerUnit  output pixels per unit of plane coordinate.
  /// @return 0; 1 if the outline leaves the unit square (nothing written, image untouched) or the
  ///   content does not lie wholly and contiguously inside (as for the angular range).
  int operator()(double halfFieldAngle,
                 double cubicCoeff,
                 double linearCoeff,
                 double& yaw,
                 double& pitch,
                 double roll,
                 int marginPercent,
                 double coneAngleDeg,
                 double pixelsPerUnit,
                 double& boundLeft,
                 double& boundTop,
                 double& boundRight,
                 double& boundBottom,
                 cv::Mat& image);

  /// Pinhole correction: rotate and scale about the principal point, remove radial and tangential
  /// distortion (D. Brown, "Close-range camera calibration", Photogrammetric Engineering 37(8),
  /// 1971), crop to the pixels brighter than 10.
  ///
  /// @param[in] params  11 values: k1, k2, k3, p1, p2, centreX, centreY, scale, focalX, focalY
  ///   (pixels), angleDeg (counter-clockwise).
  /// @param[in,out] image  replaced by the result.
  /// @return 0; 1, with the image unchanged, if the list does not hold 11 values, a focal length or
  ///   the scale is 0, or no pixel is brighter than 10.
  int operator()(std::vector<double> params, cv::Mat& image);

  /// Angular view correction with automatic scaling, in place.
  ///
  /// @param[in] extraParams  accepted, not read.
  /// @param[in] viewAnglesDeg  at least 2 values: horizontal and vertical view angle, degrees.
  /// @param[in] fieldOfViewDeg  at least 2 values: horizontal and vertical field of view, degrees.
  /// @param[in] angleScale  factor on both view angles.
  /// @param[in] radialCoeff  k of the radial correction 1 + k s, s the squared distance in radians.
  /// @param[in,out] image  its pixels are overwritten; size, type and buffer stay.
  /// @return 0. An image without pixels throws the string "Invalid matrix dimensions".
  int operator()(std::vector<double> extraParams,
                 std::vector<double> viewAnglesDeg,
                 std::vector<double> fieldOfViewDeg,
                 double angleScale,
                 double radialCoeff,
                 cv::Mat& image);

  /// Sibling of the square correction with another lift (X = x t, Y = y t, Z = t), without
  /// smoothing and plane bounds; a broken band is cropped to its first part.
  ///
  /// @param[in,out] image  replaced by the cropped result.
  /// @return 0.
  int RectProject(double halfFieldAngle,
                  double cubicCoeff,
                  double linearCoeff,
                  double& yaw,
                  double& pitch,
                  double roll,
                  int outputSize,
                  double planeHalfExtent,
                  cv::Mat& image);

  /// Smooths a packed source in place (3 x 3, sigma 1) and samples it bicubically through maps.
  ///
  /// @param[in,out] source  sourceHeight rows of sourceWidth * channels bytes; smoothed afterwards.
  /// @param[in] mapCols,mapRows  as filled by the map export.
  /// @param[out] output  outputSize * outputSize * channels bytes; pixels whose position
  ///   lies outside the centres of the source's border pixels keep their value.
  /// @return 0. `std::bad_alloc` leaves source and output as they were.
  int Interpolate(unsigned char* source,
                  float** mapCols,
                  float** mapRows,
                  int channels,
                  int sourceWidth,
                  int sourceHeight,
                  int outputSize,
                  unsigned char* output);

  /// Finds the crop rectangle of the non-black content of a packed square image.
  ///
  /// @param[out] left,top  first column and row above 0 with content, 0 if there is none: content
  /// in
  ///   columns 0 to 9 gives left = 1.
  /// @param[out] right,bottom  first empty column and row after it; size - 1 if there is none.
  /// @return 0; 1 if content follows the right or bottom bound (the bounds then hold what was
  /// found).
  int DetermineBoundaries(
      unsigned char* image, int channels, int size, int& left, int& top, int& right, int& bottom);

  /// Copies the rectangle (left, top, cropWidth, cropHeight) of a packed image to a packed buffer.
  /// @return 0.
  int Crop(unsigned char* source,
           int channels,
           int sourceWidth,
           int top,
           int left,
           int cropWidth,
           int cropHeight,
           unsigned char* output);

 private:
  /// @name One `Process` per entry point
  /// @{
  int Process(double halfFieldAngle,
              double cubicCoeff,
              double linearCoeff,
              double& yaw,
              double& pitch,
              double roll,
              int outputSize,
              double planeHalfExtent,
              double& boundLeft,
              double& boundTop,
              double& boundRight,
              double& boundBottom,
              cv::Mat& image);

  int Process(double halfFieldAngle,
              double cubicCoeff,
              double linearCoeff,
              double& yaw,
              double& pitch,
              double roll,
              int outputWidth,
              int outputHeight,
              double planeLeft,
              double planeRight,
              double planeTop,
              double planeBottom,
              double& boundLeft,
              double& boundTop,
              double& boundRight,
              double& boundBottom,
              cv::Mat& image);

  int Process(double halfFieldAngle,
              double cubicCoeff,
              double linearCoeff,
              double& yaw,
              double& pitch,
              double roll,
              int outputSize,
              double planeHalfExtent,
              int channels,
              int sourceWidth,
              int sourceHeight,
              float** mapCols,
              float** mapRows);

  int Process(double k1,
              double k2,
              double k3,
              double p1,
              double p2,
              double centreX,
              double centreY,
              double scale,
              double focalX,
              double focalY,
              double angleDeg,
              cv::Mat& image);

  int Process(std::vector<double> extraParams,
              std::vector<double> viewAnglesDeg,
              std::vector<double> fieldOfViewDeg,
              double angleScale,
              double radialCoeff,
              cv::Mat& image);
  /// @}

  /// n values from first by repeated single-precision addition of (last - first) / (n - 1).
  void LinSpace(float first, float last, int n, float* out);

  /// c (m x n) += a (m x k) * b (k x n), row-major; rows of c in parallel.
  void MatMult(float* a, float* b, float* c, int m, int n, int k);

  /// Separable Gaussian with replicated borders on packed 8-bit rows, in place; rounded to 8 bits
  /// after the horizontal and after the vertical pass.
  ///
  /// @param[in] sigma,kernelSize  2 values each: vertical, horizontal.
  /// @return 0; -1 if working memory cannot be had or a filter fails.
  int GaussianSmooth(unsigned char* data,
                     int rows,
                     int cols,
                     int channels,
                     const float* sigma,
                     const int* kernelSize);
};

}  // namespace DistortCorrect
}  // namespace Algorithms
}  // namespace Common
}  // namespace ORV

#endif  // ORV_MONTAGE_DISTORT_CORRECT_H
