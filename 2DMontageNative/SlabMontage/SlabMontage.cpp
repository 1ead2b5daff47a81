// SPDX-License-Identifier: MIT
#include "SlabMontage.h"

#include "Pipeline/PlanMontage.h"
#include "Pipeline/RegisterImages.h"
#include "Platform/ParallelLoop.h"
#include "Platform/Status.h"
#include "montage/Compose.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <limits>
#include <utility>

namespace ORV::Common::Algorithms::Montage {
namespace {

/// The inputs of one run; the images are borrowed and never written.
struct Request {
  const std::vector<cv::Mat>& images;  ///< slab after slab, constituentCount images each
  int constituentCount;
  int slabCount;
  bool useGraphCutSeams;
  bool blendEnabled;
  double workMegapixels;
  double seamMegapixels;
  double composeMegapixels;
};

/// Where flags, positions and montages go; see `SlabMontage::operator()`.
struct Outputs {
  int* included;
  int* positions;
  std::vector<cv::Mat>& montages;
};

::montage::MatSource slabOf(const Request& request, int slab) {
  const auto count = static_cast<std::ptrdiff_t>(std::max(request.constituentCount, 0));
  const auto first = request.images.begin() + slab * count;
  return ::montage::MatSource({first, first + count});
}

::montage::Registration registerFirstSlab(::montage::Preset preset, const Request& request) {
  ::montage::RegisterOptions options = ::montage::registerOptions(preset);
  options.features.megapixels = request.workMegapixels;
  return ::montage::registerSource(slabOf(request, 0), options, false, {});
}

int statusOf(const ::montage::Registration& registration) {
  switch (registration.status) {
    case ::montage::RegistrationStatus::ok:
      return Platform::kSuccess;
    case ::montage::RegistrationStatus::notConnected:
      return Platform::kRejected;
    case ::montage::RegistrationStatus::notFinite:
      break;
  }
  return Platform::kNoCameras;
}

void warnOfDroppedImages(const ::montage::Registration& registration, const char* warning) {
  if (registration.used.size() >= 2 && registration.used.size() < registration.images.size()) {
    std::cout << warning << std::flush;
  }
}

::montage::MontagePlan planFirstSlab(::montage::Preset preset,
                                     const ::montage::Registration& registration,
                                     const Request& request) {
  ::montage::PlanOptions options = ::montage::planOptions(preset);
  options.seams = request.useGraphCutSeams ? ::montage::Seams::graphCut : ::montage::Seams::none;
  options.blending = request.blendEnabled ? options.blending : ::montage::Blending::none;
  options.seamMegapixels = request.seamMegapixels;
  options.composeMegapixels = request.composeMegapixels;
  options.maxMegapixels = std::numeric_limits<double>::infinity();
  return ::montage::planSource(registration, slabOf(request, 0), options, false, {});
}

/// Top-left corners of the warped images at composition scale; without slabs nothing brings them
/// there and they stay at seam scale.
std::vector<cv::Point> footprintCorners(const ::montage::MontagePlan& plan, int slabCount) {
  std::vector<cv::Point> corners;
  for (const ::montage::PlannedImage& image : plan.images) {
    corners.push_back(slabCount > 0 ? image.footprint.tl() : image.seamFootprint.tl());
  }
  return corners;
}

void report(const ::montage::MontagePlan& plan,
            const std::vector<cv::Point>& points,
            const Outputs& outputs) {
  std::fill_n(outputs.included, plan.sourceCount, 0);
  std::fill_n(outputs.positions, 2 * static_cast<std::ptrdiff_t>(plan.sourceCount), 0);
  for (std::size_t i = 0; i < plan.images.size(); ++i) {
    const std::ptrdiff_t constituent = plan.images[i].index;
    outputs.included[constituent] = 1;
    outputs.positions[2 * constituent] = points[i].x;
    outputs.positions[2 * constituent + 1] = points[i].y;
  }
}

/// Hands the montages over together: after an exception all are as they were.
void composeSlabs(::montage::MontagePlan plan, const Request& request, const Outputs& outputs) {
  std::vector<cv::Mat> montages;
  if (request.slabCount > 0) {
    ::montage::ComposeOptions options;
    options.memoryBytes = std::numeric_limits<std::uint64_t>::max();  // the caller has them all
    ::montage::Composer composer(std::move(plan), options);
    for (int slab = 0; slab < request.slabCount; ++slab) {
      montages.push_back(composer.compose(slabOf(request, slab)));
    }
  }
  std::move(montages.begin(), montages.end(), outputs.montages.begin());
}

/// Wraps a packed buffer without copying, or resamples it to the reference size.
cv::Mat imageOf(unsigned char* buffer, int width, int height, int channels, cv::Size reference) {
  const int type = channels == 3 ? CV_8UC3 : CV_8UC1;
  const auto stride = static_cast<std::size_t>(channels) * static_cast<std::size_t>(width);
  cv::Mat wrapped(height, width, type, buffer, stride);
  if (wrapped.size() == reference) {
    return wrapped;
  }
  cv::Mat resampled;
  cv::resize(wrapped, resampled, reference, 0, 0, cv::INTER_LINEAR);
  return resampled;
}

/// Turns every buffer into an image of the size of buffer 0, in parallel.
std::vector<cv::Mat> takeIn(const std::vector<unsigned char*>& buffers,
                            const int* widths,
                            const int* heights,
                            const int* channels,
                            int bufferCount) {
  if (bufferCount <= 0) {
    return {};  // the size arrays may then be empty too
  }
  std::vector<cv::Mat> images(static_cast<std::size_t>(bufferCount));
  const cv::Size reference(widths[0], heights[0]);
  Platform::parallelFor(0, bufferCount, [&](int i) {
    const auto index = static_cast<std::size_t>(i);
    images[index] = imageOf(buffers[index], widths[i], heights[i], channels[i], reference);
  });
  return images;
}

}  // namespace

SlabMontage::SlabMontage() = default;
SlabMontage& SlabMontage::operator=(const SlabMontage&) = default;
SlabMontage::~SlabMontage() = default;

int SlabMontage::operator()(std::vector<unsigned char*> buffers,
                            int* const widths,
                            int* const heights,
                            int* const channels,
                            int bufferCount,
                            int constituentCount,
                            int slabCount,
                            double* const megapixels,
                            bool* const options,
                            int* const constituentIncluded,
                            int* const constituentPositions,
                            std::vector<cv::Mat>& montages) {
  std::vector<cv::Mat> images = takeIn(buffers, widths, heights, channels, bufferCount);
  return Process(images,
                 constituentCount,
                 slabCount,
                 options[2],
                 options[0],
                 options[1],
                 megapixels[0],
                 megapixels[1],
                 megapixels[2],
                 constituentIncluded,
                 constituentPositions,
                 montages);
}

int SlabMontage::operator()(std::vector<unsigned char*> buffers,
                            int* const widths,
                            int* const heights,
                            int* const channels,
                            int bufferCount,
                            int constituentCount,
                            int slabCount,
                            double* const megapixels,
                            bool* const options,
                            int* const constituentIncluded,
                            int* const constituentPositions,
                            double* const projectionErrorRms,
                            double* const focalMean,
                            double* const focalRange,
                            double* const rotationMax,
                            std::vector<cv::Mat>& montages,
                            bool trailingFlag) {
  std::vector<cv::Mat> images = takeIn(buffers, widths, heights, channels, bufferCount);
  return Process(images,
                 constituentCount,
                 slabCount,
                 options[2],
                 options[0],
                 options[1],
                 megapixels[0],
                 megapixels[1],
                 megapixels[2],
                 constituentIncluded,
                 constituentPositions,
                 projectionErrorRms,
                 focalMean,
                 focalRange,
                 rotationMax,
                 montages,
                 trailingFlag);
}

int SlabMontage::Process(std::vector<cv::Mat>& images,
                         int constituentCount,
                         int slabCount,
                         bool /*tryGpu*/,
                         bool useGraphCutSeams,
                         bool blendEnabled,
                         double workMegapixels,
                         double seamMegapixels,
                         double composeMegapixels,
                         int* const constituentIncluded,
                         int* const constituentPositions,
                         std::vector<cv::Mat>& montages) {
  const Request request{images,
                        constituentCount,
                        slabCount,
                        useGraphCutSeams,
                        blendEnabled,
                        workMegapixels,
                        seamMegapixels,
                        composeMegapixels};
  const Outputs outputs{constituentIncluded, constituentPositions, montages};
  const ::montage::Registration registration = registerFirstSlab(::montage::Preset::basic, request);
  warnOfDroppedImages(
      registration,
      "Warning: One or more images have been removed from being used in the final montage.\n");
  if (const int status = statusOf(registration); status != Platform::kSuccess) {
    return status;
  }
  ::montage::MontagePlan plan = planFirstSlab(::montage::Preset::basic, registration, request);
  report(plan, footprintCorners(plan, slabCount), outputs);
  composeSlabs(std::move(plan), request, outputs);
  return Platform::kSuccess;
}

int SlabMontage::Process(std::vector<cv::Mat>& images,
                         int constituentCount,
                         int slabCount,
                         bool /*tryGpu*/,
                         bool useGraphCutSeams,
                         bool blendEnabled,
                         double workMegapixels,
                         double seamMegapixels,
                         double composeMegapixels,
                         int* const constituentIncluded,
                         int* const constituentPositions,
                         double* const projectionErrorRms,
                         double* const focalMean,
                         double* const focalRange,
                         double* const rotationMax,
                         std::vector<cv::Mat>& montages,
                         bool /*trailingFlag*/) {
  const Request request{images,
                        constituentCount,
                        slabCount,
                        useGraphCutSeams,
                        blendEnabled,
                        workMegapixels,
                        seamMegapixels,
                        composeMegapixels};
  const Outputs outputs{constituentIncluded, constituentPositions, montages};
  const ::montage::Registration registration =
      registerFirstSlab(::montage::Preset::diagnostic, request);
  warnOfDroppedImages(registration,
                      "Warning: An image has been removed from being used in the final montage.\n");
  if (const int status = statusOf(registration); status != Platform::kSuccess) {
    return status;
  }
  *projectionErrorRms = registration.figures.rms;
  *focalMean = registration.figures.focalMean;
  *focalRange = registration.figures.focalRange;
  *rotationMax = registration.figures.rotationMax;
  ::montage::MontagePlan plan = planFirstSlab(::montage::Preset::diagnostic, registration, request);
  report(plan, plan.footprintCentres(), outputs);
  composeSlabs(std::move(plan), request, outputs);
  return Platform::kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage
