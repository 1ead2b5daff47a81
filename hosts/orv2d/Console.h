// SPDX-License-Identifier: MIT
/// @file
/// What the program says to people on standard error: progress, notes and the one line of an error.
#ifndef ORV2D_CONSOLE_H
#define ORV2D_CONSOLE_H

#include <string>

namespace orv2d {

/// Progress lines on standard error; silent when quiet.
class Progress {
 public:
  explicit Progress(bool quiet) : quiet_(quiet) {}
  void say(const std::string& text) const;

 private:
  bool quiet_;
};

/// `text` fit for a terminal: control characters and bytes that are no UTF-8, which a file name may
/// hold, are written as \n, \t or \xHH.
std::string escaped(const std::string& text);

/// Writes one line "orv2d: text" to standard error, escaped.
void printMessage(const std::string& text);

/// Writes one line to standard output, escaped.
void printLine(const std::string& text);

/// `count` and the noun, with an s unless count is 1.
std::string counted(std::size_t count, const std::string& noun);

/// `value` with `decimals` digits after the point.
std::string fixed(double value, int decimals);

/// `seconds` for people: "8 s", "3.5 min".
std::string timeLeft(double seconds);

}  // namespace orv2d

#endif  // ORV2D_CONSOLE_H
