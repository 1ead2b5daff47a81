// SPDX-License-Identifier: MIT
// The vectorised remapping beside its definition in double precision, byte for byte, on every
// instruction set of the machine.
#include "Platform/RemapKernel.h"

#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>
#include <opencv2/core.hpp>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace ORV::Common::Platform {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

class RemapOnTarget : public hwy::TestWithParamTarget {
 protected:
  cv::RNG rng_{0x5eed};

  /// One run over a source of the given size, which lies on the heap without a byte to spare.
  template <int channels>
  void compare(int width, int height, int count) {
    const auto bytes =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * channels;
    const auto pixels = std::make_unique<unsigned char[]>(bytes);
    cv::Mat source(1, static_cast<int>(bytes), CV_8UC1, pixels.get());
    rng_.fill(source, cv::RNG::UNIFORM, 0, 256);
    if (count % 3 == 0) {
      cv::Mat(source > 127).copyTo(source);  // overshoots past 0 and 255
    }
    const int margin = width > 8 && height > 8 ? count % 3 : 0;  // of the region in the source
    const RemapRegion<channels> region(pixels.get(),
                                       std::ptrdiff_t{width} * channels,
                                       margin,
                                       margin,
                                       width - 1 - margin,
                                       height - 1 - margin);
    const auto n = static_cast<std::size_t>(count);
    std::vector<float> cols(n);
    std::vector<float> rows(n);
    for (std::size_t i = 0; i < n; ++i) {
      cols[i] = rng_.uniform(-1.0F, static_cast<float>(width));
      rows[i] = rng_.uniform(-1.0F, static_cast<float>(height));
      if (count % 2 == 0) {  // fractions whose values often lie halfway between two bytes
        cols[i] = std::round(cols[i] * 4) / 4;
        rows[i] = std::round(rows[i] * 2) / 2;
      } else if (i % 50 == 7) {
        cols[i] = i % 3 == 0 ? kNan : -kInfinity;
        rows[i] = i % 4 == 0 ? 1e30F : rows[i];
      }
    }
    std::vector<unsigned char> expected(n * channels, 7);
    std::vector<unsigned char> sampled = expected;
    for (std::size_t i = 0; i < n; ++i) {
      if (region.contains(cols[i], rows[i])) {
        region.sample(cols[i], rows[i], expected.data() + i * channels);
      }
    }
    remapRun(region, cols.data(), rows.data(), count, sampled.data());
    ASSERT_EQ(sampled, expected) << width << " x " << height << ", " << count << " positions";
  }
};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(RemapOnTarget);

TEST_P(RemapOnTarget, GivesTheBytesOfTheDefinition) {
  for (int side = 1; side <= 40; side += side < 9 ? 1 : 7) {
    for (const int count : {1, 63, 64, 65, 700}) {
      compare<1>(side, 2 * side + 1, count);
      compare<3>(2 * side, side, count);
    }
  }
  for (const int count : {200'000, 200'001, 200'003}) {
    compare<1>(500, 400, count);
    compare<3>(500, 400, count);
  }
}

}  // namespace
}  // namespace ORV::Common::Platform
