// SPDX-License-Identifier: MIT
// Whole runs over rendered views whose truth is known.
#include "support/Checksum.h"
#include "support/ImageMatchers.h"
#include "support/MontageCall.h"
#include "support/PositionTruth.h"
#include "support/StandardOutput.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace ORV::TestSupport;
using Ints = std::vector<int>;

constexpr double kPositionTolerancePx = 2.0;
constexpr double kFrameToleranceDeg = 1.0;
constexpr std::array<double, 3> kFullResolution = {-1, -1, -1};
const char* const kOneLine[] = {
    "Warning: One or more images have been removed from being used in the final montage.\n",
    "Warning: An image has been removed from being used in the final montage.\n"};

const cv::Mat& picture() {
  static const cv::Mat kPicture = makePicture({900, 700}, 1);
  return kPicture;
}

/// Four views in no particular order, so that a mix-up of numbers shows.
const ViewSet& fourViews() {
  static const ViewSet kViews =
      renderViews(picture(), {{0, -5, 1}, {-11, 3, -2}, {12, 4, 2}, {1, 6, 0}});
  return kViews;
}

cv::Mat unrelatedView(unsigned seed) {
  return renderViews(makePicture({500, 400}, 1000 + seed), {{0, 0, 0}}).images[0];
}

FrameFit fitOf(Pipeline pipeline, const ViewSet& views, const Ints& kept, const Ints& positions) {
  return pipeline == Pipeline::kBasic ? fitBasicFrame(views, kept, positions)
                                      : fitDiagnosticFrame(views, kept, positions);
}

void expectTruePlaces(Pipeline pipeline,
                      const ViewSet& views,
                      const Ints& kept,
                      const Ints& positions,
                      double tolerancePx = kPositionTolerancePx) {
  const FrameFit fit = fitOf(pipeline, views, kept, positions);
  EXPECT_LT(fit.worstErrorPx, tolerancePx);
  EXPECT_LT(fit.rotationDeg, kFrameToleranceDeg);
}

class EitherPipeline : public testing::TestWithParam<Pipeline> {
 protected:
  MontageResult call(const std::vector<cv::Mat>& images, const MontageOptions& options = {}) {
    const StandardOutput output;
    MontageResult result = callMontage(GetParam(), images, options);
    printed_ = output.text();
    return result;
  }
  [[nodiscard]] const char* warning() const {
    return kOneLine[GetParam() == Pipeline::kBasic ? 0 : 1];
  }

  std::string printed_;
};

INSTANTIATE_TEST_SUITE_P(Montage,
                         EitherPipeline,
                         testing::Values(Pipeline::kBasic, Pipeline::kDiagnostic),
                         [](const auto& each) {
                           return each.param == Pipeline::kBasic ? "Basic" : "Diagnostic";
                         });

TEST_P(EitherPipeline, PlacesEveryViewWhereItBelongs) {
  for (const bool seams : {true, false}) {
    MontageOptions options;
    options.graphCutSeams = seams;
    options.megapixels = kFullResolution;
    const MontageResult result = call(fourViews().images, options);
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(printed_, "");
    EXPECT_EQ(result.included, (Ints{1, 1, 1, 1}));
    expectTruePlaces(GetParam(), fourViews(), {0, 1, 2, 3}, result.positions);
    EXPECT_EQ(result.montages[0].type(), CV_8UC3);
  }
}

TEST_P(EitherPipeline, LeavesOutWhatDoesNotBelong) {
  ViewSet views = fourViews();
  views.images.insert(views.images.begin() + 1, unrelatedView(1));
  views.worldFromView.insert(views.worldFromView.begin() + 1, cv::Matx33d::eye());
  MontageOptions options;
  options.graphCutSeams = false;
  options.megapixels = kFullResolution;
  const MontageResult result = call(views.images, options);
  ASSERT_EQ(result.status, 0);
  EXPECT_EQ(printed_, warning());
  EXPECT_EQ(result.included, (Ints{1, 0, 1, 1, 1}));
  EXPECT_EQ(result.positions[2], 0);
  EXPECT_EQ(result.positions[3], 0);
  expectTruePlaces(GetParam(), views, {0, 2, 3, 4}, result.positions);
}

