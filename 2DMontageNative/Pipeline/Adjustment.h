// SPDX-License-Identifier: MIT
/// @file
/// Two ways from features and pairs to cameras, with what became of each image and pair.
#ifndef ORV_MONTAGE_PIPELINE_ADJUSTMENT_H
#define ORV_MONTAGE_PIPELINE_ADJUSTMENT_H

#include "Pipeline/Watcher.h"
#include "montage/Registration.h"

#include <map>
#include <vector>

namespace montage {

/// What an adjustment decides; the rest of a registration follows from it.
struct Adjustment {
  RegistrationStatus status = RegistrationStatus::notConnected;
  std::vector<int> used;           ///< ascending
  std::vector<Camera> cameras;     ///< of the images used
  std::vector<PairVerdict> pairs;  ///< one per pair; `used` and `tooWeak` follow from the rest
  std::map<int, int> alike;        ///< images left out, with the one that shows the same
};

/// Errors of one pair under its two cameras.
struct PairErrors {
  double squares = 0.0;  ///< sum of the squared lengths, registration pixels squared
  int count = 0;
};

/// The errors of a pair's points as the robust method counts them.
PairErrors robustErrors(const std::vector<Features>& features,
                        const PairMatches& pair,
                        const Camera& first,
                        const Camera& second);

/// The largest connected set and its cameras by the stage classes.
Adjustment adjustPlainly(const std::vector<Features>& features,
                         const std::vector<PairMatches>& pairs,
                         const AdjustOptions& options);

/// The same with false pairs found and dropped; see `montage::adjust`.
Adjustment adjustRobustly(const std::vector<Features>& features,
                          const std::vector<PairMatches>& pairs,
                          const AdjustOptions& options,
                          Watcher& watcher);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_ADJUSTMENT_H
