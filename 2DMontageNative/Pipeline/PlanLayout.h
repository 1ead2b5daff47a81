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

/// The images placed on the plan's canvas, masks included: one byte per pixel of their footprints.
std::vector<composition::PlaneComposer::Image> layOut(const MontagePlan& plan);

/// How warped images are read.
composition::Sampling samplingOf(const PlanOptions& options);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PLAN_LAYOUT_H