TEST_P(EitherPipeline, WarnsOnceHoweverManyAreLeftOut) {
  const auto& views = fourViews().images;
  const MontageResult result = call({unrelatedView(1), views[0], views[3], unrelatedView(2)});
  ASSERT_EQ(result.status, 0);
  EXPECT_EQ(printed_, warning());
  EXPECT_EQ(result.included, (Ints{0, 1, 1, 0}));
}

TEST_P(EitherPipeline, RefusesImagesThatDoNotConnectAndTouchesNothing) {
  const cv::Mat view = fourViews().images[0];
  struct Case {
    const char* name;
    std::vector<cv::Mat> images;
    int constituentCount;
  };
  const Case cases[] = {
      {"no overlap", {view, unrelatedView(1)}, -1},
      {"one image", {view}, -1},
      {"one constituent of two", {view, view}, 1},
      {"no constituent", {view}, 0},
      {"no buffer", {}, 0},
      {"flat images",
       {cv::Mat(60, 80, CV_8UC1, cv::Scalar(9)), cv::Mat(60, 80, CV_8UC1, cv::Scalar(9))},
       -1}};
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    MontageOptions options;
    options.constituentCount = each.constituentCount;
    const MontageResult result = call(each.images, options);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.untouched());
    EXPECT_EQ(printed_, "");
  }
}

TEST_P(EitherPipeline, ComposesEverySlabWithTheGeometryOfTheFirst) {
  std::vector<cv::Mat> images = greyOf(fourViews().images);
  for (int repeat = 0; repeat < 2; ++repeat) {
    for (std::size_t i = 0; i < 4; ++i) {
      images.push_back(repeat == 0 ? images[i].clone() : cv::Mat(255 - images[i]));
    }
  }
  MontageOptions options;
  options.slabCount = 3;
  options.graphCutSeams = false;
  options.blend = false;
  const MontageResult result = call(images, options);
  ASSERT_EQ(result.status, 0);
  EXPECT_THAT(result.montages[1], EqualsImage(result.montages[0]));
  ASSERT_EQ(result.montages[2].size(), result.montages[0].size());
  if (GetParam() == Pipeline::kBasic) {  // the other normalises each slab's brightness by itself
    const cv::Mat covered = (result.montages[0] != 0) & (result.montages[2] != 0);
    cv::Mat opposite = 255 - result.montages[2], expected = result.montages[0].clone();
    opposite.setTo(0, covered == 0);
    expected.setTo(0, covered == 0);
    EXPECT_GT(cv::countNonZero(covered), 320 * 240);
    EXPECT_THAT(opposite, ImageNear(expected, 1));
  }
}

TEST_P(EitherPipeline, WithoutSlabsStillReportsPlaces) {
  MontageOptions options;
  options.graphCutSeams = false;
  options.megapixels = kFullResolution;
  const MontageResult one = call(fourViews().images, options);
  options.slabCount = 0;
  const MontageResult none = call(fourViews().images, options);
  EXPECT_EQ(none.status, 0);
  EXPECT_EQ(none.included, one.included);
  EXPECT_EQ(none.positions, one.positions);  // seams and composition both at full resolution
  EXPECT_EQ(none.figures, one.figures);
}

TEST_P(EitherPipeline, FirstImageInProcessingOrderDecidesTheChannels) {
  std::vector<cv::Mat> images = fourViews().images;
  images[0] = greyOf(images[0]);
  EXPECT_EQ(call(images).montages[0].type(), GetParam() == Pipeline::kBasic ? CV_8UC1 : CV_8UC3);
  EXPECT_EQ(call(greyOf(fourViews().images)).montages[0].type(), CV_8UC1);
}

TEST_P(EitherPipeline, ResamplesBuffersOfOtherSizes) {
  std::vector<cv::Mat> images = fourViews().images;
  cv::resize(images[2], images[2], {400, 300}, 0, 0, cv::INTER_CUBIC);
  std::vector<cv::Mat> resampled = images;
  cv::resize(images[2], resampled[2], {320, 240}, 0, 0, cv::INTER_LINEAR);
  const MontageResult result = call(images);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.fingerprint(), call(resampled).fingerprint());
}

