// SPDX-License-Identifier: MIT
#include "batch/CsvRows.h"

namespace orv2d {
namespace {

class Reader {
 public:
  explicit Reader(const std::string& text) : text_(text) {}

  std::vector<CsvRow> rows() {
    std::vector<CsvRow> rows;
    while (at_ < text_.size()) {
      CsvRow row = readRow();
      if (row.cells.size() > 1 || !row.cells.front().empty()) {
        rows.push_back(std::move(row));
      }
    }
    return rows;
  }

 private:
  CsvRow readRow() {
    CsvRow row{line_, {readCell()}};
    while (at_ < text_.size() && text_[at_] == ',') {
      ++at_;
      row.cells.push_back(readCell());
    }
    at_ += startsLineEnd() ? lineEndLength() : 0;
    ++line_;
    return row;
  }

  std::string readCell() {
    return at_ < text_.size() && text_[at_] == '"' ? readQuoted() : readPlain();
  }

  std::string readPlain() {
    const std::size_t begin = at_;
    while (!endsCell()) {
      ++at_;
    }
    return text_.substr(begin, at_ - begin);
  }

  std::string readQuoted() {
    const std::size_t begun = line_;
    std::string cell;
    for (++at_; at_ < text_.size(); ++at_) {
      if (text_[at_] == '"') {
        ++at_;
        if (at_ == text_.size() || text_[at_] != '"') {
          requireCellEnd();
          return cell;
        }
      }
      line_ += text_[at_] == '\n' ? 1 : 0;
      cell += text_[at_];
    }
    throw CsvError(begun, "a quotation mark is opened and not closed");
  }

  void requireCellEnd() const {
    if (!endsCell()) {
      throw CsvError(line_, "a comma or the end of the line is expected behind a quoted cell");
    }
  }

  [[nodiscard]] bool endsCell() const {
    return at_ >= text_.size() || text_[at_] == ',' || startsLineEnd();
  }
  [[nodiscard]] bool startsLineEnd() const { return lineEndLength() > 0; }
  [[nodiscard]] std::size_t lineEndLength() const {
    if (text_.compare(at_, 1, "\n") == 0) {
      return 1;
    }
    return text_.compare(at_, 2, "\r\n") == 0 ? 2 : 0;
  }

  const std::string& text_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
};

}  // namespace

std::vector<CsvRow> csvRows(const std::string& text) {
  return Reader(text).rows();
}

}  // namespace orv2d
