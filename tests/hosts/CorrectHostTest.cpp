// SPDX-License-Identifier: MIT
/// @file
/// `orv2d correct`: every mode, lens files, folders, maps, previews, and the reasons of failures.
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <cstring>

namespace orv2d::tests {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kUsage = 2;
constexpr int kUnreadable = 3;
constexpr int kUnwritable = 6;
constexpr int kNoCorrection = 7;
constexpr int kNoPreview = 8;

// A ray at polar angle t meets the source at radius sin t / sin(half field angle) and the plane at
// tan(t / 2): the rim of a disc of radius 0.7 under a lens of 90 degrees lies at 0.4084.
const double kRimOnPlane = std::tan(std::asin(0.7) / 2.0);
const std::string kLens = "--half-field-angle 90deg ";
const std::string kRange =
    kLens + "--mode range --min-angle-deg -60 --max-angle-deg 60 --pixels-per-unit 400 ";

class CorrectHost : public HostTest {
 protected:
  CorrectHost() { cv::imwrite(path("disc.png").string(), disc(300, 0.7, 3)); }

  cv::Mat image(const std::string& name) const {
    return cv::imread(path(name).string(), cv::IMREAD_UNCHANGED);
  }

  void expectFailure(const std::string& arguments, const std::string& phrase) const {
    expectRefused("correct --quiet -o out.png " + arguments, kNoCorrection, phrase);
  }
};

TEST_F(CorrectHost, CropsTheDiscAtItsRimInEveryFramedMode) {
  for (const std::string& mode : {kRange,
                                  kLens + "--mode fov --cone-angle-deg 60 --pixels-per-unit 400 ",
                                  kLens + "--mode square --shared-maps --output-size 800 "}) {
    SCOPED_TRACE(mode);
    ASSERT_EQ(run("correct disc.png -o out.png --report r.json " + mode).exitCode, 0);
    const nlohmann::json outcome = json("r.json")["images"][0];
    const cv::Mat result = image("out.png");
    EXPECT_NEAR(result.cols, 2 * kRimOnPlane * 400, 4);
    EXPECT_EQ(outcome["result"]["width"], result.cols);
    EXPECT_NEAR(outcome["bounds"]["left"].get<double>(), -kRimOnPlane, 0.01);
    EXPECT_NEAR(outcome["bounds"]["right"].get<double>(), kRimOnPlane, 0.01);
    EXPECT_NEAR(outcome["centre"]["x"].get<double>(), 0.0, 0.01);
  }
}

TEST_F(CorrectHost, SquareModeSamplesAt9200) {
  cv::imwrite(path("grey.png").string(), disc(300, 0.7, 1));
  ASSERT_EQ(run("correct grey.png -o out.png --mode square " + kLens).exitCode, 0);
  // A source pixel at the rim covers about 40 samples, and smoothing widens the content by one.
  EXPECT_NEAR(image("out.png").cols, kRimOnPlane * 9200, 100);
  EXPECT_EQ(image("out.png").channels(), 1);
}

TEST_F(CorrectHost, RectPinholeAndViewKeepTheDisc) {
  ASSERT_EQ(run("correct disc.png -o rect.png --mode rect --half-field-angle 0.5 --output-size 300")
                .exitCode,
            0);
  EXPECT_GT(cv::countNonZero(image("rect.png").reshape(1)), 0);

  ASSERT_EQ(run("correct disc.png -o pin.png --mode pinhole --focal-x 400 --focal-y 400").exitCode,
            0);
  EXPECT_NEAR(image("pin.png").cols, 0.7 * 300, 3);  // no distortion: the disc's bounding box

  ASSERT_EQ(run("correct disc.png -o view.png --mode view --fov-x-deg 60 --fov-y-deg 60 "
                "--view-x-deg 5")
                .exitCode,
            0);
  EXPECT_EQ(image("view.png").size(), cv::Size(300, 300));
}

TEST_F(CorrectHost, TakesTheLensFromAFileAndLetsOptionsWin) {
  writeText("lens.json",
            R"({"name": "test lens", "mode": "range", "half-field-angle": "90deg",
                "min-angle-deg": -60, "max-angle-deg": 60, "pixels-per-unit": 200})");
  ASSERT_EQ(run("correct disc.png -o file.png --lens lens.json --pixels-per-unit 400").exitCode, 0);
  ASSERT_EQ(run("correct disc.png -o options.png " + kRange).exitCode, 0);
  ASSERT_EQ(run("correct disc.png -o radians.png --half-field-angle 1.5707963267948966 --mode range"
                " --min-angle-deg -60deg --max-angle-deg 60deg --pixels-per-unit 400")
                .exitCode,
            0);
  EXPECT_EQ(bytes("file.png"), bytes("options.png"));
  EXPECT_EQ(bytes("radians.png"), bytes("options.png"));
}