TEST_P(EitherPipeline, TakesOneChannelOfBuffersWithTwoOrFour) {
  const std::vector<cv::Mat> grey = greyOf(fourViews().images);
  const std::uint64_t expected = call(grey).fingerprint();
  for (const int channels : {2, 4}) {
    std::vector<cv::Mat> wide;
    for (const cv::Mat& image : grey) {
      // The first `width` bytes of a row are the image, the rest must not matter.
      cv::Mat buffer(image.rows, image.cols, CV_8UC(channels), cv::Scalar::all(13));
      image.copyTo(buffer.reshape(1).colRange(0, image.cols));
      wide.push_back(buffer);
    }
    EXPECT_EQ(call(wide).fingerprint(), expected) << channels << " channels";
  }
}

TEST_P(EitherPipeline, NeverWritesTheCallersBuffers) {
  for (const bool grey : {true, false}) {
    std::vector<cv::Mat> images;
    for (const cv::Mat& image : fourViews().images) {
      images.push_back(grey ? greyOf(image) : image.clone());
    }
    const std::uint64_t before = checksum(images);
    ASSERT_EQ(call(images).status, 0);
    EXPECT_EQ(checksum(images), before);
  }
}

TEST_P(EitherPipeline, IgnoresBuffersBeyondTheSlabs) {
  std::vector<cv::Mat> images = fourViews().images;
  const std::uint64_t expected = call(images).fingerprint();
  images.push_back(unrelatedView(5));
  MontageOptions options;
  options.constituentCount = 4;
  EXPECT_EQ(call(images, options).fingerprint(), expected);
}

TEST_P(EitherPipeline, WorksAtThreeResolutions) {
  MontageOptions options;
  options.megapixels = {0.06, 0.03, 0.02};
  const MontageResult result = call(fourViews().images, options);
  ASSERT_EQ(result.status, 0);
  EXPECT_EQ(result.included, (Ints{1, 1, 1, 1}));
  // Positions are composition pixels in one pipeline, full-resolution pixels in the other.
  const double scale = std::sqrt(0.02e6 / (320 * 240));
  Ints positions = result.positions;
  if (GetParam() == Pipeline::kBasic) {
    std::transform(positions.begin(), positions.end(), positions.begin(), [&](int value) {
      return cvRound(value / scale);
    });
  }
  expectTruePlaces(GetParam(), fourViews(), {0, 1, 2, 3}, positions, 2 / scale);
  const MontageResult full = call(fourViews().images);
  EXPECT_NEAR(result.montages[0].cols, full.montages[0].cols * scale, 4);
  EXPECT_NEAR(result.montages[0].rows, full.montages[0].rows * scale, 4);
}

TEST_P(EitherPipeline, GivesFlatPicturesTheirOwnSize) {
  // Cut out of one picture at whole pixels: no focal length is too long for such views.
  cv::Mat texture(500, 600, CV_8UC3);
  cv::RNG(5).fill(texture, cv::RNG::UNIFORM, 0, 256);
  cv::GaussianBlur(texture, texture, {}, 2.5);
  cv::normalize(texture, texture, 0, 255, cv::NORM_MINMAX);
  const std::vector<cv::Point> layouts[] = {{{0, 0}, {150, 7}, {-9, 110}, {161, 121}},
                                            {{140, 120}, {0, 0}, {163, 5}, {11, 104}},
                                            {{90, 60}, {5, 130}, {170, 0}, {0, 15}}};
  for (const std::vector<cv::Point>& corners : layouts) {
    std::vector<cv::Mat> images;
    cv::Rect all;
    for (const cv::Point& corner : corners) {
      const cv::Rect part(corner + cv::Point(20, 20), cv::Size(320, 240));
      images.push_back(texture(part).clone());
      all |= part;
    }
    MontageOptions options;
    options.graphCutSeams = false;
    const MontageResult result = call(images, options);
    ASSERT_EQ(result.status, 0);
    EXPECT_NEAR(result.montages[0].cols, all.width, 3);
    EXPECT_NEAR(result.montages[0].rows, all.height, 3);
  }
}

