// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/ContentBounds.h"
#include "DistortCorrect/CorrectionStatus.h"
#include "DistortCorrect/PlaneFrame.h"
#include "DistortCorrect/PlaneRendering.h"
#include "DistortCorrect/SamplingGrid.h"
#include "DistortCorrect/Smoothing.h"
#include "Platform/CubicSampler.h"

namespace ORV::Common::Algorithms::DistortCorrect {

int SterProject::operator()(double halfFieldAngle,
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
                            cv::Mat& image) {
  const PlaneFrame frame = frameOfRange(yaw, pitch, marginDeg, minAngleDeg, maxAngleDeg);
  return Process(halfFieldAngle,
                 cubicCoeff,
                 linearCoeff,
                 yaw,
                 pitch,
                 roll,
                 pixelCount(frame.right - frame.left, pixelsPerUnit),
                 // The frame's vertical axis points down, so the height is negative here.
                 pixelCount(frame.top - frame.bottom, pixelsPerUnit),
                 frame.left,
                 frame.right,
                 frame.top,
                 frame.bottom,
                 boundLeft,
                 boundTop,
                 boundRight,
                 boundBottom,
                 image);
}

int SterProject::operator()(double halfFieldAngle,
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
                            cv::Mat& image) {
  const PlaneFrame frame = frameOfCone(Orientation{yaw, pitch, roll}, marginPercent, coneAngleDeg);
  if (leavesUnitSquare(frame)) {
    return kRefused;
  }
  return Process(halfFieldAngle,
                 cubicCoeff,
                 linearCoeff,
                 yaw,
                 pitch,
                 roll,
                 pixelCount(frame.right - frame.left, pixelsPerUnit),
                 pixelCount(frame.bottom - frame.top, pixelsPerUnit),
                 frame.left,
                 frame.right,
                 frame.top,
                 frame.bottom,
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
                         cv::Mat& image) {
  requireRemappable(image);
  requirePlaneSize(outputHeight, outputWidth);
  const PlaneProjection projection(Lift::kStereographic,
                                   LensModel(halfFieldAngle, cubicCoeff, linearCoeff),
                                   Orientation{yaw, pitch, roll},
                                   PixelAxis::ofHalfSize(image.cols),
                                   PixelAxis::ofHalfSize(image.rows));
  smoothSource({image.data,
                static_cast<std::ptrdiff_t>(image.step),
                image.rows,
                image.cols,
                image.channels()});
  const Platform::CubicSampler sampler(image);
  const PlanePicture picture(projection,
                             {samplingGrid(planeLeft, planeRight, outputWidth),
                              samplingGrid(planeTop, planeBottom, outputHeight)},
                             image,
                             [&](const cv::Mat& mapCols, const cv::Mat& mapRows, cv::Mat& tile) {
                               sampler.sample(mapCols, mapRows, tile);
                             });

  const std::optional<ContentBounds> bounds = scanStrict(picture.contentProfile());
  if (!bounds) {
    return kRefused;
  }
  image = picture.render(bounds->rect());
  yaw = centrePosition(outputWidth, bounds->left, image.cols);
  pitch = centrePosition(outputHeight, bounds->top, image.rows);
  const double dx = (planeRight - planeLeft) / outputWidth;
  const double dy = (planeBottom - planeTop) / outputHeight;
  boundLeft = planeLeft + dx * bounds->left;
  boundTop = -(planeTop + dy * bounds->bottom);
  boundRight = planeLeft + dx * bounds->right;
  boundBottom = -(planeTop + dy * bounds->top);
  return kCorrected;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
