// SPDX-License-Identifier: MIT
/// @file
/// Checksums of images: to see that nothing was written and that two runs gave the same bytes.
#ifndef ORV_TESTS_SUPPORT_CHECKSUM_H
#define ORV_TESTS_SUPPORT_CHECKSUM_H

#include <opencv2/core.hpp>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORV::TestSupport {

/// FNV-1a, 64 bits.
inline std::uint64_t checksumBytes(const void* bytes,
                                   std::size_t count,
                                   std::uint64_t sum = 0xcbf29ce484222325U) {
  const auto* next = static_cast<const unsigned char*>(bytes);
  for (std::size_t i = 0; i < count; ++i) {
    sum = (sum ^ next[i]) * 0x100000001b3U;
  }
  return sum;
}

/// Covers type, size and every sample.
inline std::uint64_t checksum(const cv::Mat& image) {
  const int shape[] = {image.type(), image.rows, image.cols};
  std::uint64_t sum = checksumBytes(shape, sizeof shape);
  for (int row = 0; row < image.rows; ++row) {
    sum =
        checksumBytes(image.ptr(row), static_cast<std::size_t>(image.cols) * image.elemSize(), sum);
  }
  return sum;
}

inline std::uint64_t checksum(const std::vector<cv::Mat>& images) {
  std::uint64_t sum = 0;
  for (const cv::Mat& image : images) {
    const std::uint64_t next = checksum(image);
    sum = checksumBytes(&next, sizeof next, sum);
  }
  return sum;
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_CHECKSUM_H
