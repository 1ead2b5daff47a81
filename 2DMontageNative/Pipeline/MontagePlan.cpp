// SPDX-License-Identifier: MIT
#include "montage/MontagePlan.h"

#include "Composition/ScaleTolerance.h"
#include "Composition/SeamFootprints.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace montage {

namespace composition = ORV::Common::Algorithms::Montage::Composition;

cv::Point2d MontagePlan::montageFromImage(int index, cv::Point2d pixel) const {
  const auto planned = std::find_if(images.begin(), images.end(), [&](const PlannedImage& image) {
    return image.index == index;
  });
  if (planned == images.end()) {
    throw std::invalid_argument("index: image " + std::to_string(index) +
                                " is not part of the plan");
  }
  const bool reduced = !composition::countsAsFullResolution(composeScale - 1.0);
  const double scale = reduced ? composeScale : 1.0;
  const Camera& camera = planned->camera;
  const cv::Vec3d ray =
      camera.worldFromCamera *
      cv::Vec3d(((pixel.x + 0.5) * scale - 0.5 - camera.ppx) / camera.focal,
                ((pixel.y + 0.5) * scale - 0.5 - camera.ppy) / (camera.focal * camera.aspect),
                1.0);
  return {planeScale * ray[0] / ray[2] - origin.x, planeScale * ray[1] / ray[2] - origin.y};
}

std::vector<cv::Point> MontagePlan::footprintCentres() const {
  std::vector<cv::Point> corners;
  std::vector<cv::Size> sizes;
  for (const PlannedImage& image : images) {
    corners.push_back(image.seamFootprint.tl());
    sizes.push_back(image.seamFootprint.size());
  }
  return composition::footprintCentresOf(corners, sizes, seamScale);
}

}  // namespace montage
