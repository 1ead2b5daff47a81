// SPDX-License-Identifier: MIT
// Which images are used, why the others are not, and where the cameras look.
#include "support/Views.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <string>

namespace {

using namespace montage;
using namespace ORV::TestSupport;

cv::Mat unrelatedView(unsigned seed) {
  return renderViews(makePicture({500, 400}, 1000 + seed), {{0, 0, 0}}).images[0];
}

/// Matches between two images that fit a homography which is not theirs.
PairMatches plantedPair(const std::vector<Features>& features,
                        int first,
                        int second,
                        const cv::Matx33d& homography) {
  const Features& from = features[static_cast<std::size_t>(first)];
  const Features& to = features[static_cast<std::size_t>(second)];
  PairMatches pair;
  pair.first = first;
  pair.second = second;
  for (std::size_t i = 0; i < from.keypoints.size(); ++i) {
    const cv::Point2f point = from.keypoints[i].pt;
    const cv::Vec3d mapped = homography * cv::Vec3d(point.x, point.y, 1);
    const cv::Point2f place(static_cast<float>(mapped[0] / mapped[2]),
                            static_cast<float>(mapped[1] / mapped[2]));
    for (std::size_t j = 0; j < to.keypoints.size(); ++j) {
      if (cv::norm(to.keypoints[j].pt - place) < 2) {
        pair.matches.emplace_back(static_cast<int>(i), static_cast<int>(j), 100.F);
        break;
      }
    }
  }
  pair.inliers.assign(pair.matches.size(), 1);
  pair.inlierCount = static_cast<int>(pair.matches.size());
  const cv::Matx33d centre(
      1, 0, from.scaledSize.width / 2.0, 0, 1, from.scaledSize.height / 2.0, 0, 0, 1);
  pair.secondFromFirst = centre.inv() * homography * centre;
  pair.hasHomography = true;
  pair.confidence = pair.inlierCount / (8 + 0.3 * pair.inlierCount);
  return pair;
}

TEST(Adjust, DropsAPlantedPairInEveryOrder) {
  const ViewSet& views = eightViews();
  std::mt19937 random(3);
  std::vector<int> order(8);
  std::iota(order.begin(), order.end(), 0);
  for (int round = 0; round < 4; ++round) {
    SCOPED_TRACE(round);
    std::vector<Features> features;
    for (const int view : order) {
      features.push_back(describe(views.images[static_cast<std::size_t>(view)]));
    }
    const auto imageOf = [&](int view) {
      return static_cast<int>(std::find(order.begin(), order.end(), view) - order.begin());
    };
    // Places 0 and 7, at opposite corners, with the homography of neighbours.
    const auto [first, second] = std::minmax({imageOf(0), imageOf(5)});
    std::vector<PairMatches> pairs;
    for (int a = 0; a < 8; ++a) {
      for (int b = a + 1; b < 8; ++b) {
        pairs.push_back(
            match(features[static_cast<std::size_t>(a)], features[static_cast<std::size_t>(b)]));
        pairs.back().first = a;
        pairs.back().second = b;
        if (a == first && b == second) {
          pairs.back() = plantedPair(features, a, b, views.homography(0, 3));
          ASSERT_GT(pairs.back().confidence, 0.7);
        }
      }
    }
    const Registration registration = adjust(features, pairs);
    EXPECT_EQ(registration.used.size(), 8U);
    EXPECT_LT(worstCameraError(registration, views, order), 0.2);
    for (const RegisteredPair& pair : registration.pairs) {
      const bool planted = pair.first == first && pair.second == second;
      const bool dropped =
          pair.verdict == PairVerdict::openLoop || pair.verdict == PairVerdict::largeResidual;
      EXPECT_EQ(dropped, planted) << pair.first << ", " << pair.second;
    }
    std::shuffle(order.begin(), order.end(), random);
  }
}

/// Images in memory of which one cannot be read.
class PartlyUnreadable : public MatSource {
 public:
  PartlyUnreadable(std::vector<cv::Mat> images, int unreadable)
      : MatSource(std::move(images)), unreadable_(unreadable) {}
  cv::Mat read(int index) const override {
    if (index == unreadable_) {
      throw FileError("torn.jpg", "it is torn");
    }
    return MatSource::read(index);
  }