TEST_F(CorrectHost, KeepsTheSourceResolutionAtTheCentreByDefault) {
  ASSERT_EQ(run("correct disc.png -o out.png --mode range --min-angle-deg -60 --max-angle-deg 60 " +
                kLens)
                .exitCode,
            0);
  EXPECT_NEAR(image("out.png").cols, 2 * kRimOnPlane * 300, 4);
}

TEST_F(CorrectHost, CorrectsAFolderAndReportsTheOneThatFails) {
  cv::imwrite(path("other.bmp").string(), disc(200, 0.6, 1));
  writeText("bad.png", "no picture");
  std::filesystem::create_directory(path("results"));
  const RunResult result =
      run("correct disc.png bad.png other.bmp -o results --report r.json --quiet --mode square "
          "--shared-maps --output-size 400 " +
          kLens);
  EXPECT_EQ(result.exitCode, kUnreadable);
  // The line names the file once.
  EXPECT_THAT(result.errorLines,
              ElementsAre("orv2d: cannot use 'bad.png': it is not an image; "
                          "PNG, TIFF, JPEG, BMP and the like are read"));
  EXPECT_EQ(image("results/disc.png").channels(), 3);
  EXPECT_EQ(image("results/other.png").channels(), 1);
  EXPECT_EQ(files().count("results/bad.png"), 0U);
  const nlohmann::json images = json("r.json")["images"];
  ASSERT_EQ(images.size(), 3U);
  EXPECT_EQ(images[1]["exitCode"], kUnreadable);

  // Maps made for one image serve the others of its size: each as if it were alone.
  for (const std::string name : {"disc.png", "other.bmp"}) {
    ASSERT_EQ(run("correct " + name +
                  " -o alone.png --mode square --shared-maps --output-size 400 " + kLens)
                  .exitCode,
              0);
    EXPECT_EQ(bytes("alone.png"), bytes("results/" + name.substr(0, name.find('.')) + ".png"));
  }
}

TEST_F(CorrectHost, EndsWithTheExitCodeOfTheFirstFailure) {
  writeText("bad.png", "no picture");
  cv::imwrite(path("black.png").string(), cv::Mat::zeros(100, 100, CV_8UC3));
  std::filesystem::create_directory(path("results"));
  const std::string into = " -o results --quiet " + kRange;
  EXPECT_EQ(run("correct bad.png disc.png black.png" + into).exitCode, kUnreadable);
  EXPECT_EQ(run("correct black.png disc.png bad.png" + into).exitCode, kNoCorrection);
}

TEST_F(CorrectHost, AFullDiskLeavesEarlierFilesAndNoHalfWrittenOnes) {
  cv::imwrite(path("small.png").string(), disc(100, 0.7, 1));
  std::filesystem::create_directory(path("results"));
  writeText("results/disc.png", "earlier");
  const RunResult result =
      run("correct disc.png small.png -o results --report r.json --quiet " + kRange, 64);
  EXPECT_EQ(result.exitCode, kUnwritable);
  EXPECT_THAT(result.errorLines, ElementsAre(HasSubstr("cannot write 'results/disc.png'")));
  EXPECT_EQ(bytes("results/disc.png"), "earlier");
  EXPECT_FALSE(image("results/small.png").empty());
  EXPECT_EQ(
      files(),
      (std::set<std::string>{
          "disc.png", "r.json", "results", "results/disc.png", "results/small.png", "small.png"}));
  writeText("out.png", "earlier");
  EXPECT_EQ(run("correct disc.png -o out.png --quiet " + kRange, 64).exitCode, kUnwritable);
  EXPECT_EQ(bytes("out.png"), "earlier");
}

