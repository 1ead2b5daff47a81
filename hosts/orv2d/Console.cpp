// SPDX-License-Identifier: MIT
#include "Console.h"

#include "StandardError.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace orv2d {
namespace {

unsigned char byteAt(const std::string& text, std::size_t i) {
  return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
}

/// Bytes of the UTF-8 character at `i`; 0 if it is a control character or none at all.
std::size_t printableLength(const std::string& text, std::size_t i) {
  const unsigned char first = byteAt(text, i);
  if (first < 0x80) {
    return first >= 0x20 && first != 0x7F ? 1 : 0;
  }
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
  for (std::size_t k = 1; k < length; ++k) {
    if ((byteAt(text, i + k) & 0xC0U) != 0x80U) {
      return 0;
    }
  }
  const bool isControl = first == 0xC2 && byteAt(text, i + 1) < 0xA0;
  return isControl || first > 0xF4 ? 0 : length;
}

std::string escapedByte(char c) {
  if (c == '\n' || c == '\t') {
    return c == '\n' ? "\\n" : "\\t";
  }
  std::ostringstream text;
  text << "\\x" << std::hex << std::setw(2) << std::setfill('0')
       << static_cast<int>(static_cast<unsigned char>(c));
  return text.str();
}

}  // namespace

void Progress::say(const std::string& text) const {
  if (!quiet_) {
    printMessage(text);
  }
}

std::string escaped(const std::string& text) {
  std::string line;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = printableLength(text, i);
    line += length > 0 ? text.substr(i, length) : escapedByte(text[i]);
    i += std::max<std::size_t>(length, 1);
  }
  return line;
}

void printMessage(const std::string& text) {
  writeToStandardError("orv2d: " + escaped(text) + "\n");
}

void printLine(const std::string& text) {
  std::cout << escaped(text) + "\n" << std::flush;
}

std::string counted(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string fixed(double value, int decimals) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value;
  return text.str();
}

std::string timeLeft(double seconds) {
  constexpr double kSecondsPerMinute = 60.0;
  constexpr double kShort = 90.0;
  return seconds < kShort ? fixed(seconds, 0) + " s"
                          : fixed(seconds / kSecondsPerMinute, 1) + " min";
}

}  // namespace orv2d
