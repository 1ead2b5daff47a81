// SPDX-License-Identifier: MIT
/// @file
/// The result of a montage for people.
#ifndef ORV2D_MONTAGE_TABLE_H
#define ORV2D_MONTAGE_TABLE_H

#include "montage/MontageOutcome.h"
#include "montage/MontageSettings.h"

#include <ostream>

namespace orv2d {

/// Writes the table of images, the figures, the sizes and the times of a successful run.
void printTable(const MontageSettings& settings, const MontageOutcome& outcome, std::ostream& out);

/// Writes the sizes and files of the montages.
void printMontages(const MontageOutcome& outcome, std::ostream& out);

/// Writes the table of images and what composing would give and take.
void printPlan(const MontageSettings& settings, const MontageOutcome& outcome, std::ostream& out);

}  // namespace orv2d

#endif  // ORV2D_MONTAGE_TABLE_H
