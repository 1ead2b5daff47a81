// SPDX-License-Identifier: MIT
/// @file
/// How the images of a montage are blended where they overlap.
#ifndef ORV_MONTAGE_COMPOSITION_BLEND_OPTIONS_H
#define ORV_MONTAGE_COMPOSITION_BLEND_OPTIONS_H

#include <opencv2/stitching/detail/blenders.hpp>

#include <optional>

namespace ORV::Common::Algorithms::Montage::Composition {

enum class BlendKind {
  kNone,      ///< later images cover earlier ones
  kFeather,   ///< images fade out towards the rim of their masks
  kMultiBand  ///< coarse structure fades over a wide seam, fine structure over a narrow one
};

/// A kind of blending with its settings.
struct BlendOptions {
  BlendKind kind = BlendKind::kNone;
  float sharpness = 0.1F;  ///< of feathering: weight per pixel of distance, at least 1 / 255
  int bands = 3;           ///< of multi-band blending, above the coarsest
  bool fine = false;       ///< multi-band blending rounds instead of cutting off, unlike OpenCV's
};

/// The options of OpenCV's kinds: 0 none, 1 feather, 2 multi-band; none for other numbers.
std::optional<BlendOptions> blendOptionsOf(int blendType);

/// The options that one of OpenCV's blenders stands for.
BlendOptions blendOptionsOf(const cv::detail::Blender& blender);

/// OpenCV's blender of that kind, with the settings.
cv::Ptr<cv::detail::Blender> makeBlender(const BlendOptions& options, bool tryGpu);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_BLEND_OPTIONS_H
