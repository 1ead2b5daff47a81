// SPDX-License-Identifier: MIT
// wide_angle_truth render PHOTOGRAPH SIDE FOLDER
// wide_angle_truth compare PHOTOGRAPH REPORT [LIMIT [SHIFT]]
//
// render: writes what a known wide-angle lens sees of the photograph, FOLDER/wide.png with SIDE
// pixels per side, and the lens for `orv2d correct`, FOLDER/lens.json.
// compare: samples the photograph where the pixels of a corrected image (mode range or fov, without
// rotation) lie according to its report, and prints how far the corrected image is from that truth.
// Exit code 3: the 95th percentile of the position residual is above LIMIT pixels. SHIFT moves the
// truth to the right by that many pixels, which must show: a check of the measure itself.
#include "TileShifts.h"
#include "WideAngleLens.h"

#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using nlohmann::json;

constexpr int kMisused = 2;  // exit codes
constexpr int kAboveLimit = 3;
constexpr double kDegree = CV_PI / 180;
constexpr int kHalfFieldDeg = 90;
constexpr double kHalfField = kHalfFieldDeg * kDegree;
constexpr double kField = 75 * kDegree;
constexpr int kFrameDeg = 80;  // content must lie wholly inside what a correction renders
constexpr examples::WideAngleLens kLens{kHalfField, 0.62, 0.32, kField};

cv::Mat readImage(const std::string& path) {
  cv::Mat image = cv::imread(path, cv::IMREAD_COLOR);
  if (image.empty()) {
    throw std::runtime_error("cannot read " + path);
  }
  return image;
}

void render(const std::string& photograph, int side, const std::string& folder) {
  if (!cv::imwrite(folder + "/wide.png",
                   examples::renderWideAngle(readImage(photograph), kLens, side))) {
    throw std::runtime_error("cannot write " + folder + "/wide.png");
  }
  const json lens = {{"name", "fisheye of 150 degrees"},
                     {"half-field-angle", std::to_string(kHalfFieldDeg) + "deg"},
                     {"linear", kLens.linear},
                     {"cubic", kLens.cubic},
                     {"min-angle-deg", -kFrameDeg},
                     {"max-angle-deg", kFrameDeg},
                     {"cone-angle-deg", kFrameDeg}};
  std::ofstream(folder + "/lens.json") << lens.dump(2) << "\n";
}

/// Plane coordinates of `size` cropped pixels of an axis that is rendered from `first` to -`first`.
///
/// Samples stand on both ends, so they are extent / (count - 1) apart. The bound counts in steps of
/// extent / count: it is read back as a whole number of pixels first.
std::vector<float> axis(double first, double pixelsPerUnit, double bound, int size) {
  const double extent = -2 * first;
  const int count = static_cast<int>(std::abs(extent) * pixelsPerUnit);
  const double cropStart = std::round((bound - first) / extent * count);
  std::vector<float> positions;
  positions.reserve(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i) {
    positions.push_back(static_cast<float>(first + (cropStart + i) * extent / (count - 1)));
  }
  return positions;
}

/// Plane coordinates of every pixel of the corrected image.
void planeOf(const json& report, const cv::Size& size, cv::Mat& planeX, cv::Mat& planeY) {
  const json& image = report["images"][0];
  const json& bounds = image["bounds"];
  const double density = image["parameters"]["pixels-per-unit"];
  const double edge = std::tan(kFrameDeg * kDegree / 2);
  const bool upsideDown = report["settings"]["mode"] == "range";  // row 0 at positive y
  const double bottom = bounds["bottom"];                         // of row 0, y upward
  const std::vector<float> x = axis(-edge, density, bounds["left"], size.width);
  const std::vector<float> y = axis(upsideDown ? edge : -edge, density, -bottom, size.height);
  cv::repeat(cv::Mat(x, true).reshape(1, 1), size.height, 1, planeX);
  cv::repeat(cv::Mat(y, true), 1, size.width, planeY);
}

/// Prints how far the corrected image is from the truth; the 95th percentile of the distances.
double compare(const cv::Mat& photograph, const json& report, double shift) {
  constexpr double kInside = 0.97;  // of the field's radius: clear of the smoothed rim
  constexpr double kMostTiles = 0.95;
  const cv::Mat corrected = readImage(report["images"][0]["output"]);
  cv::Mat planeX;
  cv::Mat planeY;
  planeOf(report, corrected.size(), planeX, planeY);
  cv::Mat radius;
  cv::magnitude(planeX, planeY, radius);
  const cv::Mat inside = radius < kInside * examples::planeRadius(kLens);
  const double pixel = planeX.at<float>(0, 1) - planeX.at<float>(0, 0);
  cv::Mat truth = examples::photographAt(photograph, kLens, planeX - shift * pixel, planeY);
  cv::Mat grey;
  cv::cvtColor(truth, truth, cv::COLOR_BGR2GRAY);
  cv::cvtColor(corrected, grey, cv::COLOR_BGR2GRAY);
  cv::Mat difference;
  cv::absdiff(grey, truth, difference);
  const std::vector<double> shifts = examples::tileShifts(grey, truth, inside);
  if (shifts.empty()) {
    throw std::runtime_error("the pictures have no texture to compare");
  }
  const double most = examples::quantile(shifts, kMostTiles);
  std::printf(
      "position residual over %zu tiles: median %.3f px, 95th percentile %.3f px, "
      "largest %.3f px; mean absolute grey difference %.1f of 255\n",
      shifts.size(),
      examples::quantile(shifts, 0.5),
      most,
      examples::quantile(shifts, 1),
      cv::mean(difference, inside)[0]);
  return most;
}

int run(const std::vector<std::string>& words) {
  if (words.size() == 4 && words[0] == "render") {
    render(words[1], std::stoi(words[2]), words[3]);
    return 0;
  }
  if (words.size() >= 3 && words.size() <= 5 && words[0] == "compare") {
    std::ifstream stream(words[2]);
    const double residual = compare(
        readImage(words[1]), json::parse(stream), words.size() > 4 ? std::stod(words[4]) : 0);
    return words.size() > 3 && !(residual <= std::stod(words[3])) ? kAboveLimit : 0;
  }
  std::cerr << "usage: wide_angle_truth render PHOTOGRAPH SIDE FOLDER\n"
               "       wide_angle_truth compare PHOTOGRAPH REPORT [LIMIT [SHIFT]]\n";
  return kMisused;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  try {
    return run({arguments + 1, arguments + argumentCount});
  } catch (const std::exception& error) {
    std::cerr << "wide_angle_truth: " << error.what() << "\n";
    return 1;
  }
}
