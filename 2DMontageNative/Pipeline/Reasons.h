// SPDX-License-Identifier: MIT
/// @file
/// Why images and pairs are used or not, in words.
#ifndef ORV_MONTAGE_PIPELINE_REASONS_H
#define ORV_MONTAGE_PIPELINE_REASONS_H

#include "montage/Registration.h"

#include <map>

namespace montage {

/// Sets the verdicts of the images that are not used and not unreadable.
///
/// @param[in] alike  images left out because another one shows the same, with that one.
void giveVerdicts(const std::map<int, int>& alike, Registration& registration);

/// Finds every image's best pair and writes its sentence; an unreadable image keeps the one it has.
void giveReasons(Registration& registration);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_REASONS_H
