// SPDX-License-Identifier: MIT
// What the montage looks like: size, orientation, windows, background, and its pixels.
#include "support/ImageMatchers.h"
#include "support/ThreadLimit.h"
#include "support/Views.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace {

using namespace montage;
using namespace ORV::TestSupport;

const MatSource& source() {
  static const MatSource kSource(eightViews().images);
  return kSource;
}

const Registration& registration() {
  static const Registration kRegistration = registerImages(source());
  return kRegistration;
}

TEST(Compose, WindowsAreParts) {
  for (const auto& [blending, background, crop] :
       {std::tuple{Blending::multiBand, Background::transparent, Crop::none},
        std::tuple{Blending::feather, Background::white, Crop::content},
        std::tuple{Blending::none, Background::black, Crop::inner}}) {
    PlanOptions options;
    options.blending = blending;
    options.background = background;
    options.crop = crop;
    Composer composer(planMontage(registration(), source(), options));
    const cv::Mat whole = composer.compose(source());
    MatSink sink;
    composer.compose(source(), sink);
    EXPECT_THAT(sink.picture(), EqualsImage(whole));
    cv::RNG random(11);
    for (int k = 0; k < 12; ++k) {
      const cv::Size size(random.uniform(1, whole.cols), random.uniform(1, whole.rows));
      const cv::Rect window(cv::Point(random.uniform(0, whole.cols - size.width + 1),
                                      random.uniform(0, whole.rows - size.height + 1)),
                            size);
      const ThreadLimit threads(1 + k % 2);
      EXPECT_THAT(composer.compose(source(), window), EqualsImage(whole(window).clone()));
    }
    EXPECT_THROW(composer.compose(source(), cv::Rect(0, 0, whole.cols + 1, 1)),
                 std::invalid_argument);
  }
}

/// Counts reads, to see that a window needs few.
class CountingSource : public MatSource {
 public:
  using MatSource::MatSource;
  cv::Mat read(int index) const override {
    ++reads;
    return MatSource::read(index);
  }
  mutable std::atomic<int> reads{0};
};

TEST(Compose, ReadsWhatBearsOnTheWindow) {
  const CountingSource counting(eightViews().images);
  const MontagePlan plan = planMontage(registration(), counting);
  EXPECT_EQ(counting.reads, 8);
  counting.reads = 0;
  compose(plan, counting, cv::Rect(0, 0, 30, 30));
  EXPECT_LE(counting.reads, 3);
}

TEST(PicturePipeline, DarkensNoPixel) {
  // Two shades that no gain makes equal: the seam must not show anything darker than both.
  std::vector<cv::Mat> images = {eightViews().images[0].clone(), eightViews().images[3].clone()};
  images[1].colRange(0, 160) *= 1.3;
  const MatSource two(images);
  const Registration pair = registerImages(two);
  PlanOptions options;
  options.background = Background::transparent;
  const MontagePlan plan = planMontage(pair, two, options);
  ASSERT_EQ(plan.status, PlanStatus::ok) << plan.reason;
  const cv::Mat picture = compose(plan, two);

  options.seams = Seams::none;
  options.blending = Blending::none;
  int covered = 0;
  int darker = 0;
  std::vector<cv::Mat> alone;
  for (const bool firstOnly : {true, false}) {
    MontagePlan single = plan;
    single.images = {plan.images[firstOnly ? 0 : 1]};
    single.images[0].seamMask.setTo(255);
    alone.push_back(compose(single, two));
  }
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      const auto& pixel = picture.at<cv::Vec4b>(y, x);
      int lowest = 256;
      for (const cv::Mat& image : alone) {
        const auto& value = image.at<cv::Vec4b>(y, x);
        lowest = value[3] != 0 ? std::min<int>(lowest, value[1]) : lowest;
      }
      EXPECT_EQ(pixel[3] != 0, lowest < 256) << x << ", " << y;
      covered += lowest < 256 ? 1 : 0;
      darker += lowest < 256 && pixel[1] < lowest - 2 ? 1 : 0;
    }
  }
  EXPECT_GT(covered, 320 * 240);
  EXPECT_EQ(darker, 0);
}

TEST(Plan, CropsToContentWithoutBackground) {
  PlanOptions options;
  options.crop = Crop::inner;
  options.background = Background::transparent;
  const MontagePlan inner = planMontage(registration(), source(), options);
  cv::Mat alpha;
  cv::extractChannel(compose(inner, source()), alpha, 3);
  EXPECT_EQ(cv::countNonZero(alpha), alpha.size().area());
  options.crop = Crop::content;
  const MontagePlan content = planMontage(registration(), source(), options);
  EXPECT_GT(content.size.area(), inner.size.area());
  cv::extractChannel(compose(content, source()), alpha, 3);
  for (const cv::Mat& rim : {alpha.row(0),
                             alpha.row(alpha.rows - 1),
                             alpha.col(0).clone(),
                             alpha.col(alpha.cols - 1).clone()}) {
    EXPECT_GT(cv::countNonZero(rim), 0);
  }
}

