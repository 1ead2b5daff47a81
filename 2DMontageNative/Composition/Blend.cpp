// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "Composition/SlabComposer.h"
#include "Platform/OpenCvScope.h"
#include "Platform/Status.h"

#include <iostream>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {}  // namespace

Blend::Blend(Warp& sharedWarp, Compensate& compensate)
    : warp(sharedWarp), compensator(compensate.compensator) {}
Blend::Blend(Blend& other) = default;
Blend& Blend::operator=(const Blend& other) = default;
Blend::~Blend() = default;

int Blend::operator()(std::vector<cv::Mat>& images,
                      std::vector<cv::Mat>& masks,
                      std::vector<cv::Point>& corners,
                      std::vector<cv::detail::CameraParams>& cameras,
                      std::vector<cv::Size>& sizes,
                      double composeScale,
                      bool tryGpu,
                      std::string seamType,
                      int blendType,
                      cv::Mat& result) {
  const std::optional<BlendOptions> options = blendOptionsOf(blendType);
  blender = options ? makeBlender(*options, tryGpu) : nullptr;
  if (!options) {
    std::cout << "Unrecognized blend type. Montaging unable to continue.\n" << std::flush;
    return Platform::kRejected;
  }
  if (seamType == "no") {
    return Process(images, corners, cameras, sizes, composeScale, tryGpu, blendType, result);
  }
  return Process(images, masks, corners, cameras, sizes, composeScale, tryGpu, result);
}

int Blend::Process(std::vector<cv::Mat>& images,
                   std::vector<cv::Mat>& masks,
                   std::vector<cv::Point>& corners,
                   std::vector<cv::detail::CameraParams>& cameras,
                   std::vector<cv::Size>& sizes,
                   double composeScale,
                   bool /*tryGpu*/,
                   cv::Mat& result) {
  const Platform::CpuOnly cpuOnly;
  SlabComposer composer(warp.warper,
                        {cameras, corners, sizes, composeScale},
                        {masks, compensator},
                        blendOptionsOf(*blender));
  result = composer.compose(images);
  return Platform::kSuccess;
}

int Blend::Process(std::vector<cv::Mat>& images,
                   std::vector<cv::Point>& corners,
                   std::vector<cv::detail::CameraParams>& cameras,
                   std::vector<cv::Size>& sizes,
                   double composeScale,
                   bool /*tryGpu*/,
                   int /*blendType*/,
                   cv::Mat& result) {
  const Platform::CpuOnly cpuOnly;
  SlabComposer composer(
      warp.warper, {cameras, corners, sizes, composeScale}, blendOptionsOf(*blender));
  result = composer.compose(images);
  return Platform::kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
