// SPDX-License-Identifier: MIT
#include "support/FaultyMemory.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNoSize = std::numeric_limits<std::size_t>::max();

std::atomic<long> allocations{0};
std::atomic<long> failing{0};
std::atomic<long> blocks{0};
std::atomic<bool> isPaused{false};
std::atomic<std::size_t> failingFrom{kNoSize};
std::atomic<std::size_t> largest{0};

/// While OpenCV makes a matrix: should the second of its two allocations fail, it loses the first.
thread_local bool isWithinMatrix = false;

bool isToFail() {
  return !isWithinMatrix && !isPaused && ++allocations == failing;
}

}  // namespace

// Under the thread sanitizer operators of one's own hide which library frees. All forms: the address
// sanitizer has one of its own for each that is missing.
#ifndef __SANITIZE_THREAD__

void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  void* const memory =
      isToFail() || bytes >= failingFrom ? nullptr : std::malloc(std::max<std::size_t>(bytes, 1));
  blocks += memory == nullptr ? 0 : 1;
  return memory;
}
void* operator new(std::size_t bytes) {
  void* const memory = operator new(bytes, std::nothrow);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return operator new(bytes, std::nothrow);
}
void* operator new[](std::size_t bytes) {
  return operator new(bytes);
}
void operator delete(void* memory) noexcept {
  blocks -= memory == nullptr ? 0 : 1;
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  operator delete(memory);
}
void operator delete[](void* memory) noexcept {
  operator delete(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  operator delete(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  operator delete(memory);
}

#endif

namespace {

/// OpenCV's own, counted. Matrices may outlive every test, so there is one for good.
class CountedMatrices : public cv::MatAllocator {
 public:
  cv::UMatData* allocate(int dims,
                         const int* sizes,
                         int type,
                         void* data,
                         std::size_t* step,
                         cv::AccessFlag flags,
                         cv::UMatUsageFlags usage) const override {
    std::size_t bytes = CV_ELEM_SIZE(type);
    for (int i = 0; i < dims; ++i) {
      bytes *= static_cast<std::size_t>(sizes[i]);
    }
    for (std::size_t seen = largest; seen < bytes && !largest.compare_exchange_weak(seen, bytes);) {
    }
    if (isToFail()) {
      CV_Error(cv::Error::StsNoMem, "this allocation is to fail");
    }
    isWithinMatrix = true;
    cv::UMatData* const made =
        cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
    isWithinMatrix = false;
    made->prevAllocator = made->currAllocator = this;  // so that it is given back here
    ++blocks;
    return made;
  }
  bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    return cv::Mat::getStdAllocator()->allocate(data, flags, usage);
  }
  void deallocate(cv::UMatData* data) const override {
    --blocks;
    cv::Mat::getStdAllocator()->deallocate(data);
  }
};

}  // namespace

namespace ORV::TestSupport {

FaultyMemory::FaultyMemory() {
  static CountedMatrices& matrices = *new CountedMatrices;
  allocations = blocks = 0;
  largest = 0;
  cv::Mat::setDefaultAllocator(&matrices);
}

FaultyMemory::~FaultyMemory() {
  failAt(0);
  failFrom(0);
  cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator());
}

void FaultyMemory::failAt(long number) {
  allocations = 0;
  isPaused = false;
  failing = number;
}

void FaultyMemory::pause(bool paused) {
  isPaused = paused;
}

void FaultyMemory::failFrom(std::size_t bytes) {
  failingFrom = bytes == 0 ? kNoSize : bytes;
}

long FaultyMemory::count() const {
  return allocations;
}

long FaultyMemory::held() const {
  return blocks;
}

std::size_t FaultyMemory::largestMatrix() const {
  return largest;
}

}  // namespace ORV::TestSupport
