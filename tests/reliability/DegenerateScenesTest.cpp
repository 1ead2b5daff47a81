// SPDX-License-Identifier: MIT
// Images that no photographer means: every one gets its verdict, and takes no more time and room
// than other images.
#include "support/MontageCall.h"
#include "support/SyntheticScene.h"
#include "support/Views.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <chrono>
#include <string>

namespace {

using namespace montage;
using namespace ORV::TestSupport;
using Images = std::vector<cv::Mat>;

struct Scene {
  std::string name;
  Images images;
  std::string verdicts;  ///< one letter per image, see `letterOf`
  int status;            ///< of both pipelines of `SlabMontage`
};

void PrintTo(const Scene& scene, std::ostream* out) {
  *out << scene.name;
}

char letterOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::used:
      return 'u';
    case Verdict::unreadable:
      return 'r';
    case Verdict::tooFewCorners:
      return 'f';
    case Verdict::noPartner:
      return 'n';
    case Verdict::anotherGroup:
      return 'g';
    case Verdict::contradictory:
      return 'c';
    case Verdict::tooAlike:
      return 'a';
  }
  return '?';
}

cv::Mat plain(cv::Size size, int grey) {
  return {size, CV_8UC3, cv::Scalar::all(grey)};
}

/// A wall of equal windows.
cv::Mat wall(cv::Size size) {
  cv::Mat picture = plain(size, 150);
  for (int y = 6; y < size.height; y += 40) {
    for (int x = 6; x < size.width; x += 32) {
      cv::rectangle(picture, cv::Rect(x, y, 18, 26), cv::Scalar(60, 40, 30), cv::FILLED);
      cv::rectangle(picture, cv::Rect(x + 3, y + 4, 5, 8), cv::Scalar(220, 220, 200), cv::FILLED);
    }
  }
  return picture;
}

Images parts(const cv::Mat& picture, const std::vector<cv::Point>& corners) {
  Images images;
  for (const cv::Point& corner : corners) {
    images.push_back(picture(cv::Rect(corner, cv::Size(200, 150))).clone());
  }
  return images;
}

cv::Mat transformed(const cv::Mat& image, const cv::Matx23d& matrix) {
  cv::Mat result;
  cv::warpAffine(image, result, matrix, image.size(), cv::INTER_LINEAR, cv::BORDER_REFLECT);
  return result;
}

std::vector<Scene> scenes() {
  const Images three = parts(makePicture({500, 300}, 21), {{20, 20}, {110, 40}, {210, 30}});
  const Images apart = parts(makePicture({500, 300}, 77), {{20, 20}, {110, 40}});
  const cv::Mat view = three[0];
  cv::Mat mirrored;
  cv::flip(view, mirrored, 1);
  cv::Mat dot = plain(view.size(), 0);
  cv::rectangle(dot, cv::Rect(90, 70, 12, 12), cv::Scalar::all(255), cv::FILLED);
  Images crowd = {three[0], three[1]};
  for (unsigned i = 0; i < 28; ++i) {
    crowd.push_back(parts(makePicture({240, 180}, 500 + i), {{10, 10}})[0]);
  }
  return {
      {"Identical", {view, view.clone(), view.clone()}, "naa", 0},
      {"Mirrored", {view, mirrored}, "nn", 1},
      {"Zoomed", {view, transformed(view, {1.3, 0, -30, 0, 1.3, -22})}, "uu", 2},
      {"Windows", parts(wall({600, 400}), {{0, 0}, {90, 9}, {187, 75}}), "nnn", 1},
      {"OneKeypoint", {dot, view}, "fn", 1},
      {"NoKeypoint", {plain(view.size(), 90), view, three[1]}, "fuu", 0},
      {"OnePixel", {plain({1, 1}, 5), plain({1, 1}, 6), view}, "ffn", 1},
      {"OneRow", {view.row(3).clone(), view.row(4).clone()}, "ff", 1},
      {"OneColumn", {view.col(3).clone(), view.col(4).clone()}, "ff", 1},
      {"Black", {plain(view.size(), 0), plain(view.size(), 0)}, "ff", 1},
      {"White", {plain(view.size(), 255), plain(view.size(), 255)}, "ff", 1},
      {"Crowd", crowd, "uu" + std::string(28, 'n'), 0},
      {"TwoScenes", {three[0], apart[0], three[1], apart[1], three[2]}, "ugugu", 0},
  };
}

class DegenerateScene : public testing::TestWithParam<Scene> {};

INSTANTIATE_TEST_SUITE_P(Scenes,
                         DegenerateScene,
                         testing::ValuesIn(scenes()),
                         [](const auto& each) { return each.param.name; });

TEST_P(DegenerateScene, GetsItsVerdicts) {
  const Images& images = GetParam().images;
  double pixels = 0;
  for (const cv::Mat& image : images) {
    pixels += image.size().area();
  }
  const auto start = std::chrono::steady_clock::now();
  const MatSource source(images);
  const Registration registration = registerImages(source);
  std::string verdicts;
  for (const RegisteredImage& image : registration.images) {
    verdicts += letterOf(image.verdict);
  }
  EXPECT_EQ(verdicts, GetParam().verdicts);
  const MontagePlan plan = planMontage(registration, source);
  EXPECT_LT(plan.size.area(), 4 * pixels) << plan.size;
  if (plan.status == PlanStatus::ok) {
    EXPECT_EQ(compose(plan, source).size(), plan.size);
  }
  for (const Pipeline pipeline : {Pipeline::kBasic, Pipeline::kDiagnostic}) {
    MontageResult result;
    EXPECT_NO_THROW(result = callMontage(pipeline, images));
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_TRUE(result.status == 0 || result.untouched());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

}  // namespace