TEST(Plan, IsUprightAndFacesTheMeanDirection) {
  std::vector<Gaze> strip;
  for (int i = 0; i < 5; ++i) {
    strip.push_back({4.0, -20 + 10.0 * i, 2.0});
  }
  const ViewSet views = renderViews(makePicture({620, 1000}, 6), strip);
  const MatSource images(views.images);
  const Registration found = registerImages(images);
  ASSERT_EQ(found.used.size(), 5U);
  for (const Straighten straighten : {Straighten::automatic, Straighten::vertical}) {
    PlanOptions options;
    options.straighten = straighten;
    const MontagePlan plan = planMontage(found, images, options);
    ASSERT_EQ(plan.status, PlanStatus::ok) << plan.reason;
    EXPECT_EQ(plan.images.size(), 5U);
    for (int i = 0; i < 4; ++i) {
      const cv::Point2d step =
          plan.montageFromImage(i + 1, {159.5, 119.5}) - plan.montageFromImage(i, {159.5, 119.5});
      EXPECT_GT(step.y, 50);
      EXPECT_LT(std::abs(step.x), 0.2 * step.y);
    }
  }
}

TEST(Plan, LeavesOutWhatNoPlaneShows) {
  // Cameras of a fan of 180 degrees; only the planning needs them.
  Registration fan = registration();
  for (int i = 0; i < 8; ++i) {
    Camera& camera = fan.images[static_cast<std::size_t>(i)].camera;
    camera.worldFromCamera = rotationOf({-90 + 180.0 / 7 * i, 0, 0});
  }
  PlanOptions options;
  options.seams = Seams::none;
  const MontagePlan plan = planMontage(fan, source(), options);
  ASSERT_EQ(plan.status, PlanStatus::ok) << plan.reason;
  EXPECT_EQ(plan.images.size(), 6U);
  ASSERT_EQ(plan.leftOut.size(), 2U);
  EXPECT_NE(plan.leftOut[0].reason.find("90 degrees off the plane"), std::string::npos);
  EXPECT_NE(plan.reason.find("left out: image 0 (it looks"), std::string::npos);

  options.maxMegapixels = 0.1;
  const MontagePlan large = planMontage(registration(), source(), options);
  EXPECT_EQ(large.status, PlanStatus::tooLarge);
  EXPECT_NE(large.reason.find("at most 0.1"), std::string::npos);
  EXPECT_THROW(compose(large, source()), std::invalid_argument);
}

TEST(Plan, TakesTheSameViewsAtAnotherResolution) {
  std::vector<cv::Mat> larger;
  for (const cv::Mat& image : eightViews().images) {
    larger.emplace_back();
    cv::resize(image, larger.back(), cv::Size(), 2, 2, cv::INTER_CUBIC);
  }
  const MontagePlan plan = planMontage(registration(), source());
  const MontagePlan twice = planMontage(registration(), MatSource(larger));
  EXPECT_NEAR(twice.size.width, 2 * plan.size.width, 4);
  EXPECT_NEAR(twice.size.height, 2 * plan.size.height, 4);
  const cv::Point2d once = plan.montageFromImage(5, {10, 20});
  const cv::Point2d there = twice.montageFromImage(5, {20.5, 40.5});
  EXPECT_NEAR(there.x, 2 * once.x + 0.5, 2);
  EXPECT_NEAR(there.y, 2 * once.y + 0.5, 2);
  larger[3] = larger[3].colRange(0, 600).clone();
  EXPECT_THROW(planMontage(registration(), MatSource(larger)), std::invalid_argument);
  EXPECT_THROW(compose(plan, MatSource(larger)), std::invalid_argument);
}

TEST(Progress, StopsEveryStageAndLetsExceptionsOut) {
  struct Fault {};
  const auto& images = eightViews().images;
  const MatSource three({images[0], images[3], images[6]});
  const auto work = [&](const Progress& progress) {
    const Registration found = registerImages(three, {}, progress);
    compose(planMontage(found, three, {}, progress), three, progress);
  };
  std::vector<Stage> stages;
  int reports = 0;
  work([&](const ProgressReport& report) {
    EXPECT_TRUE(report.done >= 0 && report.done <= report.total);
    ++reports;
    if (stages.empty() || stages.back() != report.stage) {
      stages.push_back(report.stage);
    }
    return true;
  });
  EXPECT_EQ(stages,
            (std::vector<Stage>{Stage::describe,
                                Stage::match,
                                Stage::adjust,
                                Stage::warp,
                                Stage::gains,
                                Stage::seams,
                                Stage::compose}));
  for (int stopAt = 1; stopAt < reports; stopAt += 3) {
    int seen = 0;
    EXPECT_THROW(work([&](const ProgressReport&) { return ++seen < stopAt; }), Cancelled);
    EXPECT_EQ(seen, stopAt);  // nobody asks again
  }
  int seen = 0;
  EXPECT_THROW(work([&](const ProgressReport&) {
                 if (++seen == 12) {
                   throw Fault{};
                 }
                 return true;
               }),
               Fault);
}

}  // namespace
