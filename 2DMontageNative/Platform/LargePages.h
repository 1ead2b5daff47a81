// SPDX-License-Identifier: MIT
/// @file
/// Large memory pages for large images.
#ifndef ORV_MONTAGE_PLATFORM_LARGE_PAGES_H
#define ORV_MONTAGE_PLATFORM_LARGE_PAGES_H

#include <cstddef>

namespace ORV::Common::Platform {

/// Asks the system to back the bytes by large pages, where it has any: first writing to hundreds of
/// megabytes in small pages costs as much as a cheap filter. A hint that changes no content.
///
/// @param[in] bytes  of a block that will be written in full; small blocks are left alone.
void preferLargePages(void* start, std::size_t bytes);

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_LARGE_PAGES_H
