// SPDX-License-Identifier: MIT
/// @file
/// A registration for people and, in reports, for programs.
#ifndef ORV2D_REGISTRATION_TABLE_H
#define ORV2D_REGISTRATION_TABLE_H

#include "report/Report.h"

#include <montage/Registration.h>
#include <ostream>

namespace orv2d {

/// Tables of all images with their verdicts, of pairs, and of groups.
void printImages(const montage::Registration& registration, std::ostream& out);
void printPairs(const montage::Registration& registration, std::ostream& out);
void printGroups(const montage::Registration& registration, std::ostream& out);

/// The four figures about the whole registration.
void printFigures(const montage::Registration& registration, std::ostream& out);

/// The same as arrays of objects; their fields are described in docs/orv2d.md.
Json imageJson(const montage::Registration& registration, int index);
Json pairsJson(const montage::Registration& registration);
Json groupsJson(const montage::Registration& registration);
Json figuresJson(const montage::Registration& registration);

}  // namespace orv2d

#endif  // ORV2D_REGISTRATION_TABLE_H
