// SPDX-License-Identifier: MIT
/// @file
/// The look of the help text.
#ifndef ORV2D_HELP_FORMAT_H
#define ORV2D_HELP_FORMAT_H

#include <CLI/CLI.hpp>

#include <string>

namespace orv2d {

/// CLI11's help with descriptions broken into lines of a terminal's width.
class HelpFormat : public CLI::Formatter {
 public:
  HelpFormat();
  std::string make_option_desc(const CLI::Option* option) const override;
};

/// `text` with line breaks in place of blanks, so that no line exceeds `width` where words allow.
std::string wrapped(const std::string& text, std::size_t width);

}  // namespace orv2d

#endif  // ORV2D_HELP_FORMAT_H
