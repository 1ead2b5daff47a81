// SPDX-License-Identifier: MIT
#include "Registration/DescriptorPanels.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kLargestElement = 255;
/// |a|^2 + |b|^2 of descriptors this long at most stays below 2^24: whole numbers exact in float.
constexpr int kLongestWhole = (1 << 24) / (2 * kLargestElement * kLargestElement);
constexpr int kWholePerWord = 4;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// Word `step` of a descriptor of whole numbers: elements 4 * step to 4 * step + 3.
std::int32_t wholeWord(const float* descriptor, int length, int step) {
  std::uint32_t word = 0;
  const int first = step * kWholePerWord;
  for (int element = first; element < std::min(first + kWholePerWord, length); ++element) {
    constexpr int kBitsPerElement = 8;
    word |= static_cast<std::uint32_t>(descriptor[element]) << kBitsPerElement * (element - first);
  }
  return static_cast<std::int32_t>(word);
}

/// Eight elements 0 or 1 per byte; their squared distance is the Hamming distance of the bytes.
cv::Mat bitsOf(const cv::Mat& bytes) {
  CV_Assert(bytes.type() == CV_8UC1);
  constexpr int kBitsPerByte = 8;
  cv::Mat bits(bytes.rows, bytes.cols * kBitsPerByte, CV_32FC1);
  for (int row = 0; row < bytes.rows; ++row) {
    for (int column = 0; column < bits.cols; ++column) {
      const int byte = bytes.at<uchar>(row, column / kBitsPerByte);
      bits.at<float>(row, column) = static_cast<float>(byte >> (column % kBitsPerByte) & 1);
    }
  }
  return bits;
}

float squaredNorm(const float* descriptor, int length) {
  float sum = 0;
  for (int i = 0; i < length; ++i) {
    sum += descriptor[i] * descriptor[i];
  }
  return sum;
}

}  // namespace

DescriptorKind descriptorKind(const cv::Mat& descriptors) {
  if (descriptors.empty()) {
    return DescriptorKind::kWhole;
  }
  if (descriptors.type() == CV_8UC1) {
    return DescriptorKind::kBits;
  }
  CV_Assert(descriptors.type() == CV_32FC1);
  if (descriptors.cols > kLongestWhole) {
    return DescriptorKind::kReal;
  }
  const auto isWhole = [](float value) {
    return value >= 0 && value <= kLargestElement &&
           value == static_cast<float>(static_cast<int>(value));
  };
  for (int row = 0; row < descriptors.rows; ++row) {
    const auto* descriptor = descriptors.ptr<float>(row);
    if (!std::all_of(descriptor, descriptor + descriptors.cols, isWhole)) {
      return DescriptorKind::kReal;
    }
  }
  return DescriptorKind::kWhole;
}

DescriptorPanels packDescriptors(const cv::Mat& given, DescriptorKind kind) {
  DescriptorPanels packed;
  packed.kind = kind;
  if (given.empty()) {
    return packed;
  }
  const cv::Mat descriptors = kind == DescriptorKind::kBits ? bitsOf(given) : given;
  CV_Assert(descriptors.type() == CV_32FC1 && cv::checkRange(descriptors));
  const bool whole = kind != DescriptorKind::kReal;
  const int length = descriptors.cols;
  packed.count = descriptors.rows;
  packed.steps = whole ? (length + kWholePerWord - 1) / kWholePerWord : length;
  packed.norms.assign(static_cast<std::size_t>(packed.panels()) * DescriptorPanels::kWidth,
                      kInfinity);
  packed.sums.assign(packed.norms.size(), 0.F);
  // Padding of whole numbers is infinitely far by its norm; of real ones, by its elements.
  packed.words = whole ? cv::Mat(packed.panels() * packed.steps,
                                 DescriptorPanels::kWidth,
                                 CV_32SC1,
                                 cv::Scalar::all(0))
                       : cv::Mat(packed.panels() * packed.steps,
                                 DescriptorPanels::kWidth,
                                 CV_32FC1,
                                 cv::Scalar::all(kInfinity));
  for (int i = 0; i < packed.count; ++i) {
    const auto* descriptor = descriptors.ptr<float>(i);
    const int firstRow = i / DescriptorPanels::kWidth * packed.steps;
    const int lane = i % DescriptorPanels::kWidth;
    for (int step = 0; step < packed.steps; ++step) {
      if (whole) {
        packed.words.at<std::int32_t>(firstRow + step, lane) = wholeWord(descriptor, length, step);
      } else {
        packed.words.at<float>(firstRow + step, lane) = descriptor[step];
      }
    }
    packed.norms[static_cast<std::size_t>(i)] = squaredNorm(descriptor, length);
    packed.sums[static_cast<std::size_t>(i)] =
        std::accumulate(descriptor, descriptor + length, 0.F);
  }
  return packed;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
