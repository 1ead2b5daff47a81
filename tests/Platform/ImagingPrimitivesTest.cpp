// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <vector>

namespace ORV::Common::Platform {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using Bytes = std::vector<unsigned char>;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(ArrayPrimitives, MaximumIsFoundAtEveryPlaceAndPassesOverNan) {
  for (const int length : {1, 2, 63, 64, 65, 200}) {
    for (int place = 0; place < length; ++place) {
      std::vector<float> values(static_cast<std::size_t>(length), -7.0F);
      values.front() = kNan;
      values[static_cast<std::size_t>(place)] = -3.0F;
      float maximum = 0.0F;
      ASSERT_EQ(ippsMax_32f(values.data(), length, &maximum), ippStsNoErr);
      ASSERT_EQ(maximum, -3.0F) << "length " << length << ", place " << place;
    }
  }
  const std::array<float, 2> nothing{kNan, kNan};
  float maximum = 0.0F;
  ASSERT_EQ(ippsMax_32f(nothing.data(), 2, &maximum), ippStsNoErr);
  EXPECT_EQ(maximum, -kInfinity);
}

TEST(ArrayPrimitives, ProductIsTheFloatProduct) {
  std::vector<float> values{1.0F, -3.0F, 0.1F};
  ASSERT_EQ(ippsMulC_32f_I(0.7F, values.data(), 3), ippStsNoErr);
  EXPECT_THAT(values, ElementsAre(0.7F, -3.0F * 0.7F, 0.1F * 0.7F));
}

TEST(ConvertPrimitives, RoundsHalvesToEvenAndSaturates) {
  // Once in whole vectors, once in the remainder of a row.
  const std::vector<float> cases{0.5F,
                                 1.5F,
                                 2.5F,
                                 253.5F,
                                 254.5F,
                                 0.49999997F,
                                 0.50000006F,
                                 254.49998F,
                                 -0.5F,
                                 -1.0F,
                                 255.5F,
                                 1e30F,
                                 -1e30F,
                                 kInfinity,
                                 -kInfinity,
                                 kNan,
                                 17.0F};
  const Bytes expected{0, 2, 2, 254, 254, 0, 1, 254, 0, 0, 255, 255, 0, 255, 0, 0, 17};
  for (std::size_t lead = 0; lead <= 64; lead += 16) {
    std::vector<float> values(lead, 3.0F);
    values.insert(values.end(), cases.begin(), cases.end());
    const auto width = static_cast<int>(values.size());
    Bytes bytes(values.size(), 99);
    ASSERT_EQ(ippiConvert_32f8u_C1R(
                  values.data(), width * 4, bytes.data(), width, {width, 1}, ippRndNear),
              ippStsNoErr);
    Bytes padded(lead, 3);
    padded.insert(padded.end(), expected.begin(), expected.end());
    EXPECT_EQ(bytes, padded) << "lead " << lead;
  }
}

TEST(RegionPrimitives, WorkInsideTheRegionOnly) {
  constexpr IppiSize kRegion{2, 2};
  constexpr int kStep = 4;
  const Bytes image{5, 0, 90, 91, 1, 200, 92, 93};

  Bytes copied(8, 7);
  ASSERT_EQ(ippiCopy_8u_C1R(image.data(), kStep, copied.data(), kStep, kRegion), ippStsNoErr);
  EXPECT_THAT(copied, ElementsAre(5, 0, 7, 7, 1, 200, 7, 7));

  Bytes colour(8, 7);
  ASSERT_EQ(ippiCopy_8u_C3R(image.data(), kStep, colour.data(), kStep, {1, 2}), ippStsNoErr);
  EXPECT_THAT(colour, ElementsAre(5, 0, 90, 7, 1, 200, 92, 7));

  Bytes lowered = image;
  ASSERT_EQ(ippiSubC_8u_C1IRSfs(3, lowered.data(), kStep, kRegion, 0), ippStsNoErr);
  EXPECT_THAT(lowered, ElementsAre(2, 0, 90, 91, 0, 197, 92, 93));

  Bytes difference(8, 100);
  ASSERT_EQ(ippiSub_8u_C1IRSfs(image.data(), kStep, difference.data(), kStep, kRegion, 0),
            ippStsNoErr);
  EXPECT_THAT(difference, ElementsAre(95, 100, 100, 100, 99, 0, 100, 100));

  Bytes thresholded = image;
  ASSERT_EQ(ippiThreshold_GTVal_8u_C1IR(thresholded.data(), kStep, kRegion, 1, 255), ippStsNoErr);
  EXPECT_THAT(thresholded, ElementsAre(255, 0, 90, 91, 1, 255, 92, 93));
}

TEST(RegionPrimitives, AllocatedImageHoldsItsPixelsWithoutGaps) {
  int step = 0;
  unsigned char* const image = ippiMalloc_8u_C1(13, 7, &step);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(step, 13);
  std::fill_n(image, 13 * 7, static_cast<unsigned char>(1));  // the address sanitizer looks on
  ippiFree(image);
  ippiFree(nullptr);
  EXPECT_EQ(ippiMalloc_8u_C1(0, 7, &step), nullptr);
  EXPECT_EQ(ippiMalloc_8u_C1(13, -1, &step), nullptr);
}

/// Statuses of every routine for a region of `size` in images with rows of `pixels` pixels.
std::vector<int> statusesFor(
    unsigned char* bytes, float* floats, int pixels, IppiSize size, int variant) {
  const int floatStep = pixels * 4;
  Bytes work(4096);
  return {
      ippsMax_32f(floats, size.width, floats),
      ippsMulC_32f_I(1.0F, floats, size.width),
      ippiConvert_32f8u_C1R(floats, floatStep, bytes, pixels, size, ippRndNear + variant),
      ippiCopy_8u_C1R(bytes, pixels, bytes, pixels, size),
      ippiCopy_8u_C3R(bytes, 3 * pixels, bytes, 3 * pixels, size),
      ippiSubC_8u_C1IRSfs(0, bytes, pixels, size, variant),
      ippiSub_8u_C1IRSfs(bytes, pixels, bytes, pixels, size, variant),
      ippiThreshold_GTVal_8u_C1IR(bytes, pixels, size, 255, 255),
      ippiMinEigenVal_32f_C1R(
          floats, floatStep, floats, floatStep, size, variant, 5, 5, work.data()),
      ippiMorphReconstructDilate_8u_C1IR(bytes, pixels, bytes, pixels, size, work.data(), variant)};
}

TEST(ImagingPrimitives, ReportWhatTheyCannotServe) {
  Bytes bytes(64);
  std::vector<float> floats(64);
  EXPECT_THAT(statusesFor(bytes.data(), floats.data(), 2, {2, 2}, 0), Each(ippStsNoErr));
  EXPECT_THAT(statusesFor(nullptr, nullptr, 2, {2, 2}, 0), Each(ippStsNullPtrErr));
  EXPECT_THAT(statusesFor(bytes.data(), floats.data(), 2, {0, 2}, 0), Each(ippStsSizeErr));
  // Not for arrays, which have no rows.
  const std::vector<int> shortRows = statusesFor(bytes.data(), floats.data(), 2, {3, 2}, 0);
  EXPECT_THAT(std::vector<int>(shortRows.begin() + 2, shortRows.end()), Each(ippStsStepErr));
  const std::vector<int> variants = statusesFor(bytes.data(), floats.data(), 2, {2, 2}, 1);
  EXPECT_EQ(std::count(variants.begin(), variants.end(), ippStsBadArgErr), 5);

  int bufferSize = -1;
  EXPECT_EQ(ippiMinEigenValGetBufferSize_32f_C1R({8, 8}, 3, 5, &bufferSize), ippStsBadArgErr);
  EXPECT_EQ(ippiMinEigenValGetBufferSize_32f_C1R({8, 0}, 5, 5, &bufferSize), ippStsSizeErr);
  EXPECT_EQ(ippiMinEigenValGetBufferSize_32f_C1R({60000, 60000}, 5, 5, &bufferSize), ippStsSizeErr);
  EXPECT_EQ(ippiMorphReconstructGetBufferSize_8u_C1({60000, 60000}, &bufferSize), ippStsSizeErr);
  EXPECT_EQ(ippiMorphReconstructGetBufferSize_8u_C1({8, 8}, nullptr), ippStsNullPtrErr);
  EXPECT_EQ(bufferSize, -1);
}

}  // namespace
}  // namespace ORV::Common::Platform
