// SPDX-License-Identifier: MIT
/// @file
/// Visits the few marked pixels of a row.
#ifndef ORV_MONTAGE_PLATFORM_MARKED_PIXELS_H
#define ORV_MONTAGE_PLATFORM_MARKED_PIXELS_H

#include <climits>
#include <cstddef>
#include <cstring>

namespace ORV::Common::Platform {

constexpr unsigned char kMarked = UCHAR_MAX;

/// Calls `body(x)` for every pixel of value `kMarked` from left to right, passing over the pixels
/// between them at the speed of the standard library's byte search.
template <class Body>
void forEachMarked(const unsigned char* row, int width, const Body& body) {
  const unsigned char* const end = row + width;
  const auto nextFrom = [end](const unsigned char* first) {
    return static_cast<const unsigned char*>(
        std::memchr(first, kMarked, static_cast<std::size_t>(end - first)));
  };
  for (const unsigned char* mark = nextFrom(row); mark != nullptr; mark = nextFrom(mark + 1)) {
    body(static_cast<int>(mark - row));
  }
}

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_MARKED_PIXELS_H
