// SPDX-License-Identifier: MIT
// render_grid FOLDER [options]
//
// Renders a grid of overlapping views by a turning camera, of any number and size: the scene is an
// optional photograph, enlarged as far as needed, under texture of all finer scales, so that it is
// sharp at gigapixels. Every view has its own exposure, noise and a slightly irregular gaze. Writes
// FOLDER/view_0000.png (or .jpg) and so on, and FOLDER/truth.json.
#include "TurningCamera.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr double kRadiansPerDegree = CV_PI / 180;

struct Settings {
  std::string folder;
  std::string photograph;
  std::string format = "png";
  int rows = 4;
  int columns = 6;
  double megapixels = 0.5;
  double spanDeg = 70;   // of the whole grid, along a row
  double overlap = 0.3;  // of neighbours, share of a view's side
  double irregular = 1;  // scale of the deviations from the grid
  int strangers = 0;     // views of elsewhere, appended
  bool shuffle = false;
  unsigned seed = 1;
};

/// Random texture of one scale, periodic; octaves of it lie at different angles, so that their sum
/// does not repeat.
class Texture {
 public:
  explicit Texture(unsigned seed) : tile_(kSide, kSide, CV_32FC1) {
    cv::RNG random(seed);
    random.fill(tile_, cv::RNG::UNIFORM, -1.0, 1.0);
    cv::copyMakeBorder(tile_, tile_, kRim, kRim, kRim, kRim, cv::BORDER_WRAP);
    cv::GaussianBlur(tile_, tile_, {}, 1.2);
    tile_ = tile_(cv::Rect(kRim, kRim, kSide, kSide)).clone();
    tile_ *= 4.0;  // blurring took contrast off
  }

  /// Adds the octaves from `finest` up to `coarsest` scene pixels at the places given.
  void add(const cv::Mat& x, const cv::Mat& y, double finest, double coarsest, cv::Mat& sum) const {
    int octave = 0;
    for (double scale = finest; scale < coarsest; scale *= 2.0, ++octave) {
      const double angle = 0.7 * octave + 0.3;
      const double c = std::cos(angle) / scale;
      const double s = std::sin(angle) / scale;
      const double shift = 311.0 * octave;
      const cv::Mat u = c * x - s * y + shift;
      const cv::Mat v = s * x + c * y - shift;
      cv::Mat values;
      cv::remap(tile_, values, u, v, cv::INTER_LINEAR, cv::BORDER_WRAP);
      sum += kAmplitude * values;
    }
  }

 private:
  static constexpr int kSide = 1024;
  static constexpr int kRim = 8;
  static constexpr double kAmplitude = 11.0;  // grey levels

  cv::Mat tile_;
};

class Scene {
 public:
  /// @param[in] size  of the scene in pixels of the views' scale.
  Scene(const Settings& settings, cv::Size2d size)
      : size_(size), texture_(settings.seed), picture_(pictureOf(settings)) {}

  /// Colours, `CV_32FC3`, at places counted from the scene's centre.
  [[nodiscard]] cv::Mat at(const cv::Mat& x, const cv::Mat& y) const {
    const double scale = std::min(picture_.cols / size_.width, picture_.rows / size_.height);
    const cv::Mat u = scale * x + (picture_.cols - 1) / 2.0;
    const cv::Mat v = scale * y + (picture_.rows - 1) / 2.0;
    cv::Mat base;
    cv::remap(picture_, base, u, v, cv::INTER_CUBIC, cv::BORDER_REFLECT);
    base.convertTo(base, CV_32F);
    cv::Mat fine(x.size(), CV_32FC1, cv::Scalar(0));
    texture_.add(x, y, 1.5, std::max(12.0, 2.0 / scale), fine);
    cv::Mat colour;
    cv::cvtColor(fine, colour, cv::COLOR_GRAY2BGR);
    return base * 0.7 + colour + cv::Scalar::all(38);
  }

 private:
  static cv::Mat pictureOf(const Settings& settings) {
    if (!settings.photograph.empty()) {
      cv::Mat photograph = cv::imread(settings.photograph, cv::IMREAD_COLOR);
      if (photograph.empty()) {
        throw std::runtime_error("cannot read " + settings.photograph);
      }
      return photograph;
    }
    cv::Mat blobs(24, 40, CV_8UC3);
    cv::RNG random(settings.seed + 1);
    random.fill(blobs, cv::RNG::UNIFORM, 20, 235);
    cv::Mat picture;
    cv::resize(blobs, picture, {}, 40, 40, cv::INTER_CUBIC);
    return picture;
  }

  cv::Size2d size_;
  Texture texture_;
  cv::Mat picture_;
};

/// Where the views look, and through what lens.
struct Grid {
  cv::Size size;
  double focal = 0;
  std::vector<examples::Gaze> gazes;
  cv::Size2d scene;  ///< pixels of the tangential plane that the views lie on
};

