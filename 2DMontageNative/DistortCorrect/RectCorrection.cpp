// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/ContentBounds.h"
#include "DistortCorrect/PlaneRendering.h"
#include "DistortCorrect/SamplingGrid.h"
#include "DistortCorrect/VendorRemap.h"

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
  cv::Mat output = newPicture(outputSize, outputSize, image.type());
  const PlaneProjection projection(Lift::kRect,
                                   LensModel(halfFieldAngle, cubicCoeff, linearCoeff),
                                   Orientation{yaw, pitch, roll},
                                   PixelAxis::ofSize(image.cols),
                                   PixelAxis::ofSize(image.rows));
  const std::vector<float> axis = samplingGrid(-planeHalfExtent, planeHalfExtent, outputSize);
  const ContentProfile profile = renderPlane(
      projection,
      {axis, axis},
      [&](const cv::Mat& mapCols, const cv::Mat& mapRows, cv::Mat& tile) {
        tile.setTo(cv::Scalar());  // the remapping leaves positions outside the source as they are
        vendorRemap(image, mapCols, mapRows, tile);
      },
      output);

  const ContentBounds bounds = scanLenient(profile, AtBreak::kIgnore).bounds;
  image = cropped(output, bounds.rect());
  yaw = centrePosition(outputSize, bounds.left, image.cols);
  pitch = centrePosition(outputSize, bounds.top, image.rows);
  return 0;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
