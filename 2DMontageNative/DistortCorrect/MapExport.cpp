// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/ContentBounds.h"
#include "DistortCorrect/CorrectionStatus.h"
#include "DistortCorrect/PlaneProjection.h"
#include "DistortCorrect/RemapInside.h"
#include "DistortCorrect/SamplingGrid.h"
#include "DistortCorrect/Smoothing.h"
#include "Platform/ParallelLoop.h"

#include <algorithm>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// Header over packed pixels of the caller.
cv::Mat packedImage(unsigned char* pixels, int rows, int cols, int channels) {
  return {rows, cols, channels == 1 ? CV_8UC1 : CV_8UC3, pixels};
}

}  // namespace

int SterProject::operator()(double halfFieldAngle,
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
                            float** mapRows) {
  return Process(halfFieldAngle,
                 cubicCoeff,
                 linearCoeff,
                 yaw,
                 pitch,
                 roll,
                 outputSize,
                 planeHalfExtent,
                 channels,
                 sourceWidth,
                 sourceHeight,
                 mapCols,
                 mapRows);
}

int SterProject::Process(double halfFieldAngle,
                         double cubicCoeff,
                         double linearCoeff,
                         double& yaw,
                         double& pitch,
                         double roll,
                         int outputSize,
                         double planeHalfExtent,
                         int /*channels*/,
                         int sourceWidth,
                         int sourceHeight,
                         float** mapCols,
                         float** mapRows) {
  const PlaneProjection projection(Lift::kStereographic,
                                   LensModel(halfFieldAngle, cubicCoeff, linearCoeff),
                                   Orientation{yaw, pitch, roll},
                                   PixelAxis::ofSize(sourceWidth),
                                   PixelAxis::ofSize(sourceHeight));
  const int size = std::max(outputSize, 0);
  const std::vector<float> axis = samplingGrid(-planeHalfExtent, planeHalfExtent, size);
  Platform::parallelFor(0, size, [&](int row) {
    const float y = axis[static_cast<std::size_t>(row)];
    Extent extent;
    projection.sourceFromPlaneRow(axis.data(), size, y, mapCols[row], mapRows[row], extent);
  });
  return kCorrected;
}

int SterProject::Interpolate(unsigned char* source,
                             float** mapCols,
                             float** mapRows,
                             int channels,
                             int sourceWidth,
                             int sourceHeight,
                             int outputSize,
                             unsigned char* output) {
  smoothSource({source,
                static_cast<std::ptrdiff_t>(sourceWidth) * channels,
                sourceHeight,
                sourceWidth,
                channels});
  cv::Mat target = packedImage(output, outputSize, outputSize, channels);
  remapInside(packedImage(source, sourceHeight, sourceWidth, channels),
              cv::Mat(outputSize, outputSize, CV_32FC1, mapCols[0]),
              cv::Mat(outputSize, outputSize, CV_32FC1, mapRows[0]),
              target);
  return kCorrected;
}

int SterProject::DetermineBoundaries(
    unsigned char* image, int channels, int size, int& left, int& top, int& right, int& bottom) {
  const ContentProfile profile = profileOf(packedImage(image, size, size, channels));
  const LenientBounds content = scanLenient(profile, AtBreak::kStop);
  left = content.bounds.left;
  top = content.bounds.top;
  right = content.bounds.right;
  bottom = content.bounds.bottom;
  return content.unbroken ? kCorrected : kRefused;
}

int SterProject::Crop(unsigned char* source,
                      int channels,
                      int sourceWidth,
                      int top,
                      int left,
                      int cropWidth,
                      int cropHeight,
                      unsigned char* output) {
  const std::ptrdiff_t sourceStep = static_cast<std::ptrdiff_t>(sourceWidth) * channels;
  const unsigned char* const first =
      source + top * sourceStep + static_cast<std::ptrdiff_t>(left) * channels;
  const auto copy = channels == 3 ? Platform::ippiCopy_8u_C3R : Platform::ippiCopy_8u_C1R;
  // Only sizes and pointers could be refused, which the interface trusts: it has no status for
  // them.
  static_cast<void>(copy(
      first, static_cast<int>(sourceStep), output, cropWidth * channels, {cropWidth, cropHeight}));
  return kCorrected;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
