// SPDX-License-Identifier: MIT
/// @file
/// Tables as comma-separated values.
#ifndef ORV2D_CSV_ROWS_H
#define ORV2D_CSV_ROWS_H

#include <stdexcept>
#include <string>
#include <vector>

namespace orv2d {

struct CsvRow {
  std::size_t line;  ///< where it begins, from 1
  std::vector<std::string> cells;
};

/// What is no table; `line` from 1.
class CsvError : public std::runtime_error {
 public:
  CsvError(std::size_t where, const std::string& reason)
      : std::runtime_error(reason), line(where) {}
  std::size_t line;
};

/// The rows of `text` (RFC 4180: commas, quotation marks doubled inside of quoted cells, which may
/// hold line breaks). Rows end with a line feed, with or without a carriage return; empty ones are
/// left out. Throws `CsvError` for a quoted cell that does not end, or goes on behind its end.
std::vector<CsvRow> csvRows(const std::string& text);

}  // namespace orv2d

#endif  // ORV2D_CSV_ROWS_H