TEST_F(CorrectHost, ExportsTheMapsAsANumpyFile) {
  ASSERT_EQ(run("correct disc.png -o out.png --maps maps.npy --output-size 5 " + kRange).exitCode,
            0);
  const std::string file = bytes("maps.npy");
  ASSERT_EQ(file.size() % 64, 2 * 5 * 5 * sizeof(float) % 64);
  EXPECT_EQ(file.substr(1, 5), "NUMPY");
  EXPECT_THAT(file, AllOf(HasSubstr("'<f4'"), HasSubstr("(2, 5, 5)")));
  float middle[2];
  const std::size_t start = file.size() - sizeof(float[2][5][5]);
  std::memcpy(&middle[0], file.data() + start + 12 * sizeof(float), sizeof(float));
  std::memcpy(&middle[1], file.data() + start + (25 + 12) * sizeof(float), sizeof(float));
  EXPECT_EQ(middle[0], 150.0F);
  EXPECT_EQ(middle[1], 150.0F);
}

TEST_F(CorrectHost, DrawsTheSourceGridOverThePreview) {
  ASSERT_EQ(run("correct disc.png -o out.png --preview grid.png " + kRange).exitCode, 0);
  const cv::Mat result = image("out.png");
  const cv::Mat preview = image("grid.png");
  EXPECT_NEAR(preview.cols, result.cols, 2);
  // The source's middle line passes through the middle of the result; smoothing softens it.
  const cv::Vec3b middle = preview.at<cv::Vec3b>(preview.rows / 4, preview.cols / 2);
  EXPECT_GT(middle[1], middle[0] + 50);
  EXPECT_GT(middle[1], middle[2] + 50);
}

TEST_F(CorrectHost, DrawsThePreviewOfContentNearTheSourceBorder) {
  // Grid lines in the dark corners of the source would reach the borders of the frame.
  cv::imwrite(path("large.png").string(), disc(300, 0.95, 3));
  ASSERT_EQ(run("correct large.png -o out.png --preview grid.png --mode range "
                "--min-angle-deg -80 --max-angle-deg 80 " +
                kLens)
                .exitCode,
            0);
  EXPECT_NEAR(image("grid.png").cols, image("out.png").cols, 2);
}

TEST_F(CorrectHost, KeepsTheResultWhenOnlyThePreviewFails) {
  // A blob too faint to count as content, until the grid's lines pass over it.
  cv::Mat source = disc(300, 0.4, 3);
  source(cv::Rect(260, 148, 3, 3)).setTo(cv::Scalar::all(36));
  cv::imwrite(path("blob.png").string(), source);
  ASSERT_EQ(run("correct blob.png -o alone.png " + kRange).exitCode, 0);
  const RunResult result =
      run("correct blob.png -o out.png --preview grid.png --report r.json " + kRange);
  EXPECT_EQ(result.exitCode, kNoPreview);
  EXPECT_THAT(result.errorLines.back(), AllOf(HasSubstr("blob.png"), HasSubstr("preview")));
  EXPECT_THAT(result.out, HasSubstr("out.png"));
  EXPECT_EQ(bytes("out.png"), bytes("alone.png"));
  EXPECT_EQ(files().count("grid.png"), 0U);
  EXPECT_EQ(json("r.json")["images"][0]["output"], "out.png");
  EXPECT_EQ(json("r.json")["images"][0]["exitCode"], kNoPreview);
}

TEST_F(CorrectHost, SaysWhichBorderTheContentTouches) {
  expectFailure("disc.png --mode range --min-angle-deg -30 --max-angle-deg 60 " + kLens,
                "left and top");
  expectFailure("disc.png --mode fov --cone-angle-deg 30 " + kLens, "left, right, top and bottom");
  expectFailure("disc.png --mode fov --cone-angle-deg 90 --margin-percent 10 " + kLens,
                "unit square");
}

