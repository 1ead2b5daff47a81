// SPDX-License-Identifier: MIT
#include "Pipeline/PlanMontage.h"

#include "Composition.h"
#include "Composition/ExposureGains.h"
#include "Composition/GraphCutSeams.h"
#include "Composition/PlaneFootprint.h"
#include "Composition/SeamViews.h"
#include "Pipeline/Adjust.h"
#include "Pipeline/Crop.h"
#include "Pipeline/Estimate.h"
#include "Pipeline/Orientation.h"
#include "Pipeline/PlaneStretch.h"
#include "Pipeline/Records.h"
#include "Pipeline/Watcher.h"
#include "Platform/OpenCvScope.h"
#include "Platform/ParallelLoop.h"
#include "Scaler.h"
#include "Scaler/ResolutionScale.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/stitching/detail/util.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace montage {
namespace {

namespace stages = ORV::Common::Algorithms::Montage;
namespace composition = stages::Composition;
using ORV::Common::Platform::parallelFor;

constexpr double kDegreesPerRadian = 180.0 / CV_PI;
constexpr double kWidestAxis = 80.0 / kDegreesPerRadian;
constexpr double kWidestCorner = 87.0 / kDegreesPerRadian;

/// Seam views of all images together have at most this many pixels, about a gigabyte.
constexpr double kMostSeamPixels = 200e6;
constexpr double kPixelsPerMegapixel = 1e6;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

std::string sizeText(cv::Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

double areaOf(cv::Size size) {
  return static_cast<double>(size.width) * size.height;
}

/// One image on its way into the plan.
struct Candidate {
  int index;
  cv::Size size;     ///< full resolution, in this source
  Camera camera;     ///< registration resolution
  int channels = 0;  ///< 0: not read
  std::uint64_t hash = 0;
};

/// The images are those of the registration, all larger or smaller by one factor.
double sizeRatio(const Registration& registration, const ImageSource& images) {
  const RegisteredImage& first = registration.images[at(registration.used.front())];
  const cv::Size size = images.size(registration.used.front());
  return size.width == first.size.width
             ? 1.0
             : static_cast<double>(size.width) / std::max(first.size.width, 1);
}

void requireSize(const RegisteredImage& registered, cv::Size size, double ratio) {
  const double width = registered.size.width * ratio;
  const double height = registered.size.height * ratio;
  constexpr double kRounding = 1.5;
  if (std::abs(size.width - width) > kRounding || std::abs(size.height - height) > kRounding) {
    throw std::invalid_argument(
        "images: " + registered.name + " has " + sizeText(size) + " pixels, " +
        sizeText({cvRound(width), cvRound(height)}) +
        " are expected; images in register with those that were registered are needed");
  }
}

class Planner {
 public:
  Planner(const Registration& registration,
          const ImageSource& images,
          const PlanOptions& options,
          bool withHashes,
          const Progress& progress)
      : registration_(registration),
        images_(images),
        options_(options),
        withHashes_(withHashes),
        progress_(progress) {}

  MontagePlan run() {
    plan_.options = options_;
    plan_.sourceCount = images_.count();
    if (registration_.status != RegistrationStatus::ok || registration_.used.empty()) {
      plan_.reason = std::string("there is nothing to show: ") + sentenceOf(registration_.status);
      return plan_;
    }
    takeImages();
    orient();
    if (options_.masksInsideImages) {
      leaveOutWideViews();
    }
    if (candidates_.size() < 2) {
      plan_.reason = "fewer than two images can be shown on one plane" + leftOutText();
      return plan_;
    }
    placeAtSeamScale();
    layOut();
    if (plan_.status == PlanStatus::ok && options_.seams != Seams::none) {
      cutOverlaps();
    }
    return plan_;
  }

 private:
  /// Sizes and, where seams are to be found, the images at seam scale.
  void takeImages() {
    const double ratio = sizeRatio(registration_, images_);
    scaler_.workScale = static_cast<float>(registration_.scale / ratio);
    double largestArea = 0.0;
    for (const RegisteredImage& image : registration_.images) {
      largestArea = std::max(largestArea, areaOf(image.size) * ratio * ratio);
    }
    scaler_.seamScale =
        stages::resolutionScale(static_cast<float>(options_.seamMegapixels), largestArea);
    scaler_.composeScale =
        stages::resolutionScale(static_cast<float>(options_.composeMegapixels), largestArea);
    for (const int index : registration_.used) {
      candidates_.push_back({index, {}, registration_.images[at(index)].camera, 0, 0});
    }
    reduced_.resize(candidates_.size());
    const bool withPixels = options_.seams != Seams::none;
    Watcher watcher(progress_, Stage::warp, static_cast<int>(candidates_.size()));
    parallelFor(0, static_cast<int>(candidates_.size()), [&](int c) {
      Candidate& candidate = candidates_[at(c)];
      const RegisteredImage& registered = registration_.images[at(candidate.index)];
      if (withPixels) {
        const cv::Mat image = images_.read(candidate.index);
        candidate.size = image.size();
        requireSize(registered, candidate.size, ratio);
        candidate.channels = image.channels();
        candidate.hash = withHashes_ ? hashOf(image) : 0;
        reduced_[at(c)] = composition::reducedForSeams(image, scaler_.seamScale);
      } else {
        candidate.size = images_.size(candidate.index);
        requireSize(registered, candidate.size, ratio);
      }
      watcher.step();
    });
  }

  void orient() {
    std::vector<cv::Matx33d> rotations;
    for (const Candidate& candidate : candidates_) {
      rotations.push_back(candidate.camera.worldFromCamera);
    }
    if (options_.faceMeanDirection) {
      faceMeanDirection(rotations, options_.straighten);
    } else {
      straightenOnly(rotations, options_.straighten);
    }
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      candidates_[c].camera.worldFromCamera = rotations[c];
    }
  }

  void leaveOutWideViews() {
    std::vector<Candidate> kept;
    std::vector<cv::Mat> keptReduced;
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      const std::string reason = whyNotOnPlane(candidates_[c]);
      if (reason.empty()) {
        kept.push_back(candidates_[c]);
        keptReduced.push_back(reduced_[c]);
      } else {
        plan_.leftOut.push_back({candidates_[c].index, reason});
      }
    }
    candidates_ = std::move(kept);
    reduced_ = std::move(keptReduced);
  }