 private:
  int unreadable_;
};

TEST(RegisterImages, SaysWhyEveryImageIsUsedOrNot) {
  const ViewSet& views = eightViews();  // view i lies at place 3 i mod 8
  const ViewSet apart = renderViews(makePicture({700, 400}, 77), {{-4, 0, 0}, {5, 1, 0}});
  const std::vector<cv::Mat> images = {views.images[0],
                                       views.images[3],
                                       views.images[6],
                                       unrelatedView(1),
                                       cv::Mat(240, 320, CV_8UC3, cv::Scalar::all(90)),
                                       views.images[3].clone(),
                                       apart.images[0],
                                       apart.images[1],
                                       views.images[1]};
  const std::vector<Verdict> expected = {Verdict::used,
                                         Verdict::used,
                                         Verdict::used,
                                         Verdict::noPartner,
                                         Verdict::tooFewCorners,
                                         Verdict::tooAlike,
                                         Verdict::anotherGroup,
                                         Verdict::anotherGroup,
                                         Verdict::unreadable};
  const Registration registration = registerImages(PartlyUnreadable(images, 8));
  ASSERT_EQ(registration.status, RegistrationStatus::ok);
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(registration.images[i].verdict, expected[i]) << registration.images[i].reason;
  }
  const auto& reasons = registration.images;
  EXPECT_EQ(reasons[0].reason, "used, connected to 2 images");
  EXPECT_EQ(reasons[4].reason, "only 0 corners found in it");
  EXPECT_EQ(reasons[5].reason, "it shows the same view as image 1");
  EXPECT_NE(reasons[6].reason.find("group of 2 images (with image 7)"), std::string::npos);
  EXPECT_EQ(reasons[8].reason, "'torn.jpg': it is torn");
  EXPECT_LT(registration.figures.rms, 0.3);

  const Registration none = registerImages(MatSource({images[0], images[3]}));
  EXPECT_EQ(none.status, RegistrationStatus::notConnected);
  EXPECT_EQ(none.images[1].verdict, Verdict::noPartner);
  EXPECT_EQ(planMontage(none, MatSource({images[0], images[3]})).status, PlanStatus::nothingToShow);
}

TEST(RegisterImages, HoldsTheFocalLengthOfAFlatScene) {
  const cv::Mat picture = makePicture({700, 500}, 9);
  const std::vector<cv::Rect> places = {
      {0, 0, 320, 240}, {171, 13, 320, 240}, {8, 140, 320, 240}, {180, 151, 320, 240}};
  std::vector<cv::Mat> images;
  cv::Rect together = places[0];
  for (const cv::Rect& place : places) {
    images.push_back(picture(place).clone());
    together |= place;
  }
  const MatSource source(images);
  const Registration registration = registerImages(source);
  ASSERT_EQ(registration.used.size(), 4U);
  EXPECT_GT(registration.figures.focalMean, 20000);
  EXPECT_LE(registration.figures.focalMean, 200000);
  const MontagePlan plan = planMontage(registration, source);
  ASSERT_EQ(plan.status, PlanStatus::ok);
  EXPECT_NEAR(plan.size.width, together.width, 2);
  EXPECT_NEAR(plan.size.height, together.height, 2);
}

TEST(RegisterImages, EqualsTheFacadesForItsPresets) {
  // Numbers stay the caller's although the diagnostic preset processes from the last image on.
  const std::vector<cv::Mat> images(eightViews().images.begin(), eightViews().images.begin() + 4);
  RegisterOptions options = registerOptions(Preset::diagnostic);
  options.keepMatches = true;
  const Registration reversed = registerImages(MatSource(images), options);
  const Registration forward = registerImages(MatSource(images), registerOptions(Preset::basic));
  ASSERT_EQ(reversed.used.size(), forward.used.size());
  EXPECT_TRUE(std::is_sorted(reversed.used.rbegin(), reversed.used.rend()));
  for (std::size_t p = 0; p < forward.pairs.size(); ++p) {
    EXPECT_EQ(reversed.pairs[p].first, forward.pairs[p].first);
    EXPECT_EQ(reversed.pairs[p].second, forward.pairs[p].second);
    EXPECT_EQ(reversed.matches[p].first, forward.pairs[p].first);
    EXPECT_NEAR(
        reversed.pairs[p].inliers, forward.pairs[p].inliers, 0.1 * forward.pairs[p].matches + 5);
  }
}

TEST(Adjust, RefusesWhatDoesNotFitTogether) {
  const Features features = describe(eightViews().images[0]);
  PairMatches pair = match(features, features);
  pair.first = 0;
  pair.second = 2;
  EXPECT_THROW(adjust({features, features}, {pair}), std::invalid_argument);
  pair.second = 1;
  pair.matches[0].trainIdx = static_cast<int>(features.keypoints.size());
  EXPECT_THROW(adjust({features, features}, {pair}), std::invalid_argument);
  Features other = features;
  other.scale = 0.5;
  EXPECT_THROW(adjust({features, other}, {}), std::invalid_argument);
  EXPECT_THROW(describe(cv::Mat(10, 10, CV_16UC1)), std::invalid_argument);
  RegisterOptions options;
  options.features.megapixels = 1e-9;
  EXPECT_THROW(registerImages(MatSource({}), options), std::invalid_argument);
  EXPECT_EQ(registerImages(MatSource(std::vector<cv::Mat>())).status,
            RegistrationStatus::notConnected);
}

}  // namespace
