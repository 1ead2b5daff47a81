// SPDX-License-Identifier: MIT
/// @file
/// Everything that the library does, once and small: what is to hold for each operation is tested in
/// one loop.
#ifndef ORV_TESTS_SUPPORT_OPERATIONS_H
#define ORV_TESTS_SUPPORT_OPERATIONS_H

#include "DistortCorrect.h"
#include "montage/Montage.h"
#include "support/Checksum.h"
#include "support/MontageCall.h"
#include "support/SyntheticScene.h"
#include "support/TemporaryFolder.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace ORV::TestSupport {

/// Three views that connect at 110 x 90 pixels.
inline const std::vector<cv::Mat>& smallViews() {
  static const std::vector<cv::Mat> kViews = [] {
    const cv::Mat picture = makePicture({260, 160}, 3);
    std::vector<cv::Mat> views;
    for (const cv::Point corner : {cv::Point(5, 10), cv::Point(55, 20), cv::Point(100, 15)}) {
      views.push_back(picture(cv::Rect(corner, cv::Size(110, 90))).clone());
    }
    return views;
  }();
  return kViews;
}

/// Images, positions, files: one number for all that came out.
struct Operation {
  std::string name;
  std::function<std::uint64_t()> run;
};

inline void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

inline std::uint64_t montageByFacade(Pipeline pipeline) {
  MontageOptions options;
  options.megapixels = {-1, 0.003, -1};
  return callMontage(pipeline, smallViews(), options).fingerprint();
}

/// Throws where a call that failed left a file or changed an argument.
inline void requireUntouched(bool untouched, const std::string& what) {
  if (!untouched) {
    throw std::logic_error("a failed call left " + what);
  }
}

/// Of a file's bytes, read without streams and decoders, which keep failures to themselves.
inline std::uint64_t checksumOfFile(const std::filesystem::path& file) {
  std::vector<unsigned char> bytes(std::filesystem::file_size(file));
  std::FILE* const stream = std::fopen(file.c_str(), "rb");
  const bool whole =
      stream != nullptr && std::fread(bytes.data(), 1, bytes.size(), stream) == bytes.size();
  requireUntouched(whole && std::fclose(stream) == 0, "a file that cannot be read");
  return checksumBytes(bytes.data(), bytes.size());
}

/// All steps, into a file in `folder`.
inline std::uint64_t montageInSteps(const TemporaryFolder& folder,
                                    const montage::Progress& progress) {
  using namespace montage;
  const MatSource source(smallViews());
  const Registration registration = registerImages(source, {}, progress);
  PlanOptions planning;
  planning.seamMegapixels = 0.003;
  planning.crop = Crop::inner;
  TiffOptions tiled;
  tiled.pyramid = true;
  TiffSink sink(folder / "montage.tif", tiled);
  Composer composer(planMontage(registration, source, planning, progress));
  composer.compose(source, sink, progress);
  const std::uint64_t written = checksumOfFile(folder / "montage.tif");
  const cv::Mat window = composer.compose(source, cv::Rect(10, 10, 40, 30), progress);
  return checksumBytes(&written, sizeof written, checksum(window));
}

/// A small picture in a tiled file.
inline std::uint64_t tiledFile(const TemporaryFolder& folder) {
  montage::TiffSink sink(folder / "tiles.tif");
  const cv::Mat& picture = smallViews()[0];
  sink.begin(picture.size(), picture.type());
  sink.write(cv::Rect(cv::Point(), picture.size()), picture);
  sink.finish();
  return checksumOfFile(folder / "tiles.tif");
}

/// Saves values and loads them again.
inline std::uint64_t valuesInFiles(const TemporaryFolder& folder) {
  using namespace montage;
  static const MatSource kSource(smallViews());
  static const Registration kRegistration = [] {
    RegisterOptions options;
    options.keepMatches = true;
    return registerImages(kSource, options);
  }();
  static const MontagePlan kPlan = planMontage(kRegistration, kSource);
  save(kRegistration, folder / "scene.json");
  save(kPlan, folder / "scene.plan");
  const Registration registration = loadRegistration(folder / "scene.json");
  const MontagePlan plan = loadPlan(folder / "scene.plan");
  std::vector<cv::Mat> parts;
  for (const PlannedImage& image : plan.images) {
    parts.push_back(image.seamMask);
    parts.push_back(image.gains);
  }
  const double values[] = {registration.figures.rms, registration.figures.focalMean};
  return checksumBytes(values, sizeof values, checksum(parts));
}

