// SPDX-License-Identifier: MIT
/// @file
/// `orv2d montage`, `register`, `compose` and `inspect` from end to end.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace orv2d::tests {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
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

  [[nodiscard]] cv::Mat image(const std::string& name) const {
    return cv::imread(path(name).string(), cv::IMREAD_UNCHANGED);
  }

  /// The montage of the views of `writeViews` with some options.
  [[nodiscard]] cv::Mat montageOf(const std::string& views, const std::string& options) const {
    EXPECT_EQ(run("montage " + views + "-o out.png --quiet " + options).exitCode, 0) << options;
    return image("out.png");
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
  EXPECT_THAT(
      result.out,
      AllOf(HasSubstr("v1.png"), HasSubstr("noPartner"), HasSubstr("projection error, rms")));
  EXPECT_THAT(result.errorLines, Contains(HasSubstr("comparing images, 6 pairs")));
  EXPECT_THAT(result.errorLines.back(),
              AllOf(HasSubstr("left out: 'stranger.png': no other image shares enough"),
                    HasSubstr("a third or more")));

  const nlohmann::json report = json("r.json");
  EXPECT_EQ(report["status"], 0);
  const auto& images = report["images"];
  ASSERT_EQ(images.size(), 4U);
  EXPECT_EQ(images[2]["file"], "v2.png");
  EXPECT_EQ(images[2]["verdict"], "used");
  EXPECT_EQ(images[3]["used"], false);
  EXPECT_EQ(images[3]["verdict"], "noPartner");
  EXPECT_THAT(images[3]["reason"].get<std::string>(), HasSubstr("0.70 needed"));
  EXPECT_TRUE(images[3]["x"].is_null());
  // The axes of views turned by 12 degrees meet a plane 500 pixels away 500 tan 12 = 106.3 px apart.
  EXPECT_NEAR(images[1]["x"].get<double>() - images[0]["x"].get<double>(), 106.3, 1.5);
  EXPECT_NEAR(images[2]["x"].get<double>() - images[1]["x"].get<double>(), 106.3, 1.5);
  EXPECT_LT(report["quality"]["projectionErrorRms"]["value"].get<double>(), 0.5);
  EXPECT_EQ(report["quality"]["rotationMax"]["unit"], "rad");
  EXPECT_EQ(report["settings"]["pipeline"], "picture");
  EXPECT_EQ(report["versions"]["OpenCV"], CV_VERSION);
  EXPECT_GT(report["times"]["montage"]["value"].get<double>(), 0.0);
}

TEST_F(MontageHost, ComposesEverySlabIntoItsOwnFile) {
  const std::string views = writeViews(2);
  struct Names {
    std::string pattern;
    std::string first;
    std::string second;
  };
  for (const Names& names : {Names{"m.png", "m_slab0.png", "m_slab1.png"},
                             Names{"a{slab}b.tif", "a0b.tif", "a1b.tif"},
                             Names{"p%03d.jpg", "p000.jpg", "p001.jpg"}}) {
    SCOPED_TRACE(names.pattern);
    ASSERT_EQ(run("montage " + views + views + "--slabs 2 -o " + names.pattern).exitCode, 0);
    EXPECT_FALSE(image(names.first).empty());
    EXPECT_EQ(bytes(names.first), bytes(names.second));
  }
}

TEST_F(MontageHost, ReplacesAnEarlierMontageAndSaysNothingWhenQuiet) {
  const std::string views = writeViews(2);
  writeText("out.png", "earlier");
  const RunResult result = run("montage " + views + "-o out.png --quiet");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.errorLines, IsEmpty());
  EXPECT_FALSE(image("out.png").empty());
}

