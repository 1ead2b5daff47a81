// SPDX-License-Identifier: MIT
/// @file
/// The statuses that the montage's public operations return.
#ifndef ORV_MONTAGE_PLATFORM_STATUS_H
#define ORV_MONTAGE_PLATFORM_STATUS_H

namespace ORV::Common::Platform {

inline constexpr int kSuccess = 0;
/// The input is rejected: too few images connect, no size is known, a keyword or kind is unknown.
inline constexpr int kRejected = 1;
/// The cameras could not be told: a focal length is not finite, or the adjustment failed.
inline constexpr int kNoCameras = 2;

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_STATUS_H
