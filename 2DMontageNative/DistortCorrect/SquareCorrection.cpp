// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/ContentBounds.h"
#include "DistortCorrect/CorrectionStatus.h"
#include "DistortCorrect/PlaneRendering.h"
#include "DistortCorrect/SamplingGrid.h"
#include "Platform/CubicSampler.h"

#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

constexpr int kOutputSize = 9200;
constexpr double kPlaneHalfExtent = 1.0;

/// What the square correction samples: a smoothed copy of a grey image, a colour image itself.
cv::Mat squareSource(const cv::Mat& image) {
  if (image.type() != CV_8UC1) {
    return image;
  }
  constexpr double kSigma = 1.0;
  cv::Mat smoothed;
  // Isolated: pixels around a region of a larger matrix do not count.
  cv::GaussianBlur(
      image, smoothed, cv::Size(3, 3), kSigma, kSigma, cv::BORDER_DEFAULT | cv::BORDER_ISOLATED);
  return smoothed;
}

}  // namespace

int SterProject::operator()(double halfFieldAngle,
                            double cubicCoeff,
                            double linearCoeff,
                            double& yaw,
                            double& pitch,
                            double roll,
                            double& boundLeft,
                            double& boundTop,
                            double& boundRight,
                            double& boundBottom,
                            cv::Mat& image) {
  return Process(halfFieldAngle,
                 cubicCoeff,
                 linearCoeff,
                 yaw,
                 pitch,
                 roll,
                 kOutputSize,
                 kPlaneHalfExtent,
                 boundLeft,
                 boundTop,
                 boundRight,
                 boundBottom,
                 image);
}

int SterProject::Process(double halfFieldAngle,
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
                         cv::Mat& image) {
  requireRemappable(image);
  requirePlaneSize(outputSize, outputSize);
  const PlaneProjection projection(Lift::kStereographic,
                                   LensModel(halfFieldAngle, cubicCoeff, linearCoeff),
                                   Orientation{yaw, pitch, roll},
                                   PixelAxis::ofHalfSize(image.cols),
                                   PixelAxis::ofHalfSize(image.rows));
  const std::vector<float> axis = samplingGrid(-planeHalfExtent, planeHalfExtent, outputSize);
  const cv::Mat source = squareSource(image);
  const Platform::CubicSampler sampler(source);
  const PlanePicture picture(projection,
                             {axis, axis},
                             source,
                             [&](const cv::Mat& mapCols, const cv::Mat& mapRows, cv::Mat& tile) {
                               sampler.sample(mapCols, mapRows, tile);
                             });

  const LenientBounds content = scanLenient(picture.contentProfile(), AtBreak::kStop);
  if (!content.unbroken) {
    return kRefused;
  }
  const ContentBounds& bounds = content.bounds;
  image = picture.render(bounds.rect());
  yaw = centrePosition(outputSize, bounds.left, image.cols);
  pitch = centrePosition(outputSize, bounds.top, image.rows);
  const double planePerPixel = 2.0 * planeHalfExtent / outputSize;
  boundLeft = planePerPixel * bounds.left - planeHalfExtent;
  boundTop = planeHalfExtent - planePerPixel * bounds.top;
  boundRight = planePerPixel * bounds.right - planeHalfExtent;
  boundBottom = planeHalfExtent - planePerPixel * bounds.bottom;
  return kCorrected;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
