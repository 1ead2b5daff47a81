// SPDX-License-Identifier: MIT
#include "Registration/DescriptorPanels.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kLargestElement = 255;
/// |a|^2 + |b|^2 of descriptors this long at most stays below 2^24: whole numbers exact in float.
constexpr int kLongestWhole = (1 << 24) / (2 * kLargestElement * kLargestElement);
constexpr int kWholePerWord = 2;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// Word `step` of a descriptor of whole numbers: elements 2 * step and 2 * step + 1.
std::int32_t wholeWord(const float* descriptor, int length, int step) {
  const int first = step * kWholePerWord;
  const auto low = static_cast<std::int32_t>(descriptor[first]);
  const auto high = first + 1 < length ? static_cast<std::int32_t>(descriptor[first + 1]) : 0;
  return low | (high << 16);
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
  }
  return packed;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
