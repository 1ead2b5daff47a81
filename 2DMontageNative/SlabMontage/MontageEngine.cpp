// SPDX-License-Identifier: MIT
#include "SlabMontage/MontageEngine.h"

#include "Composition.h"
#include "Composition/SlabComposer.h"
#include "Platform/OpenCvScope.h"
#include "Registration.h"
#include "SlabMontage/BrightnessNormalisation.h"
#include "SlabMontage/CameraLists.h"
#include "SlabMontage/ConstituentPositions.h"
#include "SlabMontage/QualityFigures.h"

#include <opencv2/stitching/detail/motion_estimators.hpp>

#include <iostream>
#include <string>

namespace ORV::Common::Algorithms::Montage {
namespace {

using Composition::SlabComposer;

constexpr int kSuccess = 0;
constexpr int kTooFewConnected = 1;

constexpr const char* kGraphCutSeams = "gc_color";
constexpr const char* kNoSeams = "no";

/// What registration hands to composition; all lists are in the order of the kept images.
struct Registered {
  ConnectedSet connected;
  std::vector<cv::detail::CameraParams> cameras;  ///< at registration scale
};

/// What the seam stage leaves for composition, at seam scale.
struct SeamResult {
  std::vector<cv::Mat> masks;
  std::vector<cv::Point> corners;
  std::vector<cv::Point> footprintCentres;
};

void straighten(std::vector<cv::detail::CameraParams>& cameras) {
  std::vector<cv::Mat> rotations;
  rotations.reserve(cameras.size());
  for (const cv::detail::CameraParams& camera : cameras) {
    rotations.push_back(camera.R);
  }
  cv::detail::waveCorrect(rotations, cv::detail::WAVE_CORRECT_HORIZ);
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    cameras[i].R = rotations[i];
  }
}

/// Finds the connected images and their cameras; a status other than 0 ends the run.
int registerImages(const PipelineVariant& variant,
                   std::vector<cv::Mat>& registrationImages,
                   float workScale,
                   bool tryGpu,
                   Registered& registered) {
  ConnectedSet& connected = registered.connected;
  connected = findConnectedSet(registrationImages, workScale, tryGpu);
  if (connected.featureStatus != kSuccess) {
    return connected.featureStatus;
  }
  if (connected.componentIndices.size() < 2) {
    return kTooFewConnected;
  }
  if (connected.matchStatus != kSuccess) {
    return connected.matchStatus;
  }
  if (connected.componentIndices.size() < registrationImages.size()) {
    std::cout << variant.droppedImageWarning << std::flush;
  }
  const int status = Registration::BundleAdjustment()(
      connected.features, connected.pairwiseMatches, kConfidenceThreshold, registered.cameras);
  if (status == kSuccess && variant.straightenCameras) {
    straighten(registered.cameras);
  }
  return status;
}

void reportQuality(const Registered& registered, const QualityOutputs& quality) {
  const auto& [connected, cameras] = registered;
  *quality.projectionErrorRms = projectionErrorRmsOf(listProjectionErrors(
      connected.features, connected.pairwiseMatches, kConfidenceThreshold, cameras));
  *quality.rotationMax =
      largestRotationOf(listRotations(connected.pairwiseMatches, kConfidenceThreshold, cameras));
  const FocalStatistics focals =
      focalStatisticsOf(listFocals(connected.pairwiseMatches, kConfidenceThreshold, cameras));
  *quality.focalMean = focals.mean;
  *quality.focalRange = focals.range;
}

/// The kept images of slab k in processing order, sharing their pixels.
std::vector<cv::Mat> keptImages(const MontageRequest& request,
                                const std::vector<int>& processingOrder,
                                const std::vector<int>& componentIndices,
                                int slab) {
  std::vector<cv::Mat> images;
  images.reserve(componentIndices.size());
  const std::size_t first =
      static_cast<std::size_t>(slab) * static_cast<std::size_t>(request.constituentCount);
  for (const int index : componentIndices) {
    const int constituent = processingOrder[static_cast<std::size_t>(index)];
    images.push_back(request.images[first + static_cast<std::size_t>(constituent)]);
  }
  return images;
}

/// Brings a copy of the cameras to composition scale and makes the composer of all slabs.
SlabComposer makeComposer(Scaler& scaler,
                          Composition::Warp& warp,
                          const Composition::Compensate& compensate,
                          std::vector<cv::detail::CameraParams> cameras,
                          const SeamResult& seams,
                          bool withSeams,
                          const Composition::BlendOptions& blending,
                          std::vector<cv::Point>& corners) {
  scaler.blendScale(cameras, warp, corners);
  Composition::SlabGeometry geometry{cameras, corners, scaler.sizes, scaler.composeScale};
  if (withSeams) {
    return {warp.warper, std::move(geometry), {seams.masks, compensate.compensator}, blending};
  }
  return {warp.warper, std::move(geometry), blending};
}

}  // namespace

