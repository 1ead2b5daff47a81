// SPDX-License-Identifier: MIT
#include "Registration/ContrastStretch.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kLevels = UCHAR_MAX + 1;

unsigned char stretchedLevel(int level, int fromLow, int fromHigh, int toLow, int toHigh) {
  if (fromLow == fromHigh) {
    return static_cast<unsigned char>(level <= fromLow ? toLow : toHigh);
  }
  const double factor = static_cast<double>(toHigh - toLow) / (fromHigh - fromLow);
  double stretched = (level - fromLow) * factor + toLow;
  if (stretched < toLow) {
    stretched = toLow;
  }
  if (stretched > toHigh) {
    stretched = toHigh;
  }
  return static_cast<unsigned char>(stretched);
}

}  // namespace

void calcPercentileBounds(const unsigned char* pixels,
                          int count,
                          double percentKept,
                          unsigned char& low,
                          unsigned char& high) {
  std::array<int, kLevels> histogram{};
  std::for_each(pixels, pixels + count, [&](unsigned char level) { ++histogram[level]; });
  const auto tail = static_cast<int>(count * ((100.0 - percentKept) * 0.5) / 100.0);

  std::size_t lowest = 0;
  for (int below = histogram[lowest]; below < tail && lowest < UCHAR_MAX;) {
    below += histogram[++lowest];
  }
  std::size_t highest = UCHAR_MAX;
  for (int above = histogram[highest]; above < tail && highest > 0;) {
    above += histogram[--highest];
  }
  low = static_cast<unsigned char>(lowest);
  high = static_cast<unsigned char>(highest);
}

void stretchContrast(unsigned char* pixels,
                     int count,
                     unsigned char fromLow,
                     unsigned char fromHigh,
                     unsigned char toLow,
                     unsigned char toHigh) {
  std::array<unsigned char, kLevels> stretched{};
  for (int level = 0; level < kLevels; ++level) {
    stretched[static_cast<std::size_t>(level)] =
        stretchedLevel(level, fromLow, fromHigh, toLow, toHigh);
  }
  std::transform(
      pixels, pixels + count, pixels, [&](unsigned char level) { return stretched[level]; });
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
