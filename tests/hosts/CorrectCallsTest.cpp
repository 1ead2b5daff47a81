// SPDX-License-Identifier: MIT
/// @file
/// What `orv2d correct` hands to the library and gets from it: files, report and preview equal
/// those of a direct call, with every option set to a value of its own.
#include "DistortCorrect.h"
#include "correct/Preview.h"
#include "hosts/HostRun.h"
#include "hosts/HostScene.h"

#include <opencv2/imgcodecs.hpp>

#include <cstring>
#include <functional>
#include <optional>

namespace orv2d::tests {
namespace {

using ORV::Common::Algorithms::DistortCorrect::SterProject;

/// What a call gives besides the picture: left, top, right, bottom, and the centre.
struct Figures {
  std::optional<cv::Vec4d> bounds;
  std::optional<cv::Vec2d> centre;
};

using Call = std::function<Figures(cv::Mat& image)>;

constexpr double kYaw = 0.1;
constexpr double kPitch = -0.15;
constexpr double kRoll = 0.2;
const std::string kLens =
    "--half-field-angle 1.4 --linear 0.9 --cubic 0.11 --yaw 0.1 --pitch -0.15 --roll 0.2 ";

Figures byRange(cv::Mat& image) {
  double x = kYaw;
  double y = kPitch;
  cv::Vec4d b;
  EXPECT_EQ(
      0,
      SterProject()(1.4, 0.11, 0.9, x, y, kRoll, 3, -61, 66, 350, b[0], b[1], b[2], b[3], image));
  return {b, cv::Vec2d(x, y)};
}

Figures byField(cv::Mat& image) {
  double x = kYaw;
  double y = kPitch;
  cv::Vec4d b;
  EXPECT_EQ(0,
            SterProject()(1.4, 0.11, 0.9, x, y, kRoll, 12, 58, 330, b[0], b[1], b[2], b[3], image));
  return {b, cv::Vec2d(x, y)};
}

Figures bySquare(cv::Mat& image) {
  double x = kYaw;
  double y = kPitch;
  cv::Vec4d b;
  EXPECT_EQ(0, SterProject()(1.4, 0.11, 0.9, x, y, kRoll, b[0], b[1], b[2], b[3], image));
  return {b, cv::Vec2d(x, y)};
}

Figures byRect(cv::Mat& image) {
  double x = kYaw;
  double y = kPitch;
  EXPECT_EQ(0, SterProject().RectProject(1.4, 0.11, 0.9, x, y, kRoll, 333, 0.8, image));
  return {{}, cv::Vec2d(x, y)};
}

Figures byPinhole(cv::Mat& image) {
  EXPECT_EQ(
      0,
      SterProject()({-0.21, 0.03, 0.012, 0.004, -0.007, 141.5, 122.25, 0.93, 260, 275, 8}, image));
  return {};
}

Figures byView(cv::Mat& image) {
  EXPECT_EQ(0, SterProject()({}, {7, -11}, {70, 52}, 0.8, 0.13, image));
  return {};
}

class CorrectCalls : public HostTest {
 protected:
  CorrectCalls() : source_(disc(300, 0.7, 3)(cv::Rect(0, 20, 300, 260)).clone()) {
    cv::imwrite(path("in.png").string(), source_);
  }

  void expectTheCall(const std::string& options, const Call& call) {
    SCOPED_TRACE(options);
    ASSERT_EQ(
        run("correct in.png -o out.png --preview grid.png --report r.json " + options).exitCode, 0);
    cv::Mat expected = source_.clone();
    const Figures figures = call(expected);
    expectPicture("out.png", expected);
    cv::Mat preview = withGrid(source_);
    call(preview);
    expectPicture("grid.png", preview);

    const nlohmann::json outcome = json("r.json")["images"][0];
    EXPECT_EQ(outcome["result"]["width"], expected.cols);
    EXPECT_EQ(outcome["result"]["height"], expected.rows);
    ASSERT_EQ(outcome["bounds"].is_null(), !figures.bounds);
    if (figures.bounds) {
      const nlohmann::json& bounds = outcome["bounds"];
      const cv::Vec4d read(bounds["left"], bounds["top"], bounds["right"], bounds["bottom"]);
      EXPECT_LE(cv::norm(read - *figures.bounds), 1e-14);
    }
    ASSERT_EQ(outcome["centre"].is_null(), !figures.centre);
    if (figures.centre) {
      const cv::Vec2d read(outcome["centre"]["x"], outcome["centre"]["y"]);
      EXPECT_LE(cv::norm(read - *figures.centre), 1e-14);
    }
  }

