// SPDX-License-Identifier: MIT
/// @file
/// Reading and writing of image files, with the checks that give an error its clear line.
#ifndef ORV2D_IMAGE_IO_H
#define ORV2D_IMAGE_IO_H

#include <opencv2/core.hpp>

#include <cstdint>
#include <filesystem>
#include <string>

namespace orv2d {

/// `path` in quotation marks for messages.
std::string inQuotes(const std::filesystem::path& path);

/// Throws `HostError` (unreadable input) unless `path` is an existing regular file.
void requireExistingFile(const std::filesystem::path& path);

/// Reads an 8-bit grey (`CV_8UC1`) or colour (`CV_8UC3`, blue-green-red) image into continuous
/// memory, turned upright as a JPEG's EXIF orientation says.
///
/// Throws `HostError` (unreadable input) for a file that is missing, no image or cut off, and for
/// images with more than 8 bits per sample, transparency or another number of channels.
cv::Mat readImage(const std::filesystem::path& path);

/// Throws `HostError` (usage) unless the name ends in .png, .tif, .tiff, .jpg or .jpeg (any case).
void requireImageFormat(const std::filesystem::path& path);

/// Whether `requireImageFormat` accepts the name.
bool hasImageFormat(const std::filesystem::path& path);

/// Whether the name is that of a JPEG, or of a TIFF.
bool isJpegName(const std::filesystem::path& path);
bool isTiffName(const std::filesystem::path& path);

/// Throws `HostError` (output not writable) if the format of the name of `target` cannot hold a
/// picture of `size` pixels and `channels` samples each.
void requireFormatHolds(cv::Size size, int channels, const std::filesystem::path& target);

/// Throws `HostError` (no room) with the numbers if the disk of `target` has less than so many bytes
/// free.
void requireDiskSpace(const std::filesystem::path& target, std::uint64_t bytes);

constexpr int kJpegQuality = 95;

/// Encodes `image` in the format of the name of `target` and writes it to `file`.
/// Throws `HostError` (output not writable) when the format cannot hold it or the disk is full.
/// @param[in] quality  of a JPEG, 1 to 100.
void writeImage(const cv::Mat& image,
                const std::filesystem::path& target,
                const std::filesystem::path& file,
                int quality = kJpegQuality);

/// Writes `size` bytes to `file`; throws `HostError` (output not writable) naming `target`.
void writeBytes(const void* bytes,
                std::size_t size,
                const std::filesystem::path& target,
                const std::filesystem::path& file);

/// `writeBytes` at the end of what `file` holds.
void appendBytes(const void* bytes,
                 std::size_t size,
                 const std::filesystem::path& target,
                 const std::filesystem::path& file);

}  // namespace orv2d

#endif  // ORV2D_IMAGE_IO_H