  [[nodiscard]] std::string whyNotOnPlane(const Candidate& candidate) const {
    const Camera& camera = candidate.camera;
    const cv::Matx33d K(
        camera.focal, 0, camera.ppx, 0, camera.focal * camera.aspect, camera.ppy, 0, 0, 1);
    const cv::Size size(cvRound(static_cast<double>(candidate.size.width) * scaler_.workScale),
                        cvRound(static_cast<double>(candidate.size.height) * scaler_.workScale));
    const double axis = axisAngle(camera.worldFromCamera);
    const double corner = outermostAngle(camera.worldFromCamera * K.inv(), size);
    std::ostringstream reason;
    reason.precision(3);
    if (axis > kWidestAxis) {
      reason << "it looks " << axis * kDegreesPerRadian
             << " degrees off the plane of the montage; a plane shows up to 80";
    } else if (corner > kWidestCorner) {
      reason << "it reaches " << corner * kDegreesPerRadian
             << " degrees off the plane of the montage; a plane shows up to 87";
    }
    return reason.str();
  }

  [[nodiscard]] std::string leftOutText() const {
    std::string text;
    for (const LeftOutImage& image : plan_.leftOut) {
      text += (text.empty() ? "; left out: " : ", ") + registration_.images[at(image.index)].name +
              " (" + image.reason + ")";
    }
    return text;
  }

  /// The cameras as the stages take them; principal points such that `aspect` brings them to the
  /// right place.
  [[nodiscard]] std::vector<cv::detail::CameraParams> cameraRecords(double aspect) const {
    const bool plain = registration_.options.adjustment.method == AdjustMethod::plain;
    std::vector<cv::detail::CameraParams> records;
    for (const Candidate& candidate : candidates_) {
      records.push_back(cameraRecord(candidate.camera));
      if (!plain) {
        const Camera scaled = scaledCamera(candidate.camera, aspect, AdjustMethod::robust);
        records.back().ppx = scaled.ppx / aspect;
        records.back().ppy = scaled.ppy / aspect;
      }
    }
    return records;
  }

