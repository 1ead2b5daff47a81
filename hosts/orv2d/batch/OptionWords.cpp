// SPDX-License-Identifier: MIT
#include "batch/OptionWords.h"

namespace orv2d {
namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Whether a backslash at `at` takes the next character as it is.
bool escapes(const std::string& text, std::size_t at, char quote) {
  const char next = at + 1 < text.size() ? text[at + 1] : '\0';
  return quote == '\0' || (quote == '"' && (next == '"' || next == '\\'));
}

}  // namespace

std::optional<Words> wordsOf(const std::string& text) {
  Words words;
  bool inWord = false;
  char quote = '\0';
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (quote == '\0' && isBlank(c)) {
      inWord = false;
      continue;
    }
    if (!inWord) {
      words.emplace_back();
      inWord = true;
    }
    const bool isQuote = c == '\'' || c == '"';
    if (isQuote && (quote == '\0' || quote == c)) {
      quote = quote == '\0' ? c : '\0';
      continue;
    }
    if (c == '\\' && escapes(text, i, quote)) {
      if (++i == text.size()) {
        return std::nullopt;
      }
      c = text[i];
    }
    words.back() += c;
  }
  return quote == '\0' ? std::optional<Words>(words) : std::nullopt;
}

}  // namespace orv2d
