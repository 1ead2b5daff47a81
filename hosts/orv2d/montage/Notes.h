// SPDX-License-Identifier: MIT
/// @file
/// What a user should know of a registration or a plan, and what to try.
#ifndef ORV2D_NOTES_H
#define ORV2D_NOTES_H

#include "ExitCode.h"
#include "montage/MontageOutcome.h"
#include "montage/MontageSettings.h"

#include <string>
#include <vector>

namespace orv2d {

/// One sentence per image that is not part of the montage, with its reason and what to try; of many
/// images, the first ones and how many more there are.
std::vector<std::string> leftOutNotes(const MontageOutcome& outcome);

/// The sentence about residuals that are high for the resolution, with the images and pairs that
/// carry them; empty if they are not.
std::string looseNote(const montage::Registration& registration);

/// Throws `HostError` with the reason unless the registration gives a montage.
/// @param[in] pipeline  of the montage.
void requireConnected(const montage::Registration& registration, const std::string& pipeline);

/// Throws `HostError` with the reason unless the plan can be composed.
void requireShowable(const montage::MontagePlan& plan, const MontageSettings& settings);

/// Says so when only some images of a slab are grey: its montage can only be one of them.
/// Empty if they are alike.
std::string mixedChannelsNote(const ImageFiles& images, int slab);

}  // namespace orv2d

#endif  // ORV2D_NOTES_H
