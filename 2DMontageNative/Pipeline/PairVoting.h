// SPDX-License-Identifier: MIT
/// @file
/// Which pairs of images are worth comparing, by how many of their strongest features they share.
#ifndef ORV_MONTAGE_PIPELINE_PAIR_VOTING_H
#define ORV_MONTAGE_PIPELINE_PAIR_VOTING_H

#include "Pipeline/PairSelection.h"
#include "Pipeline/Watcher.h"
#include "Registration/DescriptorPanels.h"
#include "montage/Features.h"

#include <cstdint>
#include <vector>

namespace montage {

/// The votes of every pair of images: features of one whose nearest neighbour in the other is
/// distinct, and the other way round. Nothing depends on the number of threads.
class PairVoting {
 public:
  /// @param[in] features  one per image, of one kind (else `std::invalid_argument`); borrowed for
  ///   the constructor.
  /// @param[in,out] watcher  asked only.
  PairVoting(const std::vector<Features>& features, Watcher& watcher);

  /// Every image with its best partners, ascending. Images that find none search again with
  /// more features.
  /// @param[in,out] watcher  counts images.
  [[nodiscard]] std::vector<ImagePair> bestPairs(Watcher& watcher);

  /// For each group of images but the first the pairs that most probably connect it to others,
  /// ascending.
  ///
  /// @param[in] groups  images that are in none count as groups of one.
  /// @param[in] tried  ascending; not given again.
  /// @param[in,out] watcher  gets a step per image that searches again.
  [[nodiscard]] std::vector<ImagePair> pairsBetween(const std::vector<std::vector<int>>& groups,
                                                    const std::vector<ImagePair>& tried,
                                                    Watcher& watcher);

 private:
  using Panels = ORV::Common::Algorithms::Montage::Registration::DescriptorPanels;
  using Votes = std::vector<std::uint16_t>;  ///< per other image

  [[nodiscard]] int count() const { return static_cast<int>(few_.size()); }
  void voteAmongAll(Watcher& watcher);
  /// @param[in] images  ascending.
  void voteWidely(const std::vector<int>& images, Watcher& watcher);

  std::vector<Panels> few_;   ///< per image, of its strongest features
  std::vector<Panels> many_;  ///< of more of them
  std::vector<Votes> votes_;  ///< per image, by few features
  std::vector<Votes> wide_;   ///< per image, by many; empty where it has not searched
};

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_PAIR_VOTING_H