  /// Footprints at seam scale: what cannot be warped is refused before any memory is taken.
  void placeAtSeamScale() {
    std::vector<cv::Rect> footprints = seamFootprints();
    double pixels = 0.0;
    for (const cv::Rect& footprint : footprints) {
      pixels += areaOf(footprint.size());
    }
    requireModestStretch(pixels, imagePixels(scaler_.seamScale));
    if (options_.seams != Seams::none && pixels > kMostSeamPixels) {
      if (!options_.masksInsideImages) {
        CV_Error_(cv::Error::StsOutOfRange,
                  ("the images would cover %.0f megapixels of the montage plane at the seams' "
                   "resolution, which is stretched too far",
                   pixels / kPixelsPerMegapixel));
      }
      lowerSeamScale(std::sqrt(kMostSeamPixels / pixels));
      footprints = seamFootprints();
    }
    plan_.images.resize(candidates_.size());
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      plan_.images[c].index = candidates_[c].index;
      plan_.images[c].name = images_.name(candidates_[c].index);
      plan_.images[c].hash = candidates_[c].hash;
      plan_.images[c].sourceSize = candidates_[c].size;
      plan_.images[c].seamFootprint = footprints[c];
    }
    plan_.seamScale = scaler_.seamScale;
    plan_.channels = candidates_.front().channels;
  }

  [[nodiscard]] double imagePixels(double scale) const {
    double pixels = 0.0;
    for (const Candidate& candidate : candidates_) {
      pixels += areaOf(candidate.size) * scale * scale;
    }
    return pixels;
  }

  /// Wide views are stretched so much that less resolution shows as much of them.
  void lowerSeamScale(double factor) {
    constexpr double kMargin = 0.99;  // sizes are rounded
    scaler_.seamScale *= static_cast<float>(kMargin * factor);
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      const cv::Size size =
          composition::reducedSizeForSeams(candidates_[c].size, scaler_.seamScale);
      cv::resize(reduced_[c].clone(), reduced_[c], size, 0, 0, cv::INTER_AREA);
    }
  }

  /// Where the images lie at the present seam scale.
  std::vector<cv::Rect> seamFootprints() {
    scaler_.seamWorkAspect = scaler_.seamScale / scaler_.workScale;
    std::vector<cv::detail::CameraParams> cameras = cameraRecords(scaler_.seamWorkAspect);
    const composition::Warp warp(cameras, scaler_.seamWorkAspect);
    std::vector<cv::Rect> footprints;
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      const cv::Size size =
          composition::reducedSizeForSeams(candidates_[c].size, scaler_.seamScale);
      const cv::Rect footprint = warp.warper->warpRoi(
          size, composition::intrinsicsOf(cameras[c], scaler_.seamWorkAspect), cameras[c].R);
      composition::requireFootprint(footprint.tl(), footprint.width, footprint.height);
      footprints.push_back(footprint);
    }
    return footprints;
  }

  void cutOverlaps() {
    std::vector<cv::detail::CameraParams> cameras = cameraRecords(scaler_.seamWorkAspect);
    composition::Warp warp(cameras, scaler_.seamWorkAspect);
    composition::SeamViews views;
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      views.add(*warp.warper,
                reduced_[c],
                composition::intrinsicsOf(cameras[c], scaler_.seamWorkAspect),
                cameras[c].R,
                options_.masksInsideImages ? cv::INTER_NEAREST : cv::INTER_CUBIC);
      reduced_[c].release();
      plan_.images[c].seamFootprint = {views.corners[c], views.sizes[c]};
    }
    const auto pairCount = static_cast<int>(composition::overlappingPairs(views).size());
    Watcher gains(progress_, Stage::gains, pairCount);
    const std::vector<cv::Mat> perBlock =
        composition::exposureGains(views, [&gains] { gains.step(); });
    Watcher seams(progress_, Stage::seams, pairCount);
    composition::cutSeams(
        views,
        options_.exactSeams ? composition::SeamSearch::kExact
                            : composition::SeamSearch::kCoarseToFine,
        [&seams] { seams.step(); },
        [&seams] { seams.poll(); });
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      plan_.images[c].seamMask = composition::widened(views.masks[c], options_.seamWidening);
      plan_.images[c].gains = perBlock[c];
    }
  }

  void layOut() {
    scaler_.composeWorkAspect = scaler_.composeScale / scaler_.workScale;
    std::vector<cv::detail::CameraParams> cameras = cameraRecords(scaler_.composeWorkAspect);
    composition::Warp warp(cameras, scaler_.seamWorkAspect);
    for (const Candidate& candidate : candidates_) {
      scaler_.sizes.push_back(candidate.size);
    }
    std::vector<cv::Point> corners(candidates_.size());
    scaler_.blendScale(cameras, warp, corners);
    composition::requireFootprints(corners, scaler_.sizes);
    for (std::size_t c = 0; c < candidates_.size(); ++c) {
      plan_.images[c].camera = cameraOf(cameras[c]);
      plan_.images[c].footprint = {corners[c], scaler_.sizes[c]};
    }
    plan_.planeScale = warp.warper->getScale();
    plan_.composeScale = scaler_.composeScale;
    plan_.canvas = cv::detail::resultRoi(corners, scaler_.sizes);
    double pixels = 0.0;
    for (const cv::Size& size : scaler_.sizes) {
      pixels += areaOf(size);
    }
    requireModestStretch(std::max(pixels, areaOf(plan_.canvas.size())),
                         imagePixels(scaler_.composeScale));
    plan_.origin = plan_.canvas.tl();
    plan_.size = plan_.canvas.size();
    plan_.bands = bandsFor();
    const double megapixels = areaOf(plan_.size) / kPixelsPerMegapixel;
    std::ostringstream text;
    if (megapixels > options_.maxMegapixels) {
      plan_.status = PlanStatus::tooLarge;
      text << "the montage would have " << sizeText(plan_.size) << " pixels, " << megapixels
           << " megapixels; at most " << options_.maxMegapixels << " are allowed";
    } else {
      plan_.status = PlanStatus::ok;
      text << plan_.images.size() << " images, " << sizeText(plan_.size) << " pixels";
    }
    plan_.reason = text.str() + leftOutText();
  }

  /// As many bands as the overlaps have room for: the coarsest structure is an eighth of their
  /// median width.
  [[nodiscard]] int bandsFor() const {
    if (options_.bands > 0) {
      return options_.bands;
    }
    std::vector<int> widths;
    for (std::size_t a = 0; a < plan_.images.size(); ++a) {
      for (std::size_t b = a + 1; b < plan_.images.size(); ++b) {
        const cv::Rect overlap = plan_.images[a].footprint & plan_.images[b].footprint;
        if (!overlap.empty()) {
          widths.push_back(std::min(overlap.width, overlap.height));
        }
      }
    }
    if (widths.empty()) {
      return 1;
    }
    std::nth_element(
        widths.begin(), widths.begin() + static_cast<long>(widths.size() / 2), widths.end());
    constexpr double kStructuresPerOverlap = 8.0;
    constexpr int kMostBands = 3;
    const double structure = widths[widths.size() / 2] / kStructuresPerOverlap;
    return std::clamp(cvRound(std::log2(std::max(structure, 1.0))), 1, kMostBands);
  }

  static stages::Scaler emptyScaler() {
    std::vector<cv::Mat> none;
    return {none};
  }

  const Registration& registration_;
  const ImageSource& images_;
  const PlanOptions& options_;
  bool withHashes_;
  const Progress& progress_;
  std::vector<Candidate> candidates_;
  std::vector<cv::Mat> reduced_;  ///< per candidate, at seam scale
  stages::Scaler scaler_ = emptyScaler();
  MontagePlan plan_;
};

}  // namespace

MontagePlan planSource(const Registration& registration,
                       const ImageSource& images,
                       const PlanOptions& options,
                       bool withHashes,
                       const Progress& progress) {
  const ORV::Common::Platform::CpuOnly cpuOnly;
  return Planner(registration, images, options, withHashes, progress).run();
}

MontagePlan planMontage(const Registration& registration,
                        const ImageSource& images,
                        const PlanOptions& options,
                        const Progress& progress) {
  check(options);
  if (static_cast<std::size_t>(images.count()) != registration.images.size()) {
    throw std::invalid_argument("images: " + std::to_string(registration.images.size()) +
                                " images are expected, as many as were registered; " +
                                std::to_string(images.count()) + " given");
  }
  MontagePlan plan;
  try {
    plan = planSource(registration, images, options, true, progress);
  } catch (const cv::Exception& error) {
    if (error.code != cv::Error::StsOutOfRange) {
      throw;
    }
    plan.options = options;
    plan.status = PlanStatus::tooLarge;
    plan.reason = error.err;
  }
  if (plan.status == PlanStatus::ok) {
    crop(plan);
    plan.estimate = estimateOf(plan);
  }
  return plan;
}

}  // namespace montage
