// SPDX-License-Identifier: MIT
/// @file
/// Which build of the library this is.
#ifndef ORV_MONTAGE_PIPELINE_VERSION_H
#define ORV_MONTAGE_PIPELINE_VERSION_H

#include <opencv2/core/version.hpp>

#include <string>

namespace montage {

/// For example "1.0.0, OpenCV 4.6.0".
inline std::string libraryVersion() {
  return std::string(MONTAGE_VERSION) + ", OpenCV " + CV_VERSION;
}

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_VERSION_H
