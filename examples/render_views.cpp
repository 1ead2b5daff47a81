// SPDX-License-Identifier: MIT
// render_views PHOTOGRAPH OTHER FOLDER
//
// Renders six overlapping views of a photograph by a turning camera and, in their midst, one view
// of another photograph that does not belong. Every view has its own exposure and noise, and comes
// twice: slab 0 as it is, slab 1 with red and blue exchanged (another sensor, in register). Writes
// FOLDER/slab{0,1}_view{0..6}.png and FOLDER/truth.json.
#include "TurningCamera.h"

#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kUnrelated = 3;       // the view of the other photograph
constexpr double kNoiseSigma = 2;   // grey levels
constexpr double kViewShare = 0.4;  // of the photograph's shorter extent, times 4 : 3
constexpr double kFocalShare = 2;   // focal length in view widths: a view of 28 degrees

const examples::Gaze kGazes[] = {
    {-13, -5, 1}, {1, -6, -2}, {12, -5, 1}, {0, 0, 0}, {-12, 5, -1}, {-1, 6, 2}, {13, 5, -1.5}};
const double kExposures[] = {1.0, 0.85, 1.15, 1.0, 1.1, 0.95, 0.8};

cv::Mat readPhotograph(const std::string& path) {
  cv::Mat photograph = cv::imread(path, cv::IMREAD_COLOR);
  if (photograph.empty()) {
    throw std::runtime_error("cannot read " + path);
  }
  return photograph;
}

/// Row by row.
std::vector<double> valuesOf(const cv::Matx33d& matrix) {
  return {matrix.val, matrix.val + 9};
}

void renderAll(const cv::Mat& photograph, const cv::Mat& other, const std::string& folder) {
  const int height = static_cast<int>(kViewShare * std::min(photograph.rows, photograph.cols));
  const cv::Size size(height * 4 / 3, height);
  const double focal = kFocalShare * size.width;
  cv::RNG random(1);
  nlohmann::json truth = {{"focal", focal}, {"width", size.width}, {"height", size.height}};
  for (int view = 0; view < static_cast<int>(std::size(kGazes)); ++view) {
    const cv::Mat& picture = view == kUnrelated ? other : photograph;
    for (int slab = 0; slab < 2; ++slab) {
      cv::Mat image = examples::renderView(
          picture, focal, kGazes[view], size, kExposures[view], kNoiseSigma, random);
      if (slab == 1) {
        cv::cvtColor(image, image, cv::COLOR_BGR2RGB);
      }
      const std::string name =
          folder + "/slab" + std::to_string(slab) + "_view" + std::to_string(view) + ".png";
      if (!cv::imwrite(name, image)) {
        throw std::runtime_error("cannot write " + name);
      }
    }
    truth["views"].push_back(
        {{"belongs", view != kUnrelated},
         {"worldFromCamera", valuesOf(examples::worldFromCamera(kGazes[view]))}});
  }
  std::ofstream(folder + "/truth.json") << truth.dump(2) << "\n";
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 4) {
    std::cerr << "usage: render_views PHOTOGRAPH OTHER FOLDER\n";
    return 2;
  }
  try {
    renderAll(readPhotograph(arguments[1]), readPhotograph(arguments[2]), arguments[3]);
  } catch (const std::exception& error) {
    std::cerr << "render_views: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
