// SPDX-License-Identifier: MIT
#include "Platform/ImagingPrimitives.h"
#include "Platform/RegionAccess.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace ORV::Common::Platform {
namespace {

constexpr std::align_val_t kImageAlignment{64};

int copyRegion(const unsigned char* source,
               int sourceStep,
               unsigned char* destination,
               int destinationStep,
               IppiSize size,
               int channels) {
  const int status = firstError(checkImage(source, sourceStep, size, channels),
                                checkImage(destination, destinationStep, size, channels));
  if (status != ippStsNoErr) {
    return status;
  }
  const std::size_t rowBytes =
      static_cast<std::size_t>(size.width) * static_cast<std::size_t>(channels);
  for (int row = 0; row < size.height; ++row) {
    std::memcpy(rowAt(destination, destinationStep, row), rowAt(source, sourceStep, row), rowBytes);
  }
  return ippStsNoErr;
}

}  // namespace

int ippiCopy_8u_C1R(const unsigned char* source,
                    int sourceStep,
                    unsigned char* destination,
                    int destinationStep,
                    IppiSize size) {
  return copyRegion(source, sourceStep, destination, destinationStep, size, 1);
}

int ippiCopy_8u_C3R(const unsigned char* source,
                    int sourceStep,
                    unsigned char* destination,
                    int destinationStep,
                    IppiSize size) {
  return copyRegion(source, sourceStep, destination, destinationStep, size, 3);
}

unsigned char* ippiMalloc_8u_C1(int width, int height, int* stepBytes) {
  if (width < 1 || height < 1 || stepBytes == nullptr) {
    return nullptr;
  }
  const std::size_t bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  void* const memory = ::operator new(bytes, kImageAlignment, std::nothrow);
  if (memory != nullptr) {
    *stepBytes = width;
  }
  return static_cast<unsigned char*>(memory);
}

void ippiFree(void* memory) {
  ::operator delete(memory, kImageAlignment);
}

}  // namespace ORV::Common::Platform
