// SPDX-License-Identifier: MIT
#include "DistortCorrect/ContentBounds.h"
#include "DistortCorrect/Images.h"
#include "DistortCorrect/PlainCorrection.h"
#include "DistortCorrect/PlaneRendering.h"
#include "Platform/CubicSampler.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

using Values = std::vector<int>;

/// One axis of the lenient scan: the other is always content from 1 to the end.
Values lenient(const Values& columns) {
  Values rows(columns.size(), 1);
  rows[0] = 0;
  const LenientBounds scan = scanLenient({columns, rows}, AtBreak::kStop);
  return {scan.bounds.left, scan.bounds.right, scan.unbroken ? 1 : 0};
}

TEST(ContentBounds, LenientScanNeverTakesIndexZero) {
  EXPECT_EQ(lenient({0, 0, 5, 6, 0, 0}), (Values{2, 4, 1}));
  EXPECT_EQ(lenient({3, 4, 0, 0, 0, 0}), (Values{1, 2, 1}));  // content at 0 starts at 1
  EXPECT_EQ(lenient({3, 0, 0, 0, 0, 0}), (Values{0, 5, 1}));  // content at 0 only
  EXPECT_EQ(lenient({0, 0, 0, 0, 0, 0}), (Values{0, 5, 1}));
  EXPECT_EQ(lenient({0, 0, 1, 1, 1, 1}), (Values{2, 5, 1}));  // up to the last index
  EXPECT_EQ(lenient({0, 0, 0, 0, 0, 1}), (Values{5, 5, 1}));  // an empty crop
  EXPECT_EQ(lenient({0, 0, 1, 1, 1, 0}), (Values{2, 5, 1}));
  EXPECT_EQ(lenient({0, 1, 0, 1, 0, 0}), (Values{1, 2, 0}));
  EXPECT_EQ(lenient({9}), (Values{0, 0, 1}));
}

TEST(ContentBounds, LenientScanStopsWithWhatTheBreakingIndexSet) {
  const ContentProfile profile{{0, 1, 0, 1, 0}, {0, 0, 1, 0, 0}};
  const ContentBounds stopped = scanLenient(profile, AtBreak::kStop).bounds;
  EXPECT_EQ(stopped.bottom, 3);  // found at index 3, where the columns break
  const ContentProfile later{{0, 1, 0, 1, 0, 0}, {0, 0, 1, 1, 0, 0}};
  EXPECT_EQ(scanLenient(later, AtBreak::kStop).bounds.bottom, 5);  // not reached
  EXPECT_EQ(scanLenient(later, AtBreak::kIgnore).bounds.bottom, 4);
  EXPECT_EQ(scanLenient(later, AtBreak::kIgnore).bounds.right, 2);
}

TEST(ContentBounds, StrictScanWantsContentWhollyInside) {
  const Values good{0, 0, 5, 6, 0, 0};
  const auto accepts = [&](const Values& values) {
    const bool asColumns = scanStrict({values, good}).has_value();
    EXPECT_EQ(asColumns, scanStrict({good, values}).has_value());
    return asColumns;
  };
  EXPECT_TRUE(accepts(good));
  EXPECT_TRUE(accepts({0, 1, 0, 0}));
  EXPECT_FALSE(accepts({1, 1, 0, 0, 0}));  // touches the first
  EXPECT_FALSE(accepts({0, 1, 1, 1, 1}));  // touches the last
  EXPECT_FALSE(accepts({0, 1, 1, 1, 0}));  // first empty index is the last one
  EXPECT_FALSE(accepts({0, 0, 0, 0, 0}));
  EXPECT_FALSE(accepts({0, 1, 0, 1, 0, 0}));
  EXPECT_FALSE(accepts({0, 1, 0, 0, 1}));
  EXPECT_FALSE(accepts({5}));
  const ContentBounds bounds = *scanStrict({good, {0, 1, 0, 0}});
  EXPECT_EQ(bounds.rect(), cv::Rect(2, 1, 2, 1));
}

TEST(ContentProfile, OfAPictureSearchedInPassesAgreesWithTheWholePicture) {
  cv::RNG random(13);
  for (int round = 0; round < 8; ++round) {
    SCOPED_TRACE(round);
    const int type = round % 2 == 0 ? CV_8UC1 : CV_8UC3;
    cv::Mat source = noise(random.uniform(50, 300), random.uniform(50, 300), type, random.next());
    // So sparse that the averages of columns and rows lie about the least that counts.
    source.setTo(cv::Scalar(), noise(source.rows, source.cols, CV_8UC1, random.next()) > 1);
    if (round >= 4) {  // single bright pixels in large black areas, which are not sampled
      source.setTo(cv::Scalar(), noise(source.rows, source.cols, CV_8UC1, random.next()) > 40);
    }
    const plain::View view{1.5, 0.0, random.uniform(0.8, 1.6), random.uniform(-0.4, 0.4)};
    const std::vector<float> xs = plain::grid(-1.0F, 1.2F, random.uniform(700, 1200));
    const std::vector<float> ys = plain::grid(-1.1F, 1.0F, random.uniform(700, 1200));
    const Platform::CubicSampler sampler(source);
    const PlanePicture picture(
        PlaneProjection(Lift::kStereographic,
                        LensModel(view.halfFieldAngle, view.cubicCoeff, view.linearCoeff),
                        Orientation{view.yaw, view.pitch, view.roll},
                        PixelAxis::ofHalfSize(source.cols),
                        PixelAxis::ofHalfSize(source.rows)),
        {xs, ys},
        source,
        [&](const cv::Mat& cols, const cv::Mat& rows, cv::Mat& tile) {
          sampler.sample(cols, rows, tile);
        });
    const cv::Mat whole = plain::sampled(source, plain::maps(view, xs, ys, source.size()));
    const auto content = [](Values values) {
      std::transform(values.begin(), values.end(), values.begin(), [](int v) { return v > 0; });
      return values;
    };
    const ContentProfile profile = picture.contentProfile();
    EXPECT_EQ(content(profile.columns), content(plain::averages(whole, 0)));
    EXPECT_EQ(content(profile.rows), content(plain::averages(whole, 1)));
    const cv::Rect part(whole.cols / 5, whole.rows / 3, whole.cols / 2, whole.rows / 2);
    EXPECT_TRUE(samePixels(picture.render(part), whole(part)));
  }
}

TEST(ContentProfile, AveragesAreThoseOfReduce) {
  cv::RNG random(3);
  for (int round = 0; round < 30; ++round) {
    SCOPED_TRACE(round);
    const int type = round % 2 == 0 ? CV_8UC1 : CV_8UC3;
    cv::Mat picture(random.uniform(1, 600), random.uniform(1, 900), type);
    // Mostly dark pictures have averages around the halves where rounding decides.
    random.fill(picture, cv::RNG::UNIFORM, 0, round % 3 == 0 ? 256 : 2 + round % 3);
    const ContentProfile profile = profileOf(picture);
    EXPECT_EQ(profile.columns, plain::averages(picture, 0));
    EXPECT_EQ(profile.rows, plain::averages(picture, 1));
  }
}

TEST(ContentProfile, HalfAGreyLevelRoundsToBlack) {
  cv::Mat picture = cv::Mat::zeros(40, 9200, CV_8UC1);
  picture.row(3).colRange(0, 18) = 255;  // 18 * 255 < 9200 / 2
  picture.row(5).colRange(0, 19) = 255;
  EXPECT_EQ(profileOf(picture).rows[3], 0);
  EXPECT_EQ(profileOf(picture).rows[5], 1);
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
