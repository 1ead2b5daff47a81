// SPDX-License-Identifier: MIT
#include "Registration/CornerDetector.h"

#include "Platform/ImagingPrimitives.h"
#include "Platform/MarkedPixels.h"
#include "Platform/ParallelLoop.h"
#include "Registration/Containers.h"
#include "Registration/SpacingGrid.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

using Platform::IppiSize;
using Platform::ippStsNoErr;

constexpr int kFailure = -1;
constexpr int kApertureSize = 5;
constexpr int kAveragingWindow = 5;
constexpr float kQuantisedMaximum = 255.0F;
constexpr std::size_t kPixelsPerBand = 1U << 15U;  // 160 KB of both images: stays in the cache

struct CornerCandidate {
  int x;
  int y;
  float response;
};

/// Minimum-eigenvalue response of every pixel.
int computeResponses(const float* image, IppiSize size, CMatrix<float>& responses) {
  int bufferSize = 0;
  if (Platform::ippiMinEigenValGetBufferSize_32f_C1R(
          size, kApertureSize, kAveragingWindow, &bufferSize) != ippStsNoErr) {
    return kFailure;
  }
  const CVector<unsigned char> buffer(bufferSize);
  const int step = size.width * static_cast<int>(sizeof(float));
  return Platform::ippiMinEigenVal_32f_C1R(image,
                                           step,
                                           responses.ppData[0],
                                           step,
                                           size,
                                           Platform::ippKernelSobel,
                                           kApertureSize,
                                           kAveragingWindow,
                                           buffer.pData);
}

/// Drops responses below the threshold, scales the rest in place and rounds them to 8 bits.
int quantiseBand(
    float* responses, std::size_t pixels, float threshold, float scale, unsigned char* quantised) {
  std::transform(responses, responses + pixels, responses, [=](float response) {
    return response < threshold ? 0.0F : response;
  });
  const auto length = static_cast<int>(pixels);
  if (Platform::ippsMulC_32f_I(scale, responses, length) != ippStsNoErr) {
    return kFailure;
  }
  return Platform::ippiConvert_32f8u_C1R(responses,
                                         length * static_cast<int>(sizeof(float)),
                                         quantised,
                                         length,
                                         {length, 1},
                                         Platform::ippRndNear);
}

/// `quantiseBand` over the whole image, each band in one visit of its memory.
int quantise(CMatrix<float>& responses,
             float threshold,
             float scale,
             CMatrix<unsigned char>& quantised) {
  const std::size_t pixels =
      static_cast<std::size_t>(responses.nRows) * static_cast<std::size_t>(responses.nCols);
  const auto bands = static_cast<int>((pixels + kPixelsPerBand - 1) / kPixelsPerBand);
  std::atomic<int> status{ippStsNoErr};
  Platform::parallelFor(0, bands, [&](int band) {
    const std::size_t first = static_cast<std::size_t>(band) * kPixelsPerBand;
    const std::size_t count = std::min(kPixelsPerBand, pixels - first);
    if (quantiseBand(
            responses.ppData[0] + first, count, threshold, scale, quantised.ppData[0] + first) !=
        ippStsNoErr) {
      status = kFailure;
    }
  });
  return status;
}

/// The marked pixels in scan order; `unscale` brings their responses back to their own scale.
std::vector<CornerCandidate> collectCandidates(const CMatrix<unsigned char>& maxima,
                                               const CMatrix<float>& responses,
                                               float unscale) {
  const unsigned char* const begin = maxima.ppData[0];
  const unsigned char* const end = begin + static_cast<std::ptrdiff_t>(maxima.nRows) * maxima.nCols;
  std::vector<CornerCandidate> candidates;
  candidates.reserve(static_cast<std::size_t>(std::count(begin, end, Platform::kMarked)));
  for (int y = 0; y < maxima.nRows; ++y) {
    const float* const responsesOfRow = responses.ppData[y];
    Platform::forEachMarked(maxima.ppData[y], maxima.nCols, [&](int x) {
      candidates.push_back({x, y, responsesOfRow[x] * unscale});
    });
  }
  return candidates;
}

