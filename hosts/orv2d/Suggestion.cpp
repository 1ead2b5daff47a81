// SPDX-License-Identifier: MIT
#include "Suggestion.h"

#include <algorithm>

namespace orv2d {
namespace {

/// Fewest single-letter edits from `a` to `b`; an exchange of neighbours is one (F. Damerau, "A
/// technique for computer detection and correction of spelling errors", CACM 7(3), 1964).
std::size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> edits(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        edits[i][j] = i + j;
        continue;
      }
      const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
      edits[i][j] =
          std::min({edits[i - 1][j] + 1, edits[i][j - 1] + 1, edits[i - 1][j - 1] + change});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        edits[i][j] = std::min(edits[i][j], edits[i - 2][j - 2] + 1);
      }
    }
  }
  return edits.back().back();
}

}  // namespace

std::string suggestion(const std::string& word, const std::vector<std::string>& names) {
  constexpr std::size_t kLettersPerEdit = 3;
  std::string nearest;
  std::size_t fewest = word.size() / kLettersPerEdit + 1;
  for (const std::string& name : names) {
    const std::size_t edits = editDistance(word, name);
    if (edits < fewest) {
      fewest = edits;
      nearest = name;
    }
  }
  return nearest.empty() ? "" : " (did you mean " + nearest + "?)";
}

}  // namespace orv2d
