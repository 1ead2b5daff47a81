// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "Composition/SlabComposer.h"
#include "Platform/OpenCvScope.h"

#include <iostream>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kSuccess = 0;
constexpr int kUnrecognizedBlendType = 1;

}  // namespace

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
  blender = makeBlender(blendType, tryGpu);
  if (!blender) {
    std::cout << "Unrecognized blend type. Montaging unable to continue.\n" << std::flush;
    return kUnrecognizedBlendType;
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
  SlabComposer composer(
      warp.warper, {cameras, corners, sizes, composeScale}, {masks, compensator}, *blender);
  result = composer.compose(images);
  return kSuccess;
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
  SlabComposer composer(warp.warper, {cameras, corners, sizes, composeScale}, *blender);
  result = composer.compose(images);
  return kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
