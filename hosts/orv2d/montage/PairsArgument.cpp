// SPDX-License-Identifier: MIT
#include "montage/PairsArgument.h"

#include "ExitCode.h"
#include "ImageIo.h"
#include "SmallFile.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <utility>

namespace orv2d {
namespace {

using montage::Pairing;
using montage::PairingOptions;

[[noreturn]] void refuse(const std::string& text, const std::string& reason) {
  throw HostError(ExitCode::Usage, "--pairs " + text + ": " + reason);
}

PairingOptions sequentialFrom(const std::string& text) {
  static const std::regex kForm("sequential:([0-9]{1,6})(:loop)?");
  std::smatch parts;
  if (!std::regex_match(text, parts, kForm) || std::stoi(parts[1]) == 0) {
    refuse(text,
           "sequential:K is expected, where K images from 1 follow each one, and :loop behind it "
           "if the first ones follow the last");
  }
  PairingOptions options;
  options.kind = Pairing::sequential;
  options.followers = std::min(std::stoi(parts[1]), 100000);
  options.closeLoop = parts[2].matched;
  return options;
}

PairingOptions gridFrom(const std::string& text, int imageCount) {
  static const std::regex kForm("grid:([0-9]{1,6})x([0-9]{1,6})(:snake)?");
  std::smatch parts;
  if (!std::regex_match(text, parts, kForm)) {
    refuse(text,
           "grid:RxC is expected, R rows of C images, and :snake behind it if every second row "
           "runs from right to left");
  }
  PairingOptions options;
  options.kind = Pairing::grid;
  options.rows = std::stoi(parts[1]);
  options.columns = std::stoi(parts[2]);
  options.snake = parts[3].matched;
  const long long places = static_cast<long long>(options.rows) * options.columns;
  if (places != imageCount) {
    refuse(text,
           "a grid of " + std::to_string(imageCount) + " images is expected, this one has " +
               std::to_string(places));
  }
  return options;
}

constexpr std::uintmax_t kMostBytes = 100000000;
constexpr std::size_t kLongestLine = 1000;

/// Reads a list of pairs line by line and says where it is wrong.
class PairsFile {
 public:
  PairsFile(std::string name, int imageCount) : name_(std::move(name)), imageCount_(imageCount) {}

  PairingOptions read() {
    std::error_code ignored;
    if (!std::filesystem::exists(name_, ignored)) {
      throw HostError(
          ExitCode::UnreadableInput,
          "--pairs " + name_ + ": neither all, auto, sequential:K or grid:RxC nor a file");
    }
    std::istringstream file(readSmallFile(name_, kMostBytes));
    for (std::string line; std::getline(file, line);) {
      ++line_;
      take(line.substr(0, line.find('#')));
    }
    if (options_.pairs.empty()) {
      throw HostError(ExitCode::UnreadableInput, inQuotes(name_) + ": no pairs in it");
    }
    options_.kind = Pairing::list;
    return options_;
  }

 private:
  void take(std::string line) {
    constexpr const char* kBlanks = " \t\r";
    if (line.find_first_not_of(kBlanks) == std::string::npos) {
      return;
    }
    static const std::regex kForm("[ \t]*([0-9]{1,6})[ \t]*[ \t,][ \t]*([0-9]{1,6})[ \t\r]*");
    std::smatch parts;
    // The matcher calls itself for every blank.
    if (line.size() > kLongestLine || !std::regex_match(line, parts, kForm)) {
      refuseLine("two numbers of images are expected, '" + shortened(line) + "' found");
    }
    const auto [first, second] = std::minmax({std::stoi(parts[1]), std::stoi(parts[2])});
    if (second >= imageCount_) {
      refuseLine("there is no image " + std::to_string(second) + "; the last one is " +
                 std::to_string(imageCount_ - 1));
    }
    if (first == second) {
      refuseLine("image " + std::to_string(first) + " cannot be compared with itself");
    }
    const auto [earlier, isNew] = lineOf_.insert({{first, second}, line_});
    if (!isNew) {
      refuseLine("the pair " + std::to_string(first) + " " + std::to_string(second) +
                 " is in line " + std::to_string(earlier->second) + " already");
    }
    options_.pairs.emplace_back(first, second);
  }

  static std::string shortened(const std::string& line) {
    constexpr std::size_t kMost = 40;
    return line.size() > kMost ? line.substr(0, kMost) + "..." : line;
  }

  [[noreturn]] void refuseLine(const std::string& reason) const {
    throw HostError(ExitCode::UnreadableInput,
                    inQuotes(name_) + ", line " + std::to_string(line_) + ": " + reason);
  }

  std::string name_;
  int imageCount_;
  int line_ = 0;
  std::map<std::pair<int, int>, int> lineOf_;
  PairingOptions options_;
};

bool beginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

bool isSequence(const std::string& text) {
  return text == "sequential" || beginsWith(text, "sequential:");
}

bool isGrid(const std::string& text) {
  return text == "grid" || beginsWith(text, "grid:");
}

}  // namespace

bool namesPairsFile(const std::string& text) {
  return !text.empty() && text != "all" && text != "auto" && !isSequence(text) && !isGrid(text);
}

montage::PairingOptions parsePairs(const std::string& text, int imageCount) {
  if (isSequence(text)) {
    return sequentialFrom(text);
  }
  if (isGrid(text)) {
    return gridFrom(text, imageCount);
  }
  if (namesPairsFile(text)) {
    return PairsFile(text, imageCount).read();
  }
  PairingOptions options;
  options.kind = text == "all" ? Pairing::all : Pairing::automatic;
  return options;
}

}  // namespace orv2d
