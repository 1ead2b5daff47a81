// SPDX-License-Identifier: MIT
/// @file
/// A plan's images with their masks at composition resolution.
#ifndef ORV_MONTAGE_PIPELINE_PLAN_LAYOUT_H
#define ORV_MONTAGE_PIPELINE_PLAN_LAYOUT_H

#include "Composition/PlaneComposer.h"
#include "montage/MontagePlan.h"

#include <vector>

namespace montage {

namespace composition = ORV::Common::Algorithms::Montage::Composition;

/// The images placed on the plan's canvas. Without masks: takes next to no memory.
std::vector<composition::PlaneComposer::Image> layOut(const MontagePlan& plan);

/// The mask of an image at composition resolution, one byte per pixel of its area.
///
/// @param[in] image  entry `index` of what `layOut` gives.
composition::PlacedMask maskOf(const MontagePlan& plan,
                               const composition::PlaneComposer::Image& image,
                               std::size_t index);

/// How warped images are read.
composition::Sampling samplingOf(const PlanOptions& options);

/// How they are blended.
composition::BlendOptions blendingOf(const MontagePlan& plan);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PLAN_LAYOUT_H
