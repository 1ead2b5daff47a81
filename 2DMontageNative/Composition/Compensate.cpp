// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "Platform/OpenCvScope.h"

namespace ORV::Common::Algorithms::Montage::Composition {

Compensate::Compensate(int compensatorType)
    : compensator(cv::detail::ExposureCompensator::createDefault(compensatorType)) {}
Compensate::Compensate(const Compensate& other) = default;
Compensate& Compensate::operator=(const Compensate& other) = default;
Compensate::~Compensate() = default;

void Compensate::feed(std::vector<cv::Mat>& images,
                      std::vector<cv::Point>& corners,
                      std::vector<cv::Mat>& masks) {
  const Platform::CpuOnly cpuOnly;
  compensator->feed(corners, Platform::toUMats(images), Platform::toUMats(masks));
}

void Compensate::apply(cv::Mat& image, int index, cv::Point& corner, cv::Mat& mask) {
  const Platform::CpuOnly cpuOnly;
  compensator->apply(index, corner, image, mask);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
