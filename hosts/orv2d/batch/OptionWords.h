// SPDX-License-Identifier: MIT
/// @file
/// Options in one text, as on a command line.
#ifndef ORV2D_OPTION_WORDS_H
#define ORV2D_OPTION_WORDS_H

#include "CommandLine.h"

#include <optional>
#include <string>

namespace orv2d {

/// The words of `text` as a shell separates them: at blanks outside of '...' and "..."; a backslash
/// takes the next character as it is, in "..." only before " and itself. Nothing is replaced.
/// Nothing for a quotation that does not end, or a backslash at the end.
std::optional<Words> wordsOf(const std::string& text);

}  // namespace orv2d

#endif  // ORV2D_OPTION_WORDS_H
