// SPDX-License-Identifier: MIT
#include "Platform/ClampScan.h"
#include "Platform/ImagingPrimitives.h"
#include "Platform/MarkedPixels.h"
#include "Platform/RegionAccess.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace ORV::Common::Platform {
namespace {

// Fronts that must wait in the queue are few; should they not fit, the scans are repeated.
constexpr std::size_t kPixelsPerQueueEntry = 8;

struct Pixel {
  int x;
  int y;
};

/// First-in first-out queue in given memory. What does not fit is dropped and remembered.
class PixelQueue {
 public:
  PixelQueue(Pixel* memory, std::size_t capacity) : memory_(memory), capacity_(capacity) {}

  [[nodiscard]] bool empty() const { return count_ == 0; }
  void push(Pixel pixel) {
    if (count_ == capacity_) {
      overflowed_ = true;
      return;
    }
    const std::size_t end = first_ + count_;
    memory_[end < capacity_ ? end : end - capacity_] = pixel;
    ++count_;
  }
  Pixel pop() {
    const Pixel pixel = memory_[first_];
    first_ = first_ + 1 == capacity_ ? 0 : first_ + 1;
    --count_;
    return pixel;
  }
  /// True if a pixel was dropped since the last call.
  bool takeOverflow() { return std::exchange(overflowed_, false); }

 private:
  Pixel* memory_;
  std::size_t capacity_;
  std::size_t first_ = 0;
  std::size_t count_ = 0;
  bool overflowed_ = false;
};

/// A row of bytes with one more before and after it, set to a value that changes nothing.
class PaddedRow {
 public:
  PaddedRow(unsigned char* memory, int width, unsigned char neutral)
      : first_(memory + 1), width_(static_cast<std::size_t>(width)) {
    std::fill_n(memory, byteCount(width), neutral);
  }
  static std::size_t byteCount(int width) { return static_cast<std::size_t>(width) + 2; }

  [[nodiscard]] unsigned char* data() const { return first_; }
  void assign(const unsigned char* row) const { std::memcpy(first_, row, width_); }

 private:
  unsigned char* first_;
  std::size_t width_;
};

/// The reconstruction of one marker under one mask.
class Reconstruction {
 public:
  static std::size_t queueBytes(IppiSize size) {
    const std::size_t pixels =
        static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    return (pixels / kPixelsPerQueueEntry + 1) * sizeof(Pixel);
  }
  static std::size_t bufferBytes(IppiSize size) {
    return alignof(Pixel) + queueBytes(size) + kRowCount * PaddedRow::byteCount(size.width);
  }

  Reconstruction(const unsigned char* mask,
                 int maskStep,
                 unsigned char* marker,
                 int markerStep,
                 IppiSize size,
                 unsigned char* buffer)
      : mask_(mask),
        maskStep_(maskStep),
        marker_(marker),
        markerStep_(markerStep),
        size_(size),
        queue_(alignedQueue(buffer), queueBytes(size) / sizeof(Pixel)),
        rows_(buffer + alignof(Pixel) + queueBytes(size)) {}

  void run() {
    do {
      scanForward();
      scanBackward();
      propagate();
    } while (queue_.takeOverflow());
  }

 private:
  static constexpr std::size_t kRowCount = 4;
  static constexpr unsigned char kLowest = 0;
  static constexpr unsigned char kHighest = UCHAR_MAX;

  static Pixel* alignedQueue(unsigned char* buffer) {
    const std::uintptr_t misfit = reinterpret_cast<std::uintptr_t>(buffer) % alignof(Pixel);
    return reinterpret_cast<Pixel*>(buffer + (alignof(Pixel) - misfit) % alignof(Pixel));
  }

  [[nodiscard]] const unsigned char* maskRow(int y) const { return rowAt(mask_, maskStep_, y); }
  [[nodiscard]] unsigned char* markerRow(int y) const { return rowAt(marker_, markerStep_, y); }
  [[nodiscard]] PaddedRow paddedRow(std::size_t index, unsigned char neutral) const {
    return {rows_ + index * PaddedRow::byteCount(size_.width), size_.width, neutral};
  }

  /// Takes up the three neighbours of each pixel in the row before it in scan order.
  void dilateFromRow(const PaddedRow& neighbours, unsigned char* markers) const {
    const unsigned char* const beside = neighbours.data();
    for (int x = 0; x < size_.width; ++x) {
      const unsigned char sides = std::max(beside[x - 1], beside[x + 1]);
      markers[x] = std::max(markers[x], std::max(sides, beside[x]));
    }
  }

  void scanForward() const {
    const PaddedRow above = paddedRow(0, kLowest);
    for (int y = 0; y < size_.height; ++y) {
      const unsigned char* const masks = maskRow(y);
      unsigned char* const markers = markerRow(y);
      dilateFromRow(above, markers);
      clampScanForward(masks, markers, size_.width);
      above.assign(markers);
    }
  }

  /// The scan from the last pixel to the first; queues the pixels it could not pass on.
  void scanBackward() {
    const PaddedRow below = paddedRow(0, kLowest);
    PaddedRow open = paddedRow(1, kHighest);
    PaddedRow openBelow = paddedRow(2, kHighest);
    for (int y = size_.height - 1; y >= 0; --y) {
      const unsigned char* const masks = maskRow(y);
      unsigned char* const markers = markerRow(y);
      dilateFromRow(below, markers);
      clampScanBackward(masks, markers, size_.width);
      below.assign(markers);
      for (int x = 0; x < size_.width; ++x) {
        open.data()[x] = markers[x] < masks[x] ? markers[x] : kHighest;
      }
      queueSources(y, markers, open.data(), openBelow.data());
      std::swap(open, openBelow);
    }
  }

  /// Queues the pixels of a row with a lower neighbour, among those scanned before, that is below
  /// its mask. `open` and `openBelow` hold the marker where it is below the mask, else kHighest.
  void queueSources(int y,
                    const unsigned char* markers,
                    const unsigned char* open,
                    const unsigned char* openBelow) {
    unsigned char* const isSource = paddedRow(3, kLowest).data();
    for (int x = 0; x < size_.width; ++x) {
      const unsigned char diagonal = std::min(openBelow[x - 1], openBelow[x + 1]);
      const unsigned char lowest = std::min(std::min(open[x + 1], openBelow[x]), diagonal);
      isSource[x] = lowest < markers[x] ? kMarked : kLowest;
    }
    forEachMarked(isSource, size_.width, [&](int x) { queue_.push({x, y}); });
  }

  void propagate() {
    while (!queue_.empty()) {
      const Pixel pixel = queue_.pop();
      const unsigned char level = markerRow(pixel.y)[pixel.x];
      const int lastX = std::min(pixel.x + 1, size_.width - 1);
      const int lastY = std::min(pixel.y + 1, size_.height - 1);
      for (int y = std::max(pixel.y - 1, 0); y <= lastY; ++y) {
        for (int x = std::max(pixel.x - 1, 0); x <= lastX; ++x) {
          unsigned char& marker = markerRow(y)[x];
          const unsigned char reached = std::min(level, maskRow(y)[x]);
          if (marker < reached) {
            marker = reached;
            queue_.push({x, y});
          }
        }
      }
    }
  }

  const unsigned char* mask_;
  int maskStep_;
  unsigned char* marker_;
  int markerStep_;
  IppiSize size_;
  PixelQueue queue_;
  unsigned char* rows_;
};

}  // namespace

int ippiMorphReconstructGetBufferSize_8u_C1(IppiSize size, int* bufferSize) {
  if (bufferSize == nullptr) {
    return ippStsNullPtrErr;
  }
  if (size.width < 1 || size.height < 1) {
    return ippStsSizeErr;
  }
  const std::size_t bytes = Reconstruction::bufferBytes(size);
  if (bytes > static_cast<std::size_t>(INT_MAX)) {
    return ippStsSizeErr;
  }
  *bufferSize = static_cast<int>(bytes);
  return ippStsNoErr;
}

int ippiMorphReconstructDilate_8u_C1IR(const unsigned char* mask,
                                       int maskStep,
                                       unsigned char* marker,
                                       int markerStep,
                                       IppiSize size,
                                       unsigned char* buffer,
                                       int norm) {
  const int status =
      firstError(checkImage(mask, maskStep, size), checkImage(marker, markerStep, size));
  if (status != ippStsNoErr) {
    return status;
  }
  if (buffer == nullptr) {
    return ippStsNullPtrErr;
  }
  if (norm != ippiNormInf) {
    return ippStsBadArgErr;
  }
  Reconstruction(mask, maskStep, marker, markerStep, size, buffer).run();
  return ippStsNoErr;
}

}  // namespace ORV::Common::Platform
