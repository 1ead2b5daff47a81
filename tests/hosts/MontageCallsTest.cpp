// SPDX-License-Identifier: MIT
/// @file
/// What `orv2d montage` hands to the library and takes from it: files, report and overlay equal
/// direct calls, with every option set to a value of its own.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"
#include "montage/Overlay.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <functional>
#include <montage/Montage.h>

namespace orv2d::tests {
namespace {

struct Case {
  std::string name;
  std::string arguments;
  montage::Preset preset;
  std::function<void(montage::PlanOptions&)> choose;
  MarkKind kind = MarkKind::Centre;
};

class MontageCalls : public HostTest {
 protected:
  static constexpr int kViews = 3;
  static constexpr int kSlabs = 2;

  /// Two slabs; the second one has other colours.
  MontageCalls() {
    const std::vector<cv::Mat> views = overlappingViews(kViews);
    for (int i = 0; i < kViews; ++i) {
      const cv::Mat& view = views[static_cast<std::size_t>(i)];
      slabs_[0].push_back(view);
      slabs_[1].push_back(255 - view);
    }
    for (int slab = 0; slab < kSlabs; ++slab) {
      for (int i = 0; i < kViews; ++i) {
        const std::string name = "s" + std::to_string(slab) + "v" + std::to_string(i) + ".png";
        cv::imwrite(path(name).string(), slabs_[slab][static_cast<std::size_t>(i)]);
        names_ += name + " ";
      }
    }
  }

  [[nodiscard]] cv::Mat image(const std::string& name) const {
    return cv::imread(path(name).string(), cv::IMREAD_UNCHANGED);
  }

  void expectSame(const cv::Mat& expected, const std::string& name) const {
    const cv::Mat actual = image(name);
    ASSERT_EQ(actual.size(), expected.size()) << name;
    ASSERT_EQ(actual.type(), expected.type()) << name;
    EXPECT_EQ(cv::norm(actual, expected, cv::NORM_INF), 0.0) << name;
  }

  /// Where the pipeline reports planned image `i`, and the same in pixels of the montage.
  static std::pair<cv::Point2d, cv::Point> positionOf(const Case& each,
                                                      const montage::MontagePlan& plan,
                                                      std::size_t i) {
    const montage::PlannedImage& image = plan.images[i];
    switch (each.preset) {
      case montage::Preset::picture: {
        const cv::Point2d centre = plan.montageFromImage(image.index, {199.5, 149.5});
        return {centre, {cvRound(centre.x), cvRound(centre.y)}};
      }
      case montage::Preset::basic:
        return {image.footprint.tl(), image.footprint.tl() - plan.origin};
      case montage::Preset::diagnostic:
        break;
    }
    const cv::Point2d centre = plan.footprintCentres()[i];
    const cv::Point cropped = plan.origin - plan.canvas.tl();
    return {centre,
            {cvRound(centre.x * plan.composeScale) - cropped.x,
             cvRound(centre.y * plan.composeScale) - cropped.y}};
  }