/// All candidates, in scan order; none for an image without gradient.
int findCandidates(
    const float* image, int rows, int cols, float qualityLevel, std::vector<CornerCandidate>& out) {
  CMatrix<float> responses(rows, cols);
  float strongest = 0.0F;
  if (computeResponses(image, {cols, rows}, responses) != ippStsNoErr ||
      Platform::ippsMax_32f(responses.ppData[0], rows * cols, &strongest) != ippStsNoErr) {
    return kFailure;
  }
  const float scale = kQuantisedMaximum / strongest;
  if (!(strongest > 0.0F) || !std::isfinite(scale)) {
    return ippStsNoErr;
  }
  CMatrix<unsigned char> quantised(rows, cols);
  CMatrix<unsigned char> maxima(rows, cols);
  if (quantise(responses, strongest * qualityLevel, scale, quantised) != ippStsNoErr ||
      findRegionalMaxima(quantised.ppData[0], rows, cols, maxima.ppData[0]) != ippStsNoErr) {
    return kFailure;
  }
  out = collectCandidates(maxima, responses, strongest / kQuantisedMaximum);
  return ippStsNoErr;
}

/// The candidates, strongest first; equal ones stay in scan order.
///
/// A radix sort: the bits of positive floats are ordered as their values.
std::vector<CornerCandidate> sortedByStrength(const std::vector<CornerCandidate>& candidates) {
  struct Entry {
    std::uint32_t weakness;
    std::uint32_t index;
  };
  constexpr unsigned kDigitBits = 11;
  constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;
  std::vector<Entry> entries(candidates.size());
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    std::uint32_t strength = 0;
    std::memcpy(&strength, &candidates[i].response, sizeof(strength));
    entries[i] = {~strength, static_cast<std::uint32_t>(i)};
  }
  std::vector<Entry> ordered(entries.size());
  for (unsigned shift = 0; shift < 32; shift += kDigitBits) {
    std::array<std::size_t, kDigits> places{};
    const auto digitOf = [shift](const Entry& entry) {
      return (entry.weakness >> shift) % kDigits;
    };
    for (const Entry& entry : entries) {
      ++places[digitOf(entry)];
    }
    std::size_t next = 0;
    for (std::size_t& place : places) {
      next += std::exchange(place, next);
    }
    for (const Entry& entry : entries) {
      ordered[places[digitOf(entry)]++] = entry;
    }
    entries.swap(ordered);
  }
  std::vector<CornerCandidate> sorted(candidates.size());
  std::transform(entries.begin(), entries.end(), sorted.begin(), [&](const Entry& entry) {
    return candidates[entry.index];
  });
  return sorted;
}

/// Up to `capacity` candidates in order of strength that keep the minimum distance.
std::vector<CornerCandidate> takeSeparated(const std::vector<CornerCandidate>& sorted,
                                           SpacingGrid grid,
                                           std::size_t capacity) {
  std::vector<CornerCandidate> corners;
  for (const CornerCandidate& candidate : sorted) {
    if (corners.size() >= capacity) {
      break;
    }
    if (grid.take(candidate.x, candidate.y)) {
      corners.push_back(candidate);
    }
  }
  return corners;
}

}  // namespace

int findCorners(const float* image,
                int rows,
                int cols,
                float qualityLevel,
                float minDistance,
                float* points,
                float* responses,
                int* count) try {
  // Row steps in bytes are an `int`.
  constexpr int kMaxCols = INT_MAX / static_cast<int>(sizeof(float));
  if (image == nullptr || points == nullptr || responses == nullptr || count == nullptr ||
      rows < 1 || cols < 1 || cols > kMaxCols) {
    return kFailure;
  }
  std::vector<CornerCandidate> candidates;
  if (findCandidates(image, rows, cols, qualityLevel, candidates) != ippStsNoErr) {
    return kFailure;
  }
  const auto capacity = static_cast<std::size_t>(std::max(*count, 0));
  const std::vector<CornerCandidate> corners =
      takeSeparated(sortedByStrength(candidates), SpacingGrid(rows, cols, minDistance), capacity);
  for (std::size_t i = 0; i < corners.size(); ++i) {
    points[2 * i] = static_cast<float>(corners[i].x);
    points[2 * i + 1] = static_cast<float>(corners[i].y);
    responses[i] = corners[i].response;
  }
  *count = static_cast<int>(corners.size());
  return 0;
} catch (const std::bad_alloc&) {
  return kFailure;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
