// SPDX-License-Identifier: MIT
#include "SlabMontage.h"

#include "Platform/ParallelLoop.h"
#include "SlabMontage/MontageEngine.h"

#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::Montage {
namespace {

constexpr PipelineVariant kBasicPipeline{
    /*reverseOrder=*/false,
    /*straightenCameras=*/true,
    /*wideSeamDilation=*/false,
    /*normaliseBrightness=*/false,
    PositionSource::kCompositionCorners,
    {Composition::BlendKind::kMultiBand},
    "Warning: One or more images have been removed from being used in the final montage.\n"};

constexpr PipelineVariant kDiagnosticPipeline{
    /*reverseOrder=*/true,
    /*straightenCameras=*/false,
    /*wideSeamDilation=*/true,
    /*normaliseBrightness=*/true,
    PositionSource::kFootprintCentres,
    {Composition::BlendKind::kFeather},
    "Warning: An image has been removed from being used in the final montage.\n"};

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
                         bool tryGpu,
                         bool useGraphCutSeams,
                         bool blendEnabled,
                         double workMegapixels,
                         double seamMegapixels,
                         double composeMegapixels,
                         int* const constituentIncluded,
                         int* const constituentPositions,
                         std::vector<cv::Mat>& montages) {
  return runMontage(kBasicPipeline,
                    {images,
                     constituentCount,
                     slabCount,
                     tryGpu,
                     useGraphCutSeams,
                     blendEnabled,
                     {workMegapixels, seamMegapixels, composeMegapixels}},
                    {constituentIncluded, constituentPositions, montages, nullptr});
}

int SlabMontage::Process(std::vector<cv::Mat>& images,
                         int constituentCount,
                         int slabCount,
                         bool tryGpu,
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
  const QualityOutputs quality{projectionErrorRms, focalMean, focalRange, rotationMax};
  return runMontage(kDiagnosticPipeline,
                    {images,
                     constituentCount,
                     slabCount,
                     tryGpu,
                     useGraphCutSeams,
                     blendEnabled,
                     {workMegapixels, seamMegapixels, composeMegapixels}},
                    {constituentIncluded, constituentPositions, montages, &quality});
}

}  // namespace ORV::Common::Algorithms::Montage