/// What the montage plane of the basic pipeline shows, seen from above the true cameras.
cv::Mat expectedMontage(const ViewSet& views, const MontageResult& result) {
  Ints kept(views.images.size());
  std::iota(kept.begin(), kept.end(), 0);
  cv::Point2d topLeft(1e9, 1e9);
  for (std::size_t i = 0; i < kept.size(); ++i) {
    topLeft.x = std::min<double>(topLeft.x, result.positions[2 * i]);
    topLeft.y = std::min<double>(topLeft.y, result.positions[2 * i + 1]);
  }
  const cv::Matx33d planeFromMontage(1, 0, topLeft.x, 0, 1, topLeft.y, 0, 0, views.K(0, 0));
  const FrameFit fit = fitBasicFrame(views, kept, result.positions);
  const cv::Matx33d worldFromFrame = views.worldFromView[0] * fit.frameFromView[0].t();
  const cv::Matx33d pictureFromMontage =
      intrinsics(views.K(0, 0), picture().size()) * worldFromFrame * planeFromMontage;
  cv::Mat montage;
  cv::warpPerspective(picture(),
                      montage,
                      pictureFromMontage,
                      result.montages[0].size(),
                      cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                      cv::BORDER_REFLECT);
  return montage;
}

cv::Mat coveredArea(const cv::Mat& montage) {
  cv::Mat covered = greyOf(montage) > 0;
  cv::erode(covered, covered, cv::Mat(), {-1, -1}, 4);
  return covered;
}

TEST(Montage, ShowsThePicture) {
  for (const bool seams : {true, false}) {
    for (const bool blend : {true, false}) {
      MontageOptions options;
      options.graphCutSeams = seams;
      options.blend = blend;
      const MontageResult result = callMontage(Pipeline::kBasic, fourViews().images, options);
      ASSERT_EQ(result.status, 0);
      const cv::Mat covered = coveredArea(result.montages[0]);
      EXPECT_GT(cv::countNonZero(covered), 2 * 320 * 240);
      cv::Mat difference;
      cv::absdiff(result.montages[0], expectedMontage(fourViews(), result), difference);
      // Views in wrong places or order differ by more than 30 grey levels on this picture.
      EXPECT_LT(cv::mean(greyOf(difference), covered)[0], 6.0)
          << "seams " << seams << ", blending " << blend;
    }
  }
}

TEST(Montage, SeamsComeWithExposureGains) {
  ViewSettings settings;
  settings.gains = {1.2, 0.8};
  const ViewSet views = renderViews(picture(), {{-3, 0, 0}, {3, 0, 0}}, settings);
  const MontageResult result = callMontage(Pipeline::kBasic, views.images);
  ASSERT_EQ(result.status, 0);
  const cv::Mat montage = result.montages[0], expected = expectedMontage(views, result);
  // Two strips well inside the overlap, the first supplied by the bright view, the other by the
  // dark.
  const auto brightness = [&](int column) {
    const cv::Rect strip(column, 60, 50, 120);
    return cv::mean(greyOf(montage(strip)))[0] / cv::mean(greyOf(expected(strip)))[0];
  };
  EXPECT_LT(brightness(80) / brightness(montage.cols - 130), 1.2) << "1.5 without gains";
}

TEST(Montage, ReportsTheQualityOfTheRegistration) {
  const MontageResult result = callMontage(Pipeline::kDiagnostic, fourViews().images);
  ASSERT_EQ(result.status, 0);
  const auto [errorRms, focalMean, focalRange, rotationMax] = result.figures;
  EXPECT_GT(errorRms, 0.0);
  EXPECT_LT(errorRms, 1.5);
  EXPECT_NEAR(focalMean, 420, 8);
  EXPECT_GE(focalRange, 0);
  EXPECT_LT(focalRange, 8);
  // The widest turn between two views, or from the view in the middle of them, in radians.
  EXPECT_GT(rotationMax, 11 * CV_PI / 180);
  EXPECT_LT(rotationMax, 26 * CV_PI / 180);
}

TEST(Montage, DiagnosticBrightnessIsNormalised) {
  std::vector<cv::Mat> dark;
  for (const cv::Mat& image : greyOf(fourViews().images)) {
    dark.push_back(0.3 * image);
  }
  const cv::Mat montage = callMontage(Pipeline::kDiagnostic, dark).montages[0];
  std::vector<uchar> sorted(montage.begin<uchar>(), montage.end<uchar>());
  std::sort(sorted.begin(), sorted.end());
  EXPECT_NEAR(sorted[sorted.size() * 98 / 100], 179, 4);
}

}  // namespace