/// Runs `use` on a folder of the thread's own, in which nothing unfinished may be left.
template <class Use>
std::uint64_t inFolder(const Use& use) {
  static thread_local const TemporaryFolder folder;  // removing it takes memory
  try {
    return use(folder);
  } catch (...) {
    for (const auto& file : std::filesystem::directory_iterator(folder.path())) {
      const std::string name = file.path().filename().string();
      requireUntouched(name.find(".part") == std::string::npos, name);
    }
    throw;
  }
}

inline std::uint64_t montageInSteps(const montage::Progress& progress = {}) {
  return inFolder([&](const TemporaryFolder& folder) { return montageInSteps(folder, progress); });
}

/// A disc, corrected by one of the modes; `correct` takes the five numbers of every mode.
template <class Correct>
std::uint64_t correction(int type, const Correct& correct) {
  cv::Mat image(80, 80, type, cv::Scalar::all(0));
  cv::circle(image, {40, 38}, 20, cv::Scalar(90, 150, 210), cv::FILLED);
  double yaw = 0.1, pitch = 0.05;
  std::array<double, 4> bounds = {};
  int status = -1;
  try {
    status = correct(yaw, pitch, bounds, image);
  } catch (...) {
    requireUntouched(yaw == 0.1 && pitch == 0.05 && bounds == std::array<double, 4>(), "results");
    throw;
  }
  const double values[] = {yaw, pitch, bounds[0], bounds[1], bounds[2], bounds[3], 1.0 * status};
  return checksumBytes(values, sizeof values, checksum(image));
}

inline std::vector<Operation> allOperations() {
  using Common::Algorithms::DistortCorrect::SterProject;
  using Bounds = std::array<double, 4>;
  constexpr double kHalfField = 1.5;
  return {
      {"Basic", [] { return montageByFacade(Pipeline::kBasic); }},
      {"Diagnostic", [] { return montageByFacade(Pipeline::kDiagnostic); }},
      {"Steps", [] { return montageInSteps(); }},
      {"Files", [] { return inFolder(valuesInFiles); }},
      {"TiledFile", [] { return inFolder(tiledFile); }},
      {"Square",
       [] {
         return correction(CV_8UC1, [](double& yaw, double& pitch, Bounds& b, cv::Mat& image) {
           return SterProject().Process(
               kHalfField, 0, 1, yaw, pitch, 0.1, 150, 1.0, b[0], b[1], b[2], b[3], image);
         });
       }},
      {"Range",
       [] {
         return correction(CV_8UC3, [](double& yaw, double& pitch, Bounds& b, cv::Mat& image) {
           return SterProject()(
               kHalfField, 0, 1, yaw, pitch, 0.1, 5, -80., 80., 90., b[0], b[1], b[2], b[3], image);
         });
       }},
      {"Cone",
       [] {
         return correction(CV_8UC1, [](double& yaw, double& pitch, Bounds& b, cv::Mat& image) {
           return SterProject()(
               kHalfField, 0, 1, yaw, pitch, 0.1, 5, 70., 90., b[0], b[1], b[2], b[3], image);
         });
       }},
      {"Rect",
       [] {
         return correction(CV_8UC3, [](double& yaw, double& pitch, Bounds&, cv::Mat& image) {
           return SterProject().RectProject(kHalfField, 0, 1, yaw, pitch, 0.1, 150, 1.0, image);
         });
       }},
      {"Pinhole",
       [] {
         return correction(CV_8UC3, [](double&, double&, Bounds&, cv::Mat& image) {
           return SterProject()({-0.2, 0, 0, 0.01, 0, 40, 40, 1, 60, 60, 10}, image);
         });
       }},
      {"View", [] {
         return correction(CV_8UC1, [](double&, double&, Bounds&, cv::Mat& image) {
           return SterProject()({}, {20, 5}, {90, 90}, 1.0, 0.05, image);
         });
       }}};
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_OPERATIONS_H