  std::vector<cv::Mat> slabs_[kSlabs];
  std::string names_;
};

TEST_F(MontageCalls, EqualDirectCallsWithEveryOption) {
  const Case cases[] = {
      {"picture",
       "--crop content --background white --straighten vertical --max-size 50 ",
       montage::Preset::picture,
       [](montage::PlanOptions& options) {
         options.crop = montage::Crop::content;
         options.background = montage::Background::white;
         options.straighten = montage::Straighten::vertical;
         options.maxMegapixels = 50.0;
       }},
      {"basic",
       "--pipeline basic --seams none --background transparent --straighten none ",
       montage::Preset::basic,
       [](montage::PlanOptions& options) {
         options.seams = montage::Seams::none;
         options.background = montage::Background::transparent;
         options.straighten = montage::Straighten::none;
       },
       MarkKind::TopLeftCorner},
      {"diagnostic",
       "--pipeline diagnostic --no-blend --crop inner --straighten horizontal ",
       montage::Preset::diagnostic,
       [](montage::PlanOptions& options) {
         options.blending = montage::Blending::none;
         options.crop = montage::Crop::inner;
         options.straighten = montage::Straighten::horizontal;
       }},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    ASSERT_EQ(run("montage " + names_ +
                  "--slabs 2 -o out_%02d.png --overlay marks.png --report r.json "
                  "--registration-mp 0.08 --seam-mp 0.03 --compose-mp 0.06 " +
                  each.arguments)
                  .exitCode,
              0);

    montage::RegisterOptions registerOptions = montage::registerOptions(each.preset);
    registerOptions.features.megapixels = 0.08;
    montage::PlanOptions planOptions = montage::planOptions(each.preset);
    planOptions.seamMegapixels = 0.03;
    planOptions.composeMegapixels = 0.06;
    each.choose(planOptions);
    const montage::MatSource first(slabs_[0]);
    const montage::Registration registration = montage::registerImages(first, registerOptions);
    const montage::MontagePlan plan = montage::planMontage(registration, first, planOptions);
    ASSERT_EQ(plan.status, montage::PlanStatus::ok) << plan.reason;
    montage::Composer composer(plan);
    const cv::Mat montage = composer.compose(first);
    expectSame(montage, "out_00.png");
    expectSame(composer.compose(montage::MatSource(slabs_[1])), "out_01.png");

    const nlohmann::json report = json("r.json");
    std::vector<Mark> marks(kViews);
    for (std::size_t i = 0; i < plan.images.size(); ++i) {
      const int index = plan.images[i].index;
      const auto [reported, inMontage] = positionOf(each, plan, i);
      const nlohmann::json& image = report["images"][static_cast<std::size_t>(index)];
      EXPECT_NEAR(image["x"].get<double>(), reported.x, 1e-9);
      EXPECT_NEAR(image["y"].get<double>(), reported.y, 1e-9);
      EXPECT_EQ(image["montageX"], inMontage.x);
      EXPECT_EQ(image["montageY"], inMontage.y);
      EXPECT_EQ(image["slabFiles"][1], "s1v" + std::to_string(index) + ".png");
      marks[static_cast<std::size_t>(index)] = {index, inMontage};
    }
    expectSame(drawOverlay(montage, marks, each.kind), "marks.png");
    const nlohmann::json& quality = report["quality"];
    EXPECT_EQ(quality["projectionErrorRms"]["value"], registration.figures.rms);
    EXPECT_EQ(quality["focalMean"]["value"], registration.figures.focalMean);
    EXPECT_EQ(quality["focalRange"]["value"], registration.figures.focalRange);
    EXPECT_EQ(quality["rotationMax"]["value"], registration.figures.rotationMax);
    ASSERT_EQ(report["pairs"].size(), registration.pairs.size());
    EXPECT_EQ(report["pairs"][0]["inliers"], registration.pairs[0].inliers);
    EXPECT_EQ(report["scales"]["registration"], registration.scale);
    EXPECT_EQ(report["scales"]["seam"], plan.seamScale);
    EXPECT_EQ(report["scales"]["compose"], plan.composeScale);
    EXPECT_EQ(report["montages"][1]["width"], montage.cols);
    EXPECT_EQ(report["montages"][1]["channels"], montage.channels());
  }
}

TEST_F(MontageCalls, GreyImagesAndJpegsOfAChosenQuality) {
  ASSERT_EQ(run("montage s0v0.png s0v1.png s0v2.png --grey --quality 35 -o out.jpg").exitCode, 0);
  for (cv::Mat& view : slabs_[0]) {
    cv::cvtColor(view, view, cv::COLOR_BGR2GRAY);
  }
  const montage::MatSource source(slabs_[0]);
  const cv::Mat montage = compose(planMontage(montage::registerImages(source), source), source);
  std::vector<unsigned char> jpeg;
  cv::imencode(".jpg", montage, jpeg, {cv::IMWRITE_JPEG_QUALITY, 35});
  EXPECT_TRUE(bytes("out.jpg") == std::string(jpeg.begin(), jpeg.end()));
}

}  // namespace
}  // namespace orv2d::tests
