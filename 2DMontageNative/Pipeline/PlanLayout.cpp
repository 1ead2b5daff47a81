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

bool withSeams(const MontagePlan& plan) {
  return plan.options.seams != Seams::none;
}

/// Whether masks end with their images, which then go on beyond the masks.
bool insideOnly(const MontagePlan& plan) {
  return withSeams(plan) && plan.options.masksInsideImages;
}

cv::Size scaledSizeOf(const MontagePlan& plan, std::size_t index) {
  return composition::scaledSizeForComposition(plan.images[index].sourceSize, plan.composeScale);
}

}  // namespace

std::vector<PlaneComposer::Image> layOut(const MontagePlan& plan) {
  const ORV::Common::Platform::CpuOnly cpuOnly;
  const composition::SlabGeometry geometry = geometryOf(plan);
  composition::ParallelPlaneWarper warper(static_cast<float>(plan.planeScale));
  const int reach =
      composition::makeTileBlending(blendingOf(plan), std::vector<cv::Rect>(), plan.canvas.size())
          ->reach();
  std::vector<PlaneComposer::Image> images(plan.images.size());
  for (std::size_t i = 0; i < images.size(); ++i) {
    const cv::Rect footprint = composition::footprintOf(warper, geometry, i, scaledSizeOf(plan, i));
    ImagePlacement placement =
        composition::placeFootprint(geometry, i, footprint, plan.canvas.tl());
    images[i].projector = composition::planeProjectorOf(warper, placement);
    if (insideOnly(plan)) {
      composition::keepNearSeams(plan.images[i].seamMask, reach, placement);
    }
    images[i].placement = placement;
    images[i].gains = plan.images[i].gains;
  }
  return images;
}

composition::PlacedMask maskOf(const MontagePlan& plan,
                               const PlaneComposer::Image& image,
                               std::size_t index) {
  const ORV::Common::Platform::CpuOnly cpuOnly;
  const ImagePlacement& placement = image.placement;
  const cv::Size scaled = scaledSizeOf(plan, index);
  composition::PlacedMask placed;
  placed.area = placement.area;
  if (withSeams(plan)) {
    placed.mask = composition::maskWithinSeams(plan.images[index].seamMask, placement);
  } else {
    composition::ParallelPlaneWarper warper(static_cast<float>(plan.planeScale));
    placed.mask = composition::maskOfWhole(warper, scaled, placement);
  }
  if (insideOnly(plan)) {
    const cv::Point corner = placement.footprint.tl() + placement.offset;
    placed.inside =
        composition::runsInside(image.projector, {corner, placement.area.size()}, scaled);
    composition::keepRuns(placed.inside, placed.mask);
  }
  return placed;
}

composition::Sampling samplingOf(const PlanOptions& options) {
  if (options.seams == Seams::none) {
    return {cv::INTER_LINEAR, cv::BORDER_REFLECT};
  }
  return {cv::INTER_CUBIC, options.masksInsideImages ? cv::BORDER_REFLECT : cv::BORDER_CONSTANT};
}

composition::BlendOptions blendingOf(const MontagePlan& plan) {
  composition::BlendOptions blending;
  switch (plan.options.blending) {
    case Blending::none:
      blending.kind = composition::BlendKind::kNone;
      break;
    case Blending::feather:
      blending.kind = composition::BlendKind::kFeather;
      break;
    case Blending::multiBand:
      blending.kind = composition::BlendKind::kMultiBand;
      blending.bands = plan.bands;
      // Within seams weights add up to about one, so sums in eighths fit.
      blending.fine = plan.options.masksInsideImages && plan.options.seams != Seams::none;
      break;
  }
  return blending;
}

}  // namespace montage
