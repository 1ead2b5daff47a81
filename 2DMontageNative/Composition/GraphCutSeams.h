// SPDX-License-Identifier: MIT
/// @file
/// Graph-cut seams, pair by pair and side by side.
#ifndef ORV_MONTAGE_COMPOSITION_GRAPH_CUT_SEAMS_H
#define ORV_MONTAGE_COMPOSITION_GRAPH_CUT_SEAMS_H

#include "Composition/SeamViews.h"

#include <functional>

namespace ORV::Common::Algorithms::Montage::Composition {

enum class SeamSearch {
  kExact,        ///< with the very masks of OpenCV's class
  kCoarseToFine  ///< nearly as good, in a fraction of the time
};

/// Cuts every overlap where the colours differ least (V. Kwatra et al., "Graphcut textures: image
/// and video synthesis using graph cuts", SIGGRAPH 2003), by the costs of
/// `cv::detail::GraphCutSeamFinder` with `COST_COLOR`, terminal cost 10000 and bad region penalty
/// 1000.
///
/// Pairs are cut at the same time; a pair waits for the earlier ones that change what it reads, so
/// that the masks do not depend on the number of threads. Beyond the views memory holds the graphs
/// being cut, some 45 bytes per pixel of an overlap.
///
/// @param[in,out] views  masks lose what another image supplies.
/// @param[in] step  called after each of the `overlappingPairs`.
/// @param[in] poll  called a few times a second.
/// @note Both come from any thread and may throw; the masks are then cut in part.
void cutSeams(SeamViews& views,
              SeamSearch search,
              const std::function<void()>& step,
              const std::function<void()>& poll);

}  // namespace ORV::Common::Algorithms::Montage::Composition

#endif  // ORV_MONTAGE_COMPOSITION_GRAPH_CUT_SEAMS_H
