// SPDX-License-Identifier: MIT
/// @file
/// The value of `--pairs`.
#ifndef ORV2D_MONTAGE_PAIRS_ARGUMENT_H
#define ORV2D_MONTAGE_PAIRS_ARGUMENT_H

#include <montage/Options.h>
#include <string>

namespace orv2d {

/// Whether `--pairs TEXT` names a file.
bool namesPairsFile(const std::string& text);

/// Which pairs of so many images `--pairs TEXT` means: all, auto, sequential:K[:loop],
/// grid:RxC[:snake], or the pairs of a file, one a line.
///
/// @throw HostError (usage) for a text that does not fit the images; (unreadable input) for a file
///   that is missing or does not fit them, with the number of the line.
montage::PairingOptions parsePairs(const std::string& text, int imageCount);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_PAIRS_ARGUMENT_H
