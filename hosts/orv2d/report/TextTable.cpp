// SPDX-License-Identifier: MIT
#include "report/TextTable.h"

#include "Console.h"

#include <algorithm>

namespace orv2d {
namespace {

/// Characters of UTF-8 text; each is taken to be one column wide.
std::size_t widthOf(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
  }));
}

}  // namespace

TextTable::TextTable(std::vector<std::string> headings) {
  for (std::string& heading : headings) {
    left_.push_back(heading.front() == '<');
    heading.erase(0, left_.back() ? 1 : 0);
  }
  rows_.push_back(std::move(headings));
}

void TextTable::add(const std::vector<std::string>& cells) {
  std::vector<std::string>& row = rows_.emplace_back();
  std::transform(cells.begin(), cells.end(), std::back_inserter(row), escaped);
}

void TextTable::print(std::ostream& out) const {
  std::vector<std::size_t> widths(left_.size(), 0);
  for (const std::vector<std::string>& row : rows_) {
    for (std::size_t c = 0; c < row.size(); ++c) {
      widths[c] = std::max(widths[c], widthOf(row[c]));
    }
  }
  for (const std::vector<std::string>& row : rows_) {
    std::string line;
    for (std::size_t c = 0; c < row.size(); ++c) {
      const std::string padding(widths[c] - widthOf(row[c]), ' ');
      line += (c > 0 ? "  " : "") + (left_[c] ? row[c] + padding : padding + row[c]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << "\n";
  }
}

}  // namespace orv2d