TEST_F(CorrectHost, BlackensWhatLiesOutsideTheCircleOrTheMask) {
  cv::Mat source = texturedScene({300, 260}, 5);
  cv::imwrite(path("full.png").string(), source);
  cv::Mat inside = cv::Mat::zeros(source.size(), CV_8UC1);
  for (int row = 0; row < 260; ++row) {
    for (int col = 0; col < 300; ++col) {
      if (std::hypot(col - 160.5, row - 120.0) <= 90.0) {
        inside.at<unsigned char>(row, col) = 255;
      }
    }
  }
  cv::imwrite(path("mask.png").string(), inside);
  source.setTo(cv::Scalar(), inside == 0);
  cv::imwrite(path("black.png").string(), source);
  writeText("lens.json", R"({"mode": "range", "half-field-angle": "90deg", "min-angle-deg": -60,
                             "max-angle-deg": 60, "pixels-per-unit": 400,
                             "circle": "160.5,120,90"})");
  ASSERT_EQ(run("correct black.png -o expected.png " + kRange).exitCode, 0);
  for (const std::string& arguments :
       {"--circle 160.5,120,90 " + kRange,
        "--mask mask.png " + kRange,
        std::string("--lens lens.json"),
        std::string("--lens lens.json --circle 0,0,1000 --mask mask.png")}) {
    SCOPED_TRACE(arguments);
    ASSERT_EQ(run("correct full.png -o out.png --report r.json " + arguments).exitCode, 0);
    EXPECT_EQ(bytes("out.png"), bytes("expected.png"));
  }
  EXPECT_EQ(json("r.json")["images"][0]["content"]["circle"]["radius"], 1000.0);
  EXPECT_EQ(json("r.json")["settings"]["mask"], "mask.png");
}

TEST_F(CorrectHost, NamesTheCircleThatLetsAFullPictureSucceed) {
  cv::imwrite(path("full.png").string(), texturedScene({300, 300}, 5) + cv::Scalar::all(20));
  const std::string circle = "--circle 150,150,";
  for (const std::string mode : {"--mode range --min-angle-deg -50 --max-angle-deg 60 ",
                                 "--mode fov --cone-angle-deg 55 --yaw 0.2 ",
                                 "--mode range --pitch 0.3 --roll 1 "}) {
    SCOPED_TRACE(mode);
    const std::string correct = "correct full.png -o out.png --linear 0.9 --quiet " + kLens + mode;
    const RunResult failed = run(correct);
    ASSERT_EQ(failed.exitCode, kNoCorrection);
    const std::string advice = failed.errorLines.front();
    EXPECT_THAT(advice, HasSubstr("--circle auto"));
    const std::size_t at = advice.find(circle);
    ASSERT_NE(at, std::string::npos) << advice;
    EXPECT_EQ(run(correct + advice.substr(at)).exitCode, 0);
    EXPECT_EQ(run(correct + "--circle auto").exitCode, 0);
    // The advice is tight: a tenth more does not fit.
    const double tooMuch = 1.1 * std::stod(advice.substr(at + circle.size()));
    EXPECT_EQ(run(correct + circle + std::to_string(tooMuch)).exitCode, kNoCorrection);
  }
}

TEST_F(CorrectHost, SaysWhereTheSquareRepeatsContent) {
  const std::string square =
      "--mode square --shared-maps --output-size 400 --quiet --half-field-angle 90deg ";
  cv::imwrite(path("full.png").string(), texturedScene({300, 300}, 5));
  EXPECT_THAT(run("correct full.png -o out.png " + square).errorLines,
              ElementsAre(AllOf(HasSubstr("70.5 degrees"), HasSubstr("--circle auto"))));
  EXPECT_THAT(run("correct full.png -o out.png --circle auto " + square).errorLines, IsEmpty());
  EXPECT_THAT(run("correct disc.png -o out.png " + square).errorLines, IsEmpty());
}

TEST_F(CorrectHost, SaysWhichBandIsBroken) {
  cv::Mat two = disc(300, 0.7, 3);
  two.colRange(140, 160).setTo(cv::Scalar::all(0));
  cv::imwrite(path("two.png").string(), two);
  expectFailure("two.png --mode square --shared-maps --output-size 400 " + kLens,
                "empty band of columns");
  expectFailure("two.png " + kRange, "empty band of columns");
}

TEST_F(CorrectHost, CallsABlackResultNoContent) {
  cv::imwrite(path("black.png").string(), cv::Mat::zeros(100, 100, CV_8UC3));
  expectFailure("black.png --mode square --shared-maps --output-size 200 " + kLens, "no content");
  expectFailure("black.png " + kRange, "no content");
  expectFailure("black.png --mode pinhole --focal-x 100 --focal-y 100", "brighter than 10");
  expectFailure("black.png --mode view --fov-x-deg 60 --fov-y-deg 60", "no content");
}

