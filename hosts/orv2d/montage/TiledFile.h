// SPDX-License-Identifier: MIT
/// @file
/// Montages in tiled TIFF files.
#ifndef ORV2D_TILED_FILE_H
#define ORV2D_TILED_FILE_H

#include <opencv2/core.hpp>

#include <filesystem>
#include <functional>
#include <montage/TiffSink.h>

namespace orv2d {

/// Whether a picture of this size is too large for a plain TIFF, and `target` is a TIFF.
bool needsTiles(const std::filesystem::path& target, cv::Size size, int channels);

/// Writes `file` with `fill`, which hands the whole picture to the sink. Throws `HostError` (output
/// not writable) naming `target`.
void writeTiles(const std::filesystem::path& target,
                const std::filesystem::path& file,
                const montage::TiffOptions& options,
                const std::function<void(montage::MontageSink& sink)>& fill);

}  // namespace orv2d

#endif  // ORV2D_TILED_FILE_H
