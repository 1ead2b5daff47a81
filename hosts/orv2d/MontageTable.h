// SPDX-License-Identifier: MIT
/// @file
/// The result of a montage for people.
#ifndef ORV2D_MONTAGE_TABLE_H
#define ORV2D_MONTAGE_TABLE_H

#include "MontageResult.h"
#include "MontageSettings.h"

#include <ostream>

namespace orv2d {

/// Writes the table of images, the figures, the sizes and the times of a successful run.
void printTable(const MontageSettings& settings, const MontageResult& result, std::ostream& out);

/// The sentence about the images that were left out and what to try; empty if all were used.
std::string leftOutNote(const MontageSettings& settings, const MontageResult& result);

/// The sentence that says why there is no montage and what to try, for a status other than 0.
std::string failureNote(const MontageSettings& settings, const MontageResult& result);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_TABLE_H
