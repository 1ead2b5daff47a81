// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "Composition/PlaneFootprint.h"
#include "Composition/PlaneWarper.h"
#include "Composition/SeamFootprints.h"
#include "Platform/OpenCvScope.h"
#include "Platform/Status.h"

#include <opencv2/imgproc.hpp>

#include <iostream>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr float kTerminalCost = 10000.0F;
constexpr float kBadRegionPenalty = 1000.0F;
constexpr int kWideDilationSide = 15;

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

cv::Mat resized(const cv::Mat& image, double scale) {
  cv::Mat scaled;
  cv::resize(image, scaled, cv::Size(), scale, scale, cv::INTER_LINEAR);
  return scaled;
}

/// The size that `resized` gives, without resampling.
cv::Size resizedSize(const cv::Mat& image, double scale) {
  const cv::Size size(cvRound(image.cols * scale), cvRound(image.rows * scale));
  CV_Assert(!image.empty() && !size.empty());
  return size;
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
      const cv::Rect footprint = warper.warpRoi(resizedSize(images[i], seamScale), K, R);
      requireFootprint(footprint.tl(), footprint.width, footprint.height);
      footprints.push_back(footprint);
    } else {
      const cv::Mat scaled = resized(images[i], seamScale);
      cv::Mat warped;
      const cv::Point corner =
          warper.warp(scaled, K, R, cv::INTER_LINEAR, cv::BORDER_REFLECT, warped);
      footprints.emplace_back(corner, warped.size());
    }
  }
  return footprints;
}

/// Three channels, as exposure estimation and the seam finders take them.
cv::Mat colourOf(const cv::Mat& warped) {
  if (warped.type() != CV_8UC1) {
    return warped;
  }
  cv::Mat colour;
  cv::cvtColor(warped, colour, cv::COLOR_GRAY2BGR);
  return colour;
}

cv::Mat widened(const cv::UMat& mask, bool wideSeamDilation) {
  const cv::Point centre(-1, -1);
  const cv::Mat kernel =
      wideSeamDilation ? cv::getStructuringElement(
                             cv::MORPH_RECT, cv::Size(kWideDilationSide, kWideDilationSide), centre)
                       : cv::Mat();  // OpenCV's 3 x 3
  cv::Mat cut;
  mask.copyTo(cut);
  cv::Mat result;
  cv::dilate(
      cut, result, kernel, centre, 1, cv::BORDER_CONSTANT, cv::morphologyDefaultBorderValue());
  return result;
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
  const std::size_t imageCount = images.size();
  if (isPlaneWarper(*warp.warper)) {
    static_cast<void>(footprintsOf(*warp.warper, images, cameras, seamScale, seamWorkAspect));
  }
  std::vector<cv::Point> warpedCorners(imageCount);
  std::vector<cv::Size> warpedSizes(imageCount);
  std::vector<cv::UMat> colourImages(imageCount);
  std::vector<cv::UMat> floatImages(imageCount);
  std::vector<cv::UMat> cutMasks(imageCount);

  for (std::size_t i = 0; i < imageCount; ++i) {
    const cv::Mat scaled = resized(images[i], seamScale);
    const cv::Mat K = intrinsicsOf(cameras[i], seamWorkAspect);
    cv::Mat warped;
    cv::Mat mask;
    constexpr Sampling kCubicOnBlack{cv::INTER_CUBIC, cv::BORDER_CONSTANT};
    warpedCorners[i] = warpWithMask(
        *warp.warper, scaled, K, cameras[i].R, kCubicOnBlack, kCubicOnBlack, warped, mask);
    warpedSizes[i] = warped.size();
    const cv::Mat colour = colourOf(warped);
    colour.copyTo(colourImages[i]);
    colour.convertTo(floatImages[i], CV_32F);
    mask.copyTo(cutMasks[i]);
  }

  compensator->feed(warpedCorners, colourImages, cutMasks);
  seamFinder->find(floatImages, warpedCorners, cutMasks);

  for (std::size_t i = 0; i < imageCount; ++i) {
    masks[i] = widened(cutMasks[i], wideSeamDilation);
    corners[i] = warpedCorners[i];
  }
  footprintCentres = footprintCentresOf(warpedCorners, warpedSizes, seamScale);
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
