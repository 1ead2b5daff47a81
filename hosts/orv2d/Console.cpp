// SPDX-License-Identifier: MIT
#include "Console.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace orv2d {

void Progress::say(const std::string& text) const {
  if (!quiet_) {
    printMessage(text);
  }
}

void printMessage(const std::string& text) {
  constexpr char kFirstPrintable = ' ';
  std::string line = text;
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c >= 0 && c < kFirstPrintable; }, '?');
  std::cerr << "orv2d: " + line + "\n" << std::flush;
}

std::string counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string fixed(double value, int decimals) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value;
  return text.str();
}

}  // namespace orv2d