  void expectPicture(const std::string& name, const cv::Mat& expected) const {
    const cv::Mat picture = cv::imread(path(name).string(), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(picture.size(), expected.size()) << name;
    EXPECT_EQ(cv::norm(picture, expected, cv::NORM_INF), 0.0) << name;
  }

  const cv::Mat source_;
};

TEST_F(CorrectCalls, EveryModeHandsItsOptionsOver) {
  expectTheCall(kLens +
                    "--mode range --min-angle-deg -61 --max-angle-deg 66 --margin-deg 3 "
                    "--pixels-per-unit 350",
                byRange);
  expectTheCall(kLens + "--mode fov --cone-angle-deg 58 --margin-percent 12 --pixels-per-unit 330",
                byField);
  expectTheCall(kLens + "--mode square", bySquare);
  expectTheCall(kLens + "--mode rect --output-size 333 --plane-half-extent 0.8", byRect);
  expectTheCall(
      "--mode pinhole --k1 -0.21 --k2 0.03 --k3 0.012 --p1 0.004 --p2 -0.007 --centre-x 141.5 "
      "--centre-y 122.25 --scale 0.93 --focal-x 260 --focal-y 275 --angle-deg 8",
      byPinhole);
  expectTheCall(
      "--mode view --view-x-deg 7 --view-y-deg -11 --fov-x-deg 70 --fov-y-deg 52 "
      "--angle-scale 0.8 --radial 0.13",
      byView);
}

TEST_F(CorrectCalls, MapsAndSharedMapsAreThoseOfTheExport) {
  constexpr int kSize = 301;
  constexpr double kExtent = 0.9;
  cv::Mat columns(kSize, kSize, CV_32F);
  cv::Mat rows(kSize, kSize, CV_32F);
  std::vector<float*> columnTable;
  std::vector<float*> rowTable;
  for (int row = 0; row < kSize; ++row) {
    columnTable.push_back(columns.ptr<float>(row));
    rowTable.push_back(rows.ptr<float>(row));
  }
  double yaw = kYaw;
  double pitch = kPitch;
  SterProject project;
  project(1.4,
          0.11,
          0.9,
          yaw,
          pitch,
          kRoll,
          kSize,
          kExtent,
          3,
          source_.cols,
          source_.rows,
          columnTable.data(),
          rowTable.data());

  expectTheCall(
      kLens +
          "--mode square --shared-maps --maps maps.npy --output-size 301 "
          "--plane-half-extent 0.9",
      [&](cv::Mat& image) {
        cv::Mat sampled = cv::Mat::zeros(kSize, kSize, CV_8UC3);
        project.Interpolate(image.data,
                            columnTable.data(),
                            rowTable.data(),
                            3,
                            image.cols,
                            image.rows,
                            kSize,
                            sampled.data);
        int left = 0, top = 0, right = 0, bottom = 0;
        EXPECT_EQ(0, project.DetermineBoundaries(sampled.data, 3, kSize, left, top, right, bottom));
        image = sampled(cv::Rect(cv::Point(left, top), cv::Point(right, bottom))).clone();
        // Crop edges and centre as the square correction defines them.
        const double unit = 2 * kExtent / kSize;
        const auto centre = [&](int first, int end) {
          return ((kSize * 0.5 - first) * 2 - (end - first)) / (end - first);
        };
        return Figures{cv::Vec4d(unit * left - kExtent,
                                 kExtent - unit * top,
                                 unit * right - kExtent,
                                 kExtent - unit * bottom),
                       cv::Vec2d(centre(left, right), centre(top, bottom))};
      });
  const std::string file = bytes("maps.npy");
  const std::size_t planeBytes = columns.total() * sizeof(float);
  ASSERT_GT(file.size(), 2 * planeBytes);
  const char* const planes = file.data() + file.size() - 2 * planeBytes;
  EXPECT_EQ(std::memcmp(planes, columns.data, planeBytes), 0);
  EXPECT_EQ(std::memcmp(planes + planeBytes, rows.data, planeBytes), 0);
}

TEST_F(CorrectCalls, NamesTheOneBorderThatContentTouches) {
  struct Side {
    cv::Point centre;
    std::string inRange;  // whose picture is upside down
    std::string inFov;
  };
  for (const Side& side : {Side{{265, 150}, "right", "right"},
                           Side{{35, 150}, "left", "left"},
                           Side{{150, 265}, "top", "bottom"},
                           Side{{150, 35}, "bottom", "top"}}) {
    cv::Mat source = cv::Mat::zeros(300, 300, CV_8UC1);
    source(cv::Rect(side.centre - cv::Point(30, 30), cv::Size(60, 60))) = 200;
    cv::imwrite(path("side.png").string(), source);
    const std::string correct = "correct side.png -o out.png --quiet --half-field-angle 90deg ";
    expectRefused(correct + "--mode range --min-angle-deg -60 --max-angle-deg 60",
                  7,
                  "touches the " + side.inRange + " border of");
    expectRefused(
        correct + "--mode fov --cone-angle-deg 60", 7, "touches the " + side.inFov + " border of");
  }
}

}  // namespace
}  // namespace orv2d::tests