Grid gridOf(const Settings& settings) {
  Grid grid;
  const double height = std::sqrt(settings.megapixels * 1e6 * 3 / 4);
  grid.size = {static_cast<int>(height * 4 / 3), static_cast<int>(height)};
  const double step = 1 - settings.overlap;
  const double width = settings.spanDeg / (1 + (settings.columns - 1) * step);
  grid.focal = grid.size.width / (2 * std::tan(width / 2 * kRadiansPerDegree));
  const double rise = 2 * std::atan(grid.size.height / (2 * grid.focal)) / kRadiansPerDegree;
  std::mt19937 random(settings.seed);
  std::uniform_real_distribution<double> jitter(-settings.irregular, settings.irregular);
  for (int row = 0; row < settings.rows; ++row) {
    for (int column = 0; column < settings.columns; ++column) {
      const double yaw = (column - (settings.columns - 1) / 2.0) * width * step;
      const double pitch = (row - (settings.rows - 1) / 2.0) * rise * step;
      grid.gazes.push_back({yaw + 0.02 * width * jitter(random),
                            pitch + 0.02 * rise * jitter(random),
                            jitter(random)});
    }
  }
  const double right = settings.spanDeg / 2 * kRadiansPerDegree;
  const double down = (rise * (1 + (settings.rows - 1) * step)) / 2 * kRadiansPerDegree;
  grid.scene = {2 * grid.focal * std::tan(right),
                2 * grid.focal * std::tan(down) / std::cos(right)};
  return grid;
}

cv::Mat render(
    const Scene& scene, const Grid& grid, const examples::Gaze& gaze, double aside, unsigned seed) {
  const cv::Matx33d planeFromView =
      examples::worldFromCamera(gaze) * examples::intrinsics(grid.focal, grid.size).inv();
  cv::RNG random(seed);
  const double exposure = random.uniform(0.88, 1.12);
  cv::Mat view(grid.size, CV_8UC3);
  constexpr int kStrip = 256;
  for (int top = 0; top < grid.size.height; top += kStrip) {
    const int rows = std::min(kStrip, grid.size.height - top);
    cv::Mat x(rows, grid.size.width, CV_32FC1);
    cv::Mat y(rows, grid.size.width, CV_32FC1);
    for (int row = 0; row < rows; ++row) {
      for (int column = 0; column < grid.size.width; ++column) {
        const cv::Vec3d ray = planeFromView * cv::Vec3d(column, top + row, 1);
        x.at<float>(row, column) = static_cast<float>(grid.focal * ray[0] / ray[2] + aside);
        y.at<float>(row, column) = static_cast<float>(grid.focal * ray[1] / ray[2] + aside);
      }
    }
    cv::Mat noise(rows, grid.size.width, CV_32FC3);
    random.fill(noise, cv::RNG::NORMAL, 0.0, 1.5);
    cv::Mat colours = scene.at(x, y) * exposure + noise;
    colours.convertTo(view.rowRange(top, top + rows), CV_8U);
  }
  return view;
}

/// Row by row.
std::vector<double> valuesOf(const cv::Matx33d& matrix) {
  return {matrix.val, matrix.val + 9};
}

void renderAll(const Settings& settings) {
  const Grid grid = gridOf(settings);
  const Scene scene(settings, grid.scene);
  const int belonging = static_cast<int>(grid.gazes.size());
  const int count = belonging + settings.strangers;
  std::vector<int> places(static_cast<std::size_t>(count));
  std::iota(places.begin(), places.end(), 0);
  if (settings.shuffle) {
    std::shuffle(places.begin(), places.end(), std::mt19937(settings.seed + 7));
  }
  std::filesystem::create_directories(settings.folder);
  nlohmann::json truth = {
      {"focal", grid.focal}, {"width", grid.size.width}, {"height", grid.size.height}};
  for (int i = 0; i < count; ++i) {
    const int place = places[static_cast<std::size_t>(i)];
    const bool belongs = place < belonging;
    const examples::Gaze& gaze = grid.gazes[static_cast<std::size_t>(place % belonging)];
    truth["views"].push_back(
        {{"belongs", belongs}, {"worldFromCamera", valuesOf(examples::worldFromCamera(gaze))}});
  }
  std::ofstream(settings.folder + "/truth.json") << truth.dump() << "\n";
  cv::parallel_for_({0, count}, [&](const cv::Range& range) {
    for (int i = range.start; i < range.end; ++i) {
      const int place = places[static_cast<std::size_t>(i)];
      const double aside = place < belonging ? 0.0 : 1e5 * (1 + place - belonging);
      char name[32];
      std::snprintf(name, sizeof name, "/view_%04d.", i);
      cv::imwrite(settings.folder + name + settings.format,
                  render(scene,
                         grid,
                         grid.gazes[static_cast<std::size_t>(place % belonging)],
                         aside,
                         settings.seed + static_cast<unsigned>(place)));
    }
  });
}

}  // namespace

int main(int argumentCount, char** arguments) {
  Settings settings;
  CLI::App app("Renders a grid of overlapping views with known cameras");
  app.add_option("FOLDER", settings.folder, "To write to")->required();
  app.add_option("--photograph", settings.photograph, "The scene at large; else coloured clouds");
  app.add_option("--format", settings.format)->check(CLI::IsMember({"png", "jpg"}));
  app.option_defaults()->always_capture_default();
  app.add_option("--rows", settings.rows)->check(CLI::Range(1, 1000));
  app.add_option("--columns", settings.columns)->check(CLI::Range(1, 1000));
  app.add_option("--megapixels", settings.megapixels, "Of a view")->check(CLI::Range(0.01, 100.0));
  app.add_option("--span", settings.spanDeg, "Degrees along a row")->check(CLI::Range(1.0, 150.0));
  app.add_option("--overlap", settings.overlap, "Of neighbours")->check(CLI::Range(0.0, 0.9));
  app.add_option("--irregular", settings.irregular, "Deviation from the grid, 0: none");
  app.add_option("--strangers", settings.strangers, "Views that do not belong, appended");
  app.add_flag("--shuffle", settings.shuffle, "In random order");
  app.add_option("--seed", settings.seed);
  CLI11_PARSE(app, argumentCount, arguments);
  try {
    renderAll(settings);
  } catch (const std::exception& error) {
    std::cerr << "render_grid: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
