// SPDX-License-Identifier: MIT
/// @file
/// `orv2d montage` with good input.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

namespace orv2d::tests {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class MontageHost : public HostTest {
 protected:
  /// Writes `count` views as v0.png, v1.png, ... and returns their names.
  std::string writeViews(int count) const {
    const std::vector<cv::Mat> views = overlappingViews(count);
    std::string names;
    for (int i = 0; i < count; ++i) {
      const std::string name = "v" + std::to_string(i) + ".png";
      cv::imwrite(path(name).string(), views[static_cast<std::size_t>(i)]);
      names += name + " ";
    }
    return names;
  }
};

TEST_F(MontageHost, JoinsTheViewsAndNamesTheOneThatDoesNotBelong) {
  const std::string views = writeViews(3);
  cv::imwrite(path("stranger.png").string(), texturedScene({400, 300}, 99));

  const RunResult result =
      run("montage " + views + "stranger.png -o out.png --report r.json --overlay marks.png");

  ASSERT_EQ(result.exitCode, 0);
  EXPECT_EQ(files(),
            (std::set<std::string>{
                "v0.png", "v1.png", "v2.png", "stranger.png", "out.png", "r.json", "marks.png"}));
  EXPECT_THAT(result.out, AllOf(HasSubstr("v1.png"), HasSubstr("projection error, rms")));
  EXPECT_THAT(result.errorLines.back(), AllOf(HasSubstr("left out"), HasSubstr("'stranger.png'")));

  const nlohmann::json report = json("r.json");
  EXPECT_EQ(report["status"], 0);
  const auto& images = report["images"];
  ASSERT_EQ(images.size(), 4U);
  EXPECT_EQ(images[2]["file"], "v2.png");
  EXPECT_EQ(images[3]["used"], false);
  EXPECT_TRUE(images[3]["x"].is_null());
  // Footprint of a view turned by 12 degrees: from tan(12 - 21.75) to tan(12 + 21.75 degrees) on a
  // plane 500 pixels away, so its centre lies 124 pixels from that of the middle view.
  EXPECT_NEAR(images[1]["x"].get<int>() - images[0]["x"].get<int>(), 124, 4);
  EXPECT_NEAR(images[2]["x"].get<int>() - images[1]["x"].get<int>(), 124, 4);

  const cv::Mat montage = cv::imread(path("out.png").string(), cv::IMREAD_UNCHANGED);
  EXPECT_EQ(report["montages"][0]["width"], montage.cols);
  EXPECT_EQ(report["montages"][0]["height"], montage.rows);
  EXPECT_EQ(cv::imread(path("marks.png").string()).size(), montage.size());
  EXPECT_LT(report["quality"]["projectionErrorRms"]["value"].get<double>(), 3.0);
  EXPECT_EQ(report["quality"]["rotationMax"]["unit"], "rad");
  EXPECT_EQ(report["settings"]["registrationMp"], 0.6);
  EXPECT_EQ(report["versions"]["OpenCV"], CV_VERSION);
  EXPECT_GT(report["times"]["montage"]["value"].get<double>(), 0.0);
}

TEST_F(MontageHost, MarksEveryUsedImageInsideTheMontageInBothPipelines) {
  const std::string views = writeViews(3);
  for (const std::string pipeline : {"diagnostic", "basic"}) {
    SCOPED_TRACE(pipeline);
    ASSERT_EQ(run("montage " + views + "-o out.png --report r.json --overlay marks.png " +
                  "--compose-mp 0.05 --pipeline " + pipeline)
                  .exitCode,
              0);
    const nlohmann::json report = json("r.json");
    cv::Mat difference;
    cv::absdiff(
        cv::imread(path("out.png").string()), cv::imread(path("marks.png").string()), difference);
    const cv::Rect all({}, difference.size());
    for (const auto& image : report["images"]) {
      const cv::Point mark(image["montageX"], image["montageY"]);
      ASSERT_TRUE(all.contains(mark)) << mark;
      EXPECT_GT(cv::norm(difference(cv::Rect(mark, cv::Size(3, 3)) & all)), 0.0) << mark;
    }
    EXPECT_EQ(report["quality"].is_null(), pipeline == "basic");
  }
}

TEST_F(MontageHost, ComposesEverySlabIntoItsOwnFile) {
  const std::string views = writeViews(2);
  for (int i = 0; i < 2; ++i) {
    const cv::Mat view = cv::imread(path("v" + std::to_string(i) + ".png").string());
    cv::imwrite(path("w" + std::to_string(i) + ".png").string(), 255 - view);
  }
  struct Case {
    std::string pattern;
    std::string first;
    std::string second;
  };
  for (const Case& names : {Case{"m.png", "m_slab0.png", "m_slab1.png"},
                            Case{"a{slab}b.tif", "a0b.tif", "a1b.tif"},
                            Case{"p%03d.jpg", "p000.jpg", "p001.jpg"}}) {
    SCOPED_TRACE(names.pattern);
    ASSERT_EQ(
        run("montage " + views + "w0.png w1.png --slabs 2 --grey -o " + names.pattern).exitCode, 0);
    const cv::Mat first = cv::imread(path(names.first).string(), cv::IMREAD_UNCHANGED);
    const cv::Mat second = cv::imread(path(names.second).string(), cv::IMREAD_UNCHANGED);
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(first.size(), second.size());
    EXPECT_EQ(first.channels(), 1);
  }
}

TEST_F(MontageHost, ReplacesAnEarlierMontageAndSaysNothingWhenQuiet) {
  const std::string views = writeViews(2);
  writeText("out.png", "earlier");
  const RunResult result = run("montage " + views + "-o out.png --quiet");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.errorLines, IsEmpty());
  EXPECT_FALSE(cv::imread(path("out.png").string()).empty());
}

TEST_F(MontageHost, SaysWhatToTryWhenNothingConnectsAndStillReports) {
  cv::imwrite(path("a.png").string(), texturedScene({400, 300}, 1));
  cv::imwrite(path("b.png").string(), texturedScene({400, 300}, 2));
  writeText("out.png", "earlier");
  const RunResult result = run("montage a.png b.png -o out.png --report r.json --quiet");
  EXPECT_EQ(result.exitCode, 4);
  EXPECT_THAT(result.errorLines, ElementsAre(HasSubstr("--registration-mp")));
  EXPECT_EQ(bytes("out.png"), "earlier");
  EXPECT_EQ(json("r.json")["status"], 1);
  EXPECT_EQ(files(), (std::set<std::string>{"a.png", "b.png", "out.png", "r.json"}));
}

}  // namespace
}  // namespace orv2d::tests
