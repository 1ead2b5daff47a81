// SPDX-License-Identifier: MIT
/// @file
/// Reads the bytes of a fuzzer's input as the arguments of a call. A short input goes on as zeros.
#ifndef ORV_TESTS_FUZZ_INPUT_H
#define ORV_TESTS_FUZZ_INPUT_H

#include <opencv2/core.hpp>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

namespace ORV::Fuzz {

class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t count) : bytes_(bytes), left_(count) {}

  template <class Value>
  Value take() {
    Value value{};
    const std::size_t count = std::min(sizeof value, left_);
    std::memcpy(&value, bytes_, count);
    bytes_ += count;
    left_ -= count;
    return value;
  }

  bool flag() { return (take<std::uint8_t>() & 1) != 0; }

  /// A number of [low, high], high - low < 65536.
  int between(int low, int high) { return low + take<std::uint16_t>() % (high - low + 1); }

  /// Mostly of [low, high], and now and then one that no caller means.
  double number(double low, double high) {
    constexpr double kOdd[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               0.0,
                               -0.0,
                               1e300,
                               -1e300,
                               DBL_MIN / 2,
                               FLT_MAX,
                               FLT_MIN / 2,
                               INT_MAX,
                               INT_MIN,
                               1e9,
                               -1e9};
    constexpr std::uint8_t kOddCount = sizeof kOdd / sizeof kOdd[0];
    const auto choice = take<std::uint8_t>();
    if (choice < kOddCount) {
      return kOdd[choice];
    }
    if (choice == kOddCount) {
      return take<double>();
    }
    return low + (high - low) * take<std::uint16_t>() / UINT16_MAX;
  }

  int integer(int low, int high) {
    constexpr int kOdd[] = {INT_MIN, INT_MAX, -1, 0, 1, 32767, 65536};
    constexpr std::uint8_t kOddCount = sizeof kOdd / sizeof kOdd[0];
    const auto choice = take<std::uint8_t>();
    return choice < kOddCount ? kOdd[choice] : between(low, high);
  }

  /// Black, a bright box on black, noise, or the input's own bytes over and over.
  cv::Mat image(int longestSide) {
    const int rows = between(1, longestSide);
    const int cols = between(1, longestSide);
    cv::Mat pixels(rows, cols, flag() ? CV_8UC3 : CV_8UC1, cv::Scalar::all(0));
    switch (between(0, 3)) {
      case 1:
        pixels(cv::Rect(cols / 4, rows / 4, (cols + 1) / 2, (rows + 1) / 2)) =
            cv::Scalar::all(take<std::uint8_t>());
        break;
      case 2:
        cv::RNG(take<std::uint32_t>()).fill(pixels, cv::RNG::UNIFORM, 0, 256);
        break;
      case 3:
        for (std::size_t i = 0; left_ > 0 && i < pixels.total() * pixels.elemSize(); ++i) {
          pixels.data[i] = bytes_[i % left_];
        }
        break;
      default:
        break;
    }
    return pixels;
  }

  /// All that is left.
  std::string rest() {
    std::string text(reinterpret_cast<const char*>(bytes_), left_);
    left_ = 0;
    return text;
  }

 private:
  const std::uint8_t* bytes_;
  std::size_t left_;
};

}  // namespace ORV::Fuzz

#endif  // ORV_TESTS_FUZZ_INPUT_H
