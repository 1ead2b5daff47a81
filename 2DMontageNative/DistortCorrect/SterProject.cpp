// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/Rotation.h"
#include "DistortCorrect/SamplingGrid.h"
#include "DistortCorrect/Smoothing.h"

#include <cstddef>
#include <new>

namespace ORV::Common::Algorithms::DistortCorrect {

SterProject::SterProject() = default;
SterProject& SterProject::operator=(const SterProject&) = default;
SterProject::~SterProject() = default;

void SterProject::LinSpace(float first, float last, int n, float* out) {
  linSpace(first, last, n, out);
}

void SterProject::MatMult(float* a, float* b, float* c, int m, int n, int k) {
  matMult(a, b, c, m, n, k);
}

int SterProject::GaussianSmooth(unsigned char* data,
                                int rows,
                                int cols,
                                int channels,
                                const float* sigma,
                                const int* kernelSize) {
  const PixelRows image{data, static_cast<std::ptrdiff_t>(cols) * channels, rows, cols, channels};
  try {
    return gaussianSmooth(image, sigma, kernelSize) ? 0 : -1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