TEST_F(MontageHost, RegisteringAndComposingIsTheSameAsBothAtOnce) {
  const std::string views = writeViews(3);
  ASSERT_EQ(run("montage " + views + "-o all.png --save-registration saved.json").exitCode, 0);
  ASSERT_EQ(run("register " + views + "-o r.json").exitCode, 0);
  EXPECT_TRUE(bytes("saved.json") == bytes("r.json"));
  ASSERT_EQ(run("compose r.json -o named.png").exitCode, 0);
  ASSERT_EQ(run("compose r.json " + views + views + "--slabs 2 -o slab{slab}.png").exitCode, 0);
  ASSERT_EQ(run("montage " + views + "--registration r.json -o again.png").exitCode, 0);
  for (const char* name : {"named.png", "slab0.png", "slab1.png", "again.png"}) {
    EXPECT_TRUE(bytes(name) == bytes("all.png")) << name;
  }

  EXPECT_THAT(run("inspect r.json").out,
              AllOf(HasSubstr("3 images of 3 connect"), HasSubstr("v1.png"), HasSubstr("0-1 ")));
  const nlohmann::json shown = nlohmann::json::parse(run("inspect r.json --json").out);
  EXPECT_NEAR(shown["images"][2]["camera"]["focal"].get<double>(), 500.0, 5.0);
  EXPECT_EQ(shown["groups"][0]["images"], (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(shown["pairs"].size(), 3U);

  // Other images take the place of those that are named; changed ones do not go unnoticed.
  for (const char* name : {"v0.png", "v1.png", "v2.png"}) {
    cv::imwrite(path(name).string(), 255 - image(name));
  }
  expectRefused("compose r.json -o out.png --quiet", 3, "is not the image that was registered");
  ASSERT_EQ(run("compose r.json " + views + "-o inverse.png").exitCode, 0);
  EXPECT_EQ(image("inverse.png").size(), image("all.png").size());
}

TEST_F(MontageHost, TiledMontagesHaveThePixelsOfPlainOnes) {
  const std::string views = writeViews(3);
  ASSERT_EQ(run("register " + views + "-o r.json").exitCode, 0);
  const std::string command = "compose r.json --quiet " + views;
  for (const std::string options : {"", "--background transparent --crop content "}) {
    ASSERT_EQ(run(command + "-o plain.png " + options).exitCode, 0);
    ASSERT_EQ(run(command + "-o drawn.tif --overlay marks.tif --tiles " + options).exitCode, 0);
    ASSERT_EQ(run(command + views + "--slabs 2 -o slab%d.tif --report t.json --pyramid --bigtiff " +
                  options)
                  .exitCode,
              0);
    for (const std::string name : {"drawn.tif", "slab0.tif", "slab1.tif"}) {
      EXPECT_EQ(cv::norm(image(name), image("plain.png"), cv::NORM_INF), 0.0) << name << options;
    }
    EXPECT_EQ(bytes("slab0.tif").substr(0, 3), "II\x2B") << "a BigTIFF";
    std::vector<cv::Mat> levels;
    cv::imreadmulti(path("slab0.tif").string(), levels, cv::IMREAD_UNCHANGED);
    ASSERT_EQ(levels.size(), 2U);
    EXPECT_EQ(json("t.json")["montages"][1]["channels"], image("plain.png").channels());
  }
  ASSERT_EQ(run(command + "-o small.tif --compression jpeg --quality 60").exitCode, 0);
  EXPECT_LT(bytes("small.tif").size(), bytes("slab0.tif").size() / 4);

  const std::set<std::string> before = files();
  const RunResult full = run(command + "-o full.tif --compression none", 300);
  EXPECT_EQ(full.exitCode, 6);
  EXPECT_THAT(full.errorLines, ElementsAre(HasSubstr("cannot write 'full.tif': writing failed")));
  EXPECT_EQ(files(), before);
}

TEST_F(MontageHost, PlansAreComposedPartByPartWithinLittleMemory) {
  const std::string views = writeViews(3);
  ASSERT_EQ(run("register " + views + "-o r.json").exitCode, 0);
  ASSERT_EQ(run("compose r.json -o whole.png --crop inner").exitCode, 0);
  const RunResult planned = run("plan r.json -o p.plan --crop inner");
  ASSERT_EQ(planned.exitCode, 0);
  EXPECT_THAT(planned.out, AllOf(HasSubstr("megapixels"), HasSubstr("of memory")));
  const cv::Mat whole = image("whole.png");
  const cv::Rect right(whole.cols - 60, 40, 60, 50);

  std::filesystem::rename(path("v0.png"), path("away.png"));  // shows nothing of the right
  ASSERT_EQ(
      run("compose p.plan -o part.png --quiet --window " + std::to_string(right.x) + ",40,60,50")
          .exitCode,
      0);
  EXPECT_EQ(cv::norm(image("part.png"), whole(right), cv::NORM_INF), 0.0);

  expectRefused("compose p.plan -o x.png", 3, "v0.png");
  std::filesystem::rename(path("away.png"), path("v0.png"));
  expectRefused("compose p.plan -o x.png --quiet --max-memory 1M", 10, "--max-memory allows 1 MB");
  expectRefused("compose p.plan -o x.png --crop none", 2, "--crop cannot be chosen for the plan");
  expectRefused("compose p.plan -o x.png --window 0,0,9999,5", 2, "a part of the montage");
  expectRefused("compose p.plan -o x.png --window 0,0,5", 2, "--window");
  expectRefused("compose p.plan v1.png v2.png -o x.png", 2, "holds 3");
  cv::imwrite(path("v1.png").string(), image("v1.png") * 0.5);
  expectRefused("compose p.plan -o x.png --quiet", 3, "not the image that was registered");
  writeText("p.plan", bytes("p.plan").substr(0, 5000));
  expectRefused("compose p.plan -o x.png --quiet", 3, "'p.plan': damaged");
}

TEST_F(MontageHost, ADryRunSaysWhatAMontageWouldBeAndWritesNothing) {
  const std::string views = writeViews(2);
  const std::set<std::string> before = files();
  const std::string command =
      "montage " + views + "-o out.png --report r.json --save-registration s.json";
  const RunResult result = run(command + " --dry-run");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(files(), before);
  ASSERT_EQ(run(command).exitCode, 0);
  const cv::Size size = image("out.png").size();
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("v1.png"),
                    HasSubstr(std::to_string(size.width) + " x " + std::to_string(size.height)),
                    HasSubstr(" MB")));
}

TEST_F(MontageHost, CropsAndBackgroundsAreWhatTheyPromise) {
  const std::string views = writeViews(3);
  const cv::Mat plain = montageOf(views, "");
  std::vector<cv::Mat> planes;
  cv::split(montageOf(views, "--background transparent"), planes);
  ASSERT_EQ(planes.size(), 4U);
  const cv::Mat covered = planes[3].clone();
  ASSERT_EQ(covered.size(), plain.size());
  EXPECT_EQ(cv::countNonZero(covered == 255) + cv::countNonZero(covered == 0),
            static_cast<int>(covered.total()));
  ASSERT_GT(cv::countNonZero(covered == 0), 1000);
  cv::Mat colour;
  planes.pop_back();
  cv::merge(planes, colour);
  EXPECT_EQ(cv::norm(colour, plain, cv::NORM_INF), 0.0);

  cv::Mat white = plain.clone();
  white.setTo(cv::Scalar::all(255), covered == 0);
  EXPECT_EQ(cv::norm(montageOf(views, "--background white"), white, cv::NORM_INF), 0.0);

  cv::split(montageOf(views, "--background transparent --crop inner"), planes);
  EXPECT_EQ(cv::countNonZero(planes[3] == 0), 0);
  EXPECT_GT(planes[3].total(), covered.total() / 2);

  std::vector<cv::Point> points;
  cv::findNonZero(covered, points);
  EXPECT_EQ(montageOf(views, "--crop content").size(), cv::boundingRect(points).size());
}

TEST_F(MontageHost, ComparesThePairsThatAreAskedFor) {
  const std::string views = writeViews(4);
  const auto comparedWith = [&](const std::string& pairs) {
    EXPECT_EQ(run("register " + views + "-o s.json --quiet --pairs " + pairs).exitCode, 0) << pairs;
    const nlohmann::json saved = json("s.json");
    std::vector<std::pair<int, int>> compared;
    for (const nlohmann::json& pair : saved["pairs"]) {
      compared.emplace_back(pair["first"], pair["second"]);
    }
    return compared;
  };
  using Pairs = std::vector<std::pair<int, int>>;
  EXPECT_EQ(comparedWith("grid:1x4"), (Pairs{{0, 1}, {1, 2}, {2, 3}}));
  EXPECT_EQ(json("s.json")["options"]["pairing"]["columns"], 4);
  EXPECT_EQ(comparedWith("sequential:1:loop"), (Pairs{{0, 1}, {0, 3}, {1, 2}, {2, 3}}));
  writeText("pairs.txt", "# the strip\n1,0\n 1 2 \n3\t2 # the last one\n");
  EXPECT_EQ(comparedWith("pairs.txt"), (Pairs{{0, 1}, {1, 2}, {2, 3}}));
  EXPECT_EQ(comparedWith("auto --pipeline basic"), comparedWith("all"));
}