TEST_F(CorrectHost, RefusesImpossibleParameters) {
  const std::string correct = "correct disc.png -o out.png ";
  expectRefused(correct, kUsage, "--mode");
  expectRefused(correct + "--mode square", kUsage, "--half-field-angle");
  expectRefused(correct + "--mode cube", kUsage, "cube");
  for (const std::string angle : {"0", "180deg", "nan", "90grad", "deg", "''"}) {
    expectRefused(
        correct + "--mode square --half-field-angle " + angle, kUsage, "--half-field-angle");
  }
  expectRefused(correct + kRange + "--cone-angle-deg 60", kUsage, "--cone-angle-deg");
  expectRefused(correct + kRange + "--margin-deg 1.5", kUsage, "--margin-deg");
  expectRefused(correct + kRange + "--margin-deg -60", kUsage, "range");
  expectRefused(correct + kRange + "--yaw 125deg", kUsage, "yaw");
  expectRefused(correct + kRange + "--pitch -125deg", kUsage, "pitch");
  expectRefused(
      correct + kLens + "--mode range --min-angle-deg 20 --max-angle-deg 10", kUsage, "grow");
  expectRefused(correct + "--quiet --mode range --pixels-per-unit 1e5 " + kLens, kUsage, "32766");
  expectRefused(correct + "--mode square --output-size 100 " + kLens, kUsage, "--output-size");
  expectRefused(correct + "--mode pinhole --focal-x 0 --focal-y 1", kUsage, "--focal-x");
  expectRefused(correct + "--mode rect --shared-maps " + kLens, kUsage, "--shared-maps");
  expectRefused("correct disc.png disc.png -o out.png " + kRange, kUsage, "folder");
  expectRefused("correct disc.png -o . " + kRange, kUsage, "input");
}

TEST_F(CorrectHost, RefusesImpossibleCirclesAndMasks) {
  const std::string correct = "correct disc.png -o out.png --quiet " + kRange;
  for (const std::string circle :
       {"1,2", "1,2,3,4", "1,2,3,", "1,2,0", "1,2,nan", "centre", "''"}) {
    expectRefused(correct + "--circle " + circle, kUsage, "--circle");
  }
  cv::imwrite(path("small.png").string(), cv::Mat(299, 300, CV_8UC1, cv::Scalar(255)));
  cv::imwrite(path("deep.png").string(), cv::Mat(300, 300, CV_16UC1, cv::Scalar(255)));
  expectRefused(
      correct + "--mask small.png", kUnreadable, "300 x 299 pixels, but the image has 300");
  expectRefused(correct + "--mask deep.png", kUnreadable, "16-bit");
  expectRefused(correct + "--mask disc.png", kUnreadable, "'disc.png': it is a colour image");
  expectRefused(correct + "--mask none.png", kUnreadable, "no such file");
  expectRefused(
      "correct disc.png -o out.png --quiet --circle auto --mode view --fov-x-deg 60 "
      "--fov-y-deg 60 --mask small.png",
      kUnreadable,
      "'small.png'");
  cv::imwrite(path("full.png").string(), texturedScene({300, 300}, 5));
  expectRefused(
      "correct full.png -o out.png --quiet --circle auto --mode view --fov-x-deg 60 "
      "--fov-y-deg 60",
      kNoCorrection,
      "no bright circle");
}

TEST_F(CorrectHost, RefusesBadLensFiles) {
  writeText("text.json", "half-field-angle = 90");
  writeText("list.json", "[1, 2]");
  writeText("unknown.json", R"({"mode": "square", "half-field": 1})");
  writeText("value.json", R"({"mode": "square", "half-field-angle": true})");
  writeText("mode.json", R"({"mode": "cube"})");
  writeText("circle.json", R"({"mode": "square", "circle": "round"})");
  writeText("deep.json", "{\"yaw\": " + std::string(100000, '[') + std::string(100000, ']') + "}");
  for (const std::string name : {"missing.json",
                                 "deep.json",
                                 "text.json",
                                 "list.json",
                                 "unknown.json",
                                 "value.json",
                                 "mode.json",
                                 "circle.json"}) {
    expectRefused("correct disc.png -o out.png --lens " + name, kUnreadable, "'" + name + "'");
  }
}

}  // namespace
}  // namespace orv2d::tests
