// SPDX-License-Identifier: MIT
#include "Pipeline/PlanLayout.h"

#include "Composition/CompositionImage.h"
#include "Composition/FootprintMask.h"
#include "Composition/PlaneWarper.h"
#include "Pipeline/Records.h"
#include "Platform/OpenCvScope.h"
#include "Platform/ParallelLoop.h"

namespace montage {
namespace {

using composition::ImagePlacement;
using composition::PlaneComposer;

composition::SlabGeometry geometryOf(const MontagePlan& plan) {
  composition::SlabGeometry geometry;
  geometry.composeScale = plan.composeScale;
  for (const PlannedImage& image : plan.images) {
    geometry.cameras.push_back(cameraRecord(image.camera));
    geometry.corners.push_back(image.footprint.tl());
    geometry.sizes.push_back(image.footprint.size());
  }
  return geometry;
}

composition::SlabSeams seamsOf(const MontagePlan& plan) {
  composition::SlabSeams seams;
  for (const PlannedImage& image : plan.images) {
    seams.masks.push_back(image.seamMask);
  }
  return seams;
}

}  // namespace

std::vector<PlaneComposer::Image> layOut(const MontagePlan& plan) {
  const composition::SlabGeometry geometry = geometryOf(plan);
  const composition::SlabSeams seams = seamsOf(plan);
  const bool withSeams = plan.options.seams != Seams::none;
  std::vector<PlaneComposer::Image> images(plan.images.size());
  ORV::Common::Platform::parallelFor(0, static_cast<int>(images.size()), [&](int index) {
    const ORV::Common::Platform::CpuOnly cpuOnly;
    const auto i = static_cast<std::size_t>(index);
    composition::ParallelPlaneWarper warper(static_cast<float>(plan.planeScale));
    const cv::Size scaled =
        composition::scaledSizeForComposition(plan.images[i].sourceSize, plan.composeScale);
    const cv::Rect footprint = composition::footprintOf(warper, geometry, i, scaled);
    const cv::Point origin = plan.canvas.tl();
    ImagePlacement placement =
        withSeams ? composition::placeWithinSeams(geometry, seams, i, footprint, origin)
                  : composition::placeWhole(warper, geometry, i, scaled, footprint, origin);
    images[i].projector = composition::planeProjectorOf(warper, placement);
    if (withSeams && plan.options.masksInsideImages) {
      placement.inside = composition::runsInside(
          images[i].projector, {footprint.tl(), placement.area.size()}, scaled);
      composition::keepRuns(placement.inside, placement.mask);
    }
    images[i].placement = std::move(placement);
    images[i].gains = plan.images[i].gains;
  });
  return images;
}

composition::Sampling samplingOf(const PlanOptions& options) {
  if (options.seams == Seams::none) {
    return {cv::INTER_LINEAR, cv::BORDER_REFLECT};
  }
  return {cv::INTER_CUBIC, options.masksInsideImages ? cv::BORDER_REFLECT : cv::BORDER_CONSTANT};
}

}  // namespace montage
