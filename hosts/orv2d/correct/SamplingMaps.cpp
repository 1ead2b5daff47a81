// SPDX-License-Identifier: MIT
#include "correct/SamplingMaps.h"

#include "DistortCorrect.h"
#include "ImageIo.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

namespace orv2d {
namespace {

/// The header of a NumPy file of that shape, padded so that the samples start at a multiple of 64.
std::string numpyHeader(int size) {
  constexpr std::size_t kAlignment = 64;
  constexpr std::size_t kLengthBytes = 2;
  const std::string magic("\x93NUMPY\x01\x00", 8);
  const std::string side = std::to_string(size);
  std::string text =
      "{'descr': '<f4', 'fortran_order': False, 'shape': (2, " + side + ", " + side + "), }";
  const std::size_t unpadded = magic.size() + kLengthBytes + text.size() + 1;
  text.append((kAlignment - unpadded % kAlignment) % kAlignment, ' ');
  text.push_back('\n');
  const std::string length = {static_cast<char>(text.size() & 0xFFU),
                              static_cast<char>(text.size() >> 8U)};
  return magic + length + text;
}

}  // namespace

std::vector<float*> SamplingMaps::rowPointers(const cv::Mat& map) const {
  std::vector<float*> pointers;
  for (int row = 0; row < size; ++row) {
    pointers.push_back(const_cast<float*>(map.ptr<float>(row)));
  }
  return pointers;
}

SamplingMaps exportMaps(const LensValues& values,
                        int size,
                        double halfExtent,
                        const cv::Size& sourceSize) {
  SamplingMaps maps{cv::Mat(2 * size, size, CV_32F), size, halfExtent, sourceSize};
  std::vector<float*> columns = maps.rowPointers(maps.columns());
  std::vector<float*> rows = maps.rowPointers(maps.rows());
  double yaw = values.at("yaw");
  double pitch = values.at("pitch");
  constexpr int kChannels = 1;  // accepted by the interface, not used
  ORV::Common::Algorithms::DistortCorrect::SterProject project;
  project(values.at("half-field-angle"),
          values.at("cubic"),
          values.at("linear"),
          yaw,
          pitch,
          values.at("roll"),
          size,
          halfExtent,
          kChannels,
          sourceSize.width,
          sourceSize.height,
          columns.data(),
          rows.data());
  return maps;
}

void writeMaps(const SamplingMaps& maps,
               const std::filesystem::path& target,
               const std::filesystem::path& file) {
  const std::string header = numpyHeader(maps.size);
  writeBytes(header.data(), header.size(), target, file);
  appendBytes(maps.planes.data, maps.planes.total() * maps.planes.elemSize(), target, file);
}

}  // namespace orv2d
