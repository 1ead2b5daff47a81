// SPDX-License-Identifier: MIT
/// @file
/// Which pairs of images are compared: those that follow from the options alone.
#ifndef ORV_MONTAGE_PIPELINE_PAIR_SELECTION_H
#define ORV_MONTAGE_PIPELINE_PAIR_SELECTION_H

#include "montage/Options.h"

#include <utility>
#include <vector>

namespace montage {

/// Numbers of two images, the lower one first.
using ImagePair = std::pair<int, int>;

/// Throws `std::invalid_argument` unless the options fit a set of so many images.
void requireFitting(const PairingOptions& options, int imageCount);

/// Whether the images have to be looked at, since the options do not say the pairs.
bool needsVotes(const PairingOptions& options, int imageCount);

/// The pairs that follow from the options and the number of images, ascending; all of them where the
/// choice is automatic.
std::vector<ImagePair> pairsOf(const PairingOptions& options, int imageCount);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PAIR_SELECTION_H
