// SPDX-License-Identifier: MIT
#include "montage/SlabNames.h"

#include <iomanip>
#include <regex>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace orv2d {

std::vector<fs::path> slabNames(const fs::path& pattern, int slabCount) {
  const std::string name = pattern.filename().string();
  static const std::regex kMark(R"(\{slab\}|%(?:0([1-9]))?d)");
  std::smatch mark;
  const bool marked = std::regex_search(name, mark, kMark);

  std::vector<fs::path> names;
  for (int slab = 0; slab < slabCount; ++slab) {
    std::ostringstream filled;
    if (marked) {
      const int digits = mark[1].matched ? std::stoi(mark[1]) : 0;
      filled << mark.prefix() << std::setfill('0') << std::setw(digits) << slab << mark.suffix();
    } else if (slabCount > 1) {
      filled << pattern.stem().string() << "_slab" << slab << pattern.extension().string();
    } else {
      filled << name;
    }
    names.push_back(pattern.parent_path() / filled.str());
  }
  return names;
}

}  // namespace orv2d
