// SPDX-License-Identifier: MIT
/// @file
/// Planning without checks of its options.
#ifndef ORV_MONTAGE_PIPELINE_PLAN_MONTAGE_H
#define ORV_MONTAGE_PIPELINE_PLAN_MONTAGE_H

#include "montage/MontagePlan.h"

namespace montage {

/// montage::planMontage() with any options, without crop and estimate. Footprints that cannot be
/// warped raise a `cv::Exception` (`StsOutOfRange`), unless the images' own masks are asked for:
/// then such images are left out.
///
/// @param[in] withHashes  note the hash of every image that is read.
MontagePlan planSource(const Registration& registration,
                       const ImageSource& images,
                       const PlanOptions& options,
                       bool withHashes,
                       const Progress& progress);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PLAN_MONTAGE_H
