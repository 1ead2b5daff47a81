// SPDX-License-Identifier: MIT
/// @file
/// What composing a plan will take.
#ifndef ORV_MONTAGE_PIPELINE_ESTIMATE_H
#define ORV_MONTAGE_PIPELINE_ESTIMATE_H

#include "montage/MontagePlan.h"

namespace montage {

/// Counts bytes, and composes a small piece of a montage of the same kind to see how long it takes.
Estimate estimateOf(const MontagePlan& plan);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_ESTIMATE_H
