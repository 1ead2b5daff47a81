// SPDX-License-Identifier: MIT
/// @file
/// The montage pipeline: one engine, and a description of what a variant of it does differently.
#ifndef ORV_MONTAGE_SLAB_MONTAGE_MONTAGE_ENGINE_H
#define ORV_MONTAGE_SLAB_MONTAGE_MONTAGE_ENGINE_H

#include "Composition/BlendOptions.h"
#include "SlabMontage/ConnectedSet.h"

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage {

/// Where the reported positions come from.
enum class PositionSource {
  kFootprintCentres,   ///< centres of the warped footprints, full-resolution pixels
  kCompositionCorners  ///< top-left corners at composition scale
};

/// What one pipeline does differently from the other.
struct PipelineVariant {
  bool reverseOrder;         ///< process the constituents in reverse order
  bool straightenCameras;    ///< horizontal wave correction after bundle adjustment
  bool wideSeamDilation;     ///< widen the seam masks by 7 pixels instead of 1
  bool normaliseBrightness;  ///< of every montage
  PositionSource positions;
  Composition::BlendOptions blending;  ///< where blending is enabled
  const char* droppedImageWarning;     ///< one line for standard output
};

/// The inputs of one run; the images are borrowed and never written.
struct MontageRequest {
  const std::vector<cv::Mat>& images;  ///< slab after slab, constituentCount images each
  int constituentCount;
  int slabCount;
  bool tryGpu;
  bool useGraphCutSeams;
  bool blendEnabled;
  Resolutions megapixels;
};

/// Where the quality figures go.
struct QualityOutputs {
  double* projectionErrorRms;
  double* focalMean;
  double* focalRange;
  double* rotationMax;
};

/// Where the results go.
struct MontageOutputs {
  int* included;                   ///< constituentCount values
  int* positions;                  ///< 2 * constituentCount values
  std::vector<cv::Mat>& montages;  ///< at least slabCount elements
  const QualityOutputs* quality;   ///< null: no figures are computed
};

/// Runs the pipeline; statuses and outputs as `SlabMontage::operator()` states them.
int runMontage(const PipelineVariant& variant,
               const MontageRequest& request,
               const MontageOutputs& outputs);

}  // namespace ORV::Common::Algorithms::Montage

#endif  // ORV_MONTAGE_SLAB_MONTAGE_MONTAGE_ENGINE_H
