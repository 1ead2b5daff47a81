// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/MarkedPixels.h"
#include "Registration/Containers.h"
#include "Registration/CornerDetector.h"

#include <memory>
#include <new>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kFailure = -1;

struct ImageRelease {
  void operator()(unsigned char* image) const { Platform::ippiFree(image); }
};

/// Reconstructs the image from itself lowered by 1, in place of `marker`.
int reconstructLowered(const unsigned char* image, Platform::IppiSize size, unsigned char* marker) {
  const int step = size.width;
  if (Platform::ippiCopy_8u_C1R(image, step, marker, step, size) != Platform::ippStsNoErr ||
      Platform::ippiSubC_8u_C1IRSfs(1, marker, step, size, 0) != Platform::ippStsNoErr) {
    return kFailure;
  }
  int bufferSize = 0;
  if (Platform::ippiMorphReconstructGetBufferSize_8u_C1(size, &bufferSize) !=
      Platform::ippStsNoErr) {
    return kFailure;
  }
  const CVector<unsigned char> buffer(bufferSize);
  return Platform::ippiMorphReconstructDilate_8u_C1IR(
      image, step, marker, step, size, buffer.pData, Platform::ippiNormInf);
}

/// 255 where the image rises above its reconstruction, else 0, in place of `reconstruction`.
int markDomes(const unsigned char* image, Platform::IppiSize size, unsigned char* reconstruction) {
  const int step = size.width;
  int allocatedStep = 0;
  const std::unique_ptr<unsigned char, ImageRelease> domes(
      Platform::ippiMalloc_8u_C1(size.width, size.height, &allocatedStep));
  if (domes == nullptr) {
    return kFailure;
  }
  if (Platform::ippiCopy_8u_C1R(image, step, domes.get(), step, size) != Platform::ippStsNoErr ||
      Platform::ippiSub_8u_C1IRSfs(reconstruction, step, domes.get(), step, size, 0) !=
          Platform::ippStsNoErr ||
      Platform::ippiThreshold_GTVal_8u_C1IR(domes.get(), step, size, 0, Platform::kMarked) !=
          Platform::ippStsNoErr) {
    return kFailure;
  }
  return Platform::ippiCopy_8u_C1R(domes.get(), step, reconstruction, step, size);
}

}  // namespace

int findRegionalMaxima(const unsigned char* image, int rows, int cols, unsigned char* result) try {
  const Platform::IppiSize size{cols, rows};
  if (reconstructLowered(image, size, result) != Platform::ippStsNoErr ||
      markDomes(image, size, result) != Platform::ippStsNoErr) {
    return kFailure;
  }
  return 0;
} catch (const std::bad_alloc&) {
  return kFailure;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
