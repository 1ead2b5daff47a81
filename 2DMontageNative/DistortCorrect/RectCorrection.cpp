// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/ContentBounds.h"
#include "DistortCorrect/CorrectionStatus.h"
#include "DistortCorrect/PlaneRendering.h"
#include "DistortCorrect/RemapInside.h"
#include "DistortCorrect/SamplingGrid.h"

namespace ORV::Common::Algorithms::DistortCorrect {

int SterProject::RectProject(double halfFieldAngle,
                             double cubicCoeff,
                             double linearCoeff,
                             double& yaw,
                             double& pitch,
                             double roll,
                             int outputSize,
                             double planeHalfExtent,
                             cv::Mat& image) {
  requireImage(image);
  requirePlaneSize(outputSize, outputSize);
  const PlaneProjection projection(Lift::kRect,
                                   LensModel(halfFieldAngle, cubicCoeff, linearCoeff),
                                   Orientation{yaw, pitch, roll},
                                   PixelAxis::ofSize(image.cols),
                                   PixelAxis::ofSize(image.rows));
  const std::vector<float> axis = samplingGrid(-planeHalfExtent, planeHalfExtent, outputSize);
  const cv::Mat source = image;
  const PlanePicture picture(
      projection,
      {axis, axis},
      source,
      [&](const cv::Mat& mapCols, const cv::Mat& mapRows, cv::Mat& tile) {
        tile.setTo(cv::Scalar());  // the remapping leaves positions outside the source as they are
        remapInside(source, mapCols, mapRows, tile);
      });

  const ContentBounds bounds = scanLenient(picture.contentProfile(), AtBreak::kIgnore).bounds;
  image = picture.render(bounds.rect());
  yaw = centrePosition(outputSize, bounds.left, image.cols);
  pitch = centrePosition(outputSize, bounds.top, image.rows);
  return kCorrected;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
