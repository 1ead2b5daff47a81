// SPDX-License-Identifier: MIT
/// @file
/// What a mistyped word may have been meant to be.
#ifndef ORV2D_SUGGESTION_H
#define ORV2D_SUGGESTION_H

#include <string>
#include <vector>

namespace orv2d {

/// " (did you mean NAME?)" for the name with the fewest letters changed, left out, added or
/// exchanged with their neighbour; empty when more than a third of the letters would have to be.
std::string suggestion(const std::string& word, const std::vector<std::string>& names);

}  // namespace orv2d

#endif  // ORV2D_SUGGESTION_H