TEST_F(MontageHost, JoinsImagesOfDifferentSizes) {
  writeViews(3);
  const cv::Mat narrow = image("v1.png").colRange(30, 340).clone();
  cv::imwrite(path("v1.png").string(), narrow);
  ASSERT_EQ(run("montage v0.png v1.png v2.png -o out.png --report r.json").exitCode, 0);
  const nlohmann::json images = json("r.json")["images"];
  EXPECT_EQ(images[1]["width"], 310);
  EXPECT_EQ(images[1]["used"], true);
  // The centre of the part lies (30 + 339) / 2 - 199.5 = -15 px from that of the whole view.
  EXPECT_NEAR(images[1]["x"].get<double>() - images[0]["x"].get<double>(), 106.3 - 15, 2.0);
}

TEST_F(MontageHost, AFailedRunSaysWhyAndWritesWhatWasAskedForOfIt) {
  cv::imwrite(path("a.png").string(), texturedScene({400, 300}, 1));
  cv::imwrite(path("b.png").string(), texturedScene({400, 300}, 2));
  writeViews(2);
  writeText("out.png", "earlier");
  writeText("bad.png", "no picture");
  struct Case {
    std::string arguments;
    int exitCode;
    nlohmann::json status;
    std::string reason;
  };
  for (const Case& each : {Case{"a.png b.png", 4, 1, "fewer than two of the 2 images connect"},
                           Case{"v0.png v1.png --max-size 0.1", 9, 3, "at most 0.1 are allowed"},
                           Case{"v0.png v1.png v0.png bad.png --slabs 2", 3, nullptr, "bad.png"}}) {
    SCOPED_TRACE(each.arguments);
    const RunResult result = run("montage " + each.arguments +
                                 " -o out.png --report r.json --save-registration s.json --quiet");
    EXPECT_EQ(result.exitCode, each.exitCode);
    EXPECT_THAT(result.errorLines, ElementsAre(HasSubstr(each.reason)));
    EXPECT_EQ(json("r.json")["status"], each.status);
    EXPECT_THAT(json("r.json")["message"].get<std::string>(), HasSubstr(each.reason));
    EXPECT_EQ(json("s.json")["images"].size(), 2U);
    EXPECT_EQ(bytes("out.png"), "earlier");
    EXPECT_EQ(files(),
              (std::set<std::string>{
                  "a.png", "b.png", "bad.png", "out.png", "r.json", "s.json", "v0.png", "v1.png"}));
  }
  // register keeps the verdicts of images that do not connect.
  EXPECT_EQ(run("register a.png b.png -o s.json --quiet").exitCode, 4);
  EXPECT_EQ(json("s.json")["images"][1]["verdict"], "noPartner");
  EXPECT_EQ(run("compose s.json -o out.png --quiet").exitCode, 4);
  // At full resolution there is no higher one to advise.
  const auto shown = nlohmann::json::parse(run("inspect s.json --json").out);
  EXPECT_EQ(shown["scale"], 1.0);
  EXPECT_THAT(shown["images"][1]["advice"].get<std::string>(),
              AllOf(HasSubstr("a third or more"), ::testing::Not(HasSubstr("resolution"))));
}

TEST_F(MontageHost, SaysSoWhenTheImagesDoNotFitTogether) {
  writeViews(2);
  cv::Mat bent;  // as no lens and no camera that turns would see it
  const cv::Mat view = image("v1.png");
  cv::Mat columns(view.size(), CV_32F);
  cv::Mat rows(view.size(), CV_32F);
  for (int y = 0; y < view.rows; ++y) {
    for (int x = 0; x < view.cols; ++x) {
      columns.at<float>(y, x) = static_cast<float>(x + 2.5 * std::sin(y / 12.0));
      rows.at<float>(y, x) = static_cast<float>(y + 2.5 * std::sin(x / 12.0));
    }
  }
  cv::remap(view, bent, columns, rows, cv::INTER_CUBIC, cv::BORDER_REFLECT);
  cv::imwrite(path("v1.png").string(), bent);
  const RunResult result = run("montage v0.png v1.png -o out.png --quiet");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.errorLines,
              ElementsAre(AllOf(HasSubstr("do not fit together well"), HasSubstr("pairs 0-1"))));
}

}  // namespace
}  // namespace orv2d::tests
