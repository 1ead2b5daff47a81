// SPDX-License-Identifier: MIT
#include "HelpFormat.h"

#include <sstream>

namespace orv2d {
namespace {

constexpr std::size_t kNameColumn = 30;  // where descriptions start
constexpr std::size_t kTerminalWidth = 100;

}  // namespace

HelpFormat::HelpFormat() {
  column_width(kNameColumn);
  label("REQUIRED", "(required)");
}

std::string HelpFormat::make_option_desc(const CLI::Option* option) const {
  return wrapped(CLI::Formatter::make_option_desc(option), kTerminalWidth - kNameColumn);
}

std::string wrapped(const std::string& text, std::size_t width) {
  std::istringstream words(text);
  std::string lines;
  std::size_t column = 0;
  for (std::string word; words >> word;) {
    if (column > 0) {
      const bool fits = column + 1 + word.size() <= width;
      lines += fits ? ' ' : '\n';
      column = fits ? column + 1 : 0;
    }
    lines += word;
    column += word.size();
  }
  return lines;
}

}  // namespace orv2d
