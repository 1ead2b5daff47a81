// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "Composition/PlaneFootprint.h"
#include "Composition/PlaneWarper.h"
#include "Composition/SeamFootprints.h"
#include "Composition/SeamViews.h"
#include "Platform/OpenCvScope.h"
#include "Platform/Status.h"

#include <iostream>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr float kTerminalCost = 10000.0F;
constexpr float kBadRegionPenalty = 1000.0F;
constexpr int kDilation = 1;
constexpr int kWideDilation = 7;

/// The finder of a keyword, or an empty pointer.
cv::Ptr<cv::detail::SeamFinder> makeSeamFinder(const std::string& seamType) {
  using cv::detail::DpSeamFinder;
  using cv::detail::GraphCutSeamFinder;
  using cv::detail::GraphCutSeamFinderBase;
  if (seamType == "no") {
    return cv::makePtr<cv::detail::NoSeamFinder>();
  }
  if (seamType == "dp_color") {
    return cv::makePtr<DpSeamFinder>(DpSeamFinder::COLOR);
  }
  if (seamType == "dp_colorgrad") {
    return cv::makePtr<DpSeamFinder>(DpSeamFinder::COLOR_GRAD);
  }
  if (seamType == "gc_color") {
    return cv::makePtr<GraphCutSeamFinder>(
        static_cast<int>(GraphCutSeamFinderBase::COST_COLOR), kTerminalCost, kBadRegionPenalty);
  }
  if (seamType == "gc_colorgrad") {
    return cv::makePtr<GraphCutSeamFinder>(
        static_cast<int>(GraphCutSeamFinderBase::COST_COLOR_GRAD),
        kTerminalCost,
        kBadRegionPenalty);
  }
  if (seamType == "voronoi") {
    return cv::makePtr<cv::detail::VoronoiSeamFinder>();
  }
  return {};
}

/// Where the images lie on the montage plane at seam scale, known without warping for the plane
/// warpers; their footprints that cannot be warped are refused before any takes memory.
std::vector<cv::Rect> footprintsOf(cv::detail::RotationWarper& warper,
                                   const std::vector<cv::Mat>& images,
                                   const std::vector<cv::detail::CameraParams>& cameras,
                                   double seamScale,
                                   double seamWorkAspect) {
  std::vector<cv::Rect> footprints;
  for (std::size_t i = 0; i < images.size(); ++i) {
    const cv::Mat K = intrinsicsOf(cameras[i], seamWorkAspect);
    const cv::Mat& R = cameras[i].R;
    if (isPlaneWarper(warper)) {
      const cv::Rect footprint =
          warper.warpRoi(reducedSizeForSeams(images[i].size(), seamScale), K, R);
      requireFootprint(footprint.tl(), footprint.width, footprint.height);
      footprints.push_back(footprint);
    } else {
      const cv::Mat scaled = reducedForSeams(images[i], seamScale);
      cv::Mat warped;
      const cv::Point corner =
          warper.warp(scaled, K, R, cv::INTER_LINEAR, cv::BORDER_REFLECT, warped);
      footprints.emplace_back(corner, warped.size());
    }
  }
  return footprints;
}

}  // namespace

Seam::Seam(Warp& sharedWarp, Compensate& compensate)
    : warp(sharedWarp), compensator(compensate.compensator) {}
Seam::Seam(Seam& other) = default;
Seam& Seam::operator=(const Seam& other) = default;
Seam::~Seam() = default;

int Seam::operator()(std::vector<cv::Mat>& images,
                     std::vector<cv::Mat>& masks,
                     std::vector<cv::Point>& corners,
                     std::vector<cv::detail::CameraParams>& cameras,
                     double seamScale,
                     double seamWorkAspect,
                     std::string seamType,
                     bool wideSeamDilation,
                     std::vector<cv::Point>& footprintCentres) {
  const cv::Ptr<cv::detail::SeamFinder> finder = makeSeamFinder(seamType);
  if (!finder) {
    std::cout << "Unsupported seam finder type. Montaging is unable to continue.\n" << std::flush;
    return Platform::kRejected;
  }
  seamFinder = finder;
  if (seamType == "no") {
    return Process(images, corners, cameras, seamScale, seamWorkAspect, footprintCentres);
  }
  return Process(images,
                 masks,
                 corners,
                 cameras,
                 seamScale,
                 seamWorkAspect,
                 wideSeamDilation,
                 footprintCentres);
}

int Seam::Process(std::vector<cv::Mat>& images,
                  std::vector<cv::Mat>& masks,
                  std::vector<cv::Point>& corners,
                  std::vector<cv::detail::CameraParams>& cameras,
                  double seamScale,
                  double seamWorkAspect,
                  bool wideSeamDilation,
                  std::vector<cv::Point>& footprintCentres) {
  const Platform::CpuOnly cpuOnly;
  if (isPlaneWarper(*warp.warper)) {
    static_cast<void>(footprintsOf(*warp.warper, images, cameras, seamScale, seamWorkAspect));
  }
  SeamViews views;
  for (std::size_t i = 0; i < images.size(); ++i) {
    views.add(*warp.warper,
              reducedForSeams(images[i], seamScale),
              intrinsicsOf(cameras[i], seamWorkAspect),
              cameras[i].R,
              cv::INTER_CUBIC);
  }
  compensator->feed(views.corners, views.colour, views.masks);
  seamFinder->find(views.inSinglePrecision(), views.corners, views.masks);

  for (std::size_t i = 0; i < images.size(); ++i) {
    masks[i] = widened(views.masks[i], wideSeamDilation ? kWideDilation : kDilation);
    corners[i] = views.corners[i];
  }
  footprintCentres = footprintCentresOf(views.corners, views.sizes, seamScale);
  return Platform::kSuccess;
}

int Seam::Process(std::vector<cv::Mat>& images,
                  std::vector<cv::Point>& corners,
                  std::vector<cv::detail::CameraParams>& cameras,
                  double seamScale,
                  double seamWorkAspect,
                  std::vector<cv::Point>& footprintCentres) {
  const Platform::CpuOnly cpuOnly;
  std::vector<cv::Point> warpedCorners;
  std::vector<cv::Size> warpedSizes;
  for (const cv::Rect& footprint :
       footprintsOf(*warp.warper, images, cameras, seamScale, seamWorkAspect)) {
    warpedCorners.push_back(footprint.tl());
    warpedSizes.push_back(footprint.size());
  }
  std::copy(warpedCorners.begin(), warpedCorners.end(), corners.begin());
  footprintCentres = footprintCentresOf(warpedCorners, warpedSizes, seamScale);
  return Platform::kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
