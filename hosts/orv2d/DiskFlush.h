// SPDX-License-Identifier: MIT
/// @file
/// Making sure that what was written is on the disk.
#ifndef ORV2D_DISK_FLUSH_H
#define ORV2D_DISK_FLUSH_H

#include <filesystem>
#include <system_error>

namespace orv2d {

/// Waits until the content of `path`, a file or a folder, is on the disk. Reports what was lost on
/// the way there; that a file system knows no flushing is no error. Does nothing on Windows.
std::error_code flushToDisk(const std::filesystem::path& path);

}  // namespace orv2d

#endif  // ORV2D_DISK_FLUSH_H
