// SPDX-License-Identifier: MIT
/// @file
/// A table of text whose columns are as wide as they need to be.
#ifndef ORV2D_TEXT_TABLE_H
#define ORV2D_TEXT_TABLE_H

#include <ostream>
#include <string>
#include <vector>

namespace orv2d {

class TextTable {
 public:
  /// @param[in] headings  one per column; a leading '<' aligns the column to the left.
  explicit TextTable(std::vector<std::string> headings);

  /// @param[in] cells  one per column; control characters are escaped.
  void add(const std::vector<std::string>& cells);

  void print(std::ostream& out) const;

 private:
  std::vector<bool> left_;
  std::vector<std::vector<std::string>> rows_;  ///< the headings first
};

}  // namespace orv2d

#endif  // ORV2D_TEXT_TABLE_H