int runMontage(const PipelineVariant& variant,
               const MontageRequest& request,
               const MontageOutputs& outputs) {
  const Platform::CpuOnly cpuOnly;

  // Registration of slab 0.
  const std::vector<int> processingOrder = variant.reverseOrder
                                               ? reversedOrder(request.constituentCount)
                                               : callerOrder(request.constituentCount);
  std::vector<cv::Mat> registrationImages;
  registrationImages.reserve(processingOrder.size());
  for (const int constituent : processingOrder) {
    registrationImages.push_back(request.images[static_cast<std::size_t>(constituent)]);
  }
  Scaler scaler = scalerFor(registrationImages, request.megapixels);
  Registered registered;
  const int registrationStatus =
      registerImages(variant, registrationImages, scaler.workScale, request.tryGpu, registered);
  if (registrationStatus != kSuccess) {
    return registrationStatus;
  }
  if (outputs.quality != nullptr) {
    reportQuality(registered, *outputs.quality);
  }

  // Gains and seams on slab 0.
  const std::vector<int>& componentIndices = registered.connected.componentIndices;
  std::vector<cv::Mat> componentImages = keptImages(request, processingOrder, componentIndices, 0);
  scaler.updateSizes(componentImages);
  Composition::Warp warp(registered.cameras, scaler.seamWorkAspect);
  Composition::Compensate compensate(cv::detail::ExposureCompensator::GAIN_BLOCKS);
  SeamResult seams;
  seams.masks.resize(componentImages.size());
  seams.corners.resize(componentImages.size());
  const int seamStatus =
      Composition::Seam(warp, compensate)(componentImages,
                                          seams.masks,
                                          seams.corners,
                                          registered.cameras,
                                          scaler.seamScale,
                                          scaler.seamWorkAspect,
                                          request.useGraphCutSeams ? kGraphCutSeams : kNoSeams,
                                          variant.wideSeamDilation,
                                          seams.footprintCentres);
  if (seamStatus != kSuccess) {
    return seamStatus;
  }

  // Every slab with that geometry; it is the same for all of them.
  std::vector<cv::Point> corners = seams.corners;
  if (request.slabCount > 0) {
    SlabComposer composer =
        makeComposer(scaler,
                     warp,
                     compensate,
                     registered.cameras,
                     seams,
                     request.useGraphCutSeams,
                     request.blendEnabled ? variant.blending : Composition::BlendOptions{},
                     corners);
    for (int slab = 0; slab < request.slabCount; ++slab) {
      cv::Mat montage =
          composer.compose(keptImages(request, processingOrder, componentIndices, slab));
      if (variant.normaliseBrightness) {
        normaliseBrightness(montage);
      }
      outputs.montages[static_cast<std::size_t>(slab)] = montage;
    }
  }

  const bool fromCentres = variant.positions == PositionSource::kFootprintCentres;
  reportPositions(fromCentres ? seams.footprintCentres : corners,
                  componentIndices,
                  processingOrder,
                  outputs.included,
                  outputs.positions);
  return kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage
