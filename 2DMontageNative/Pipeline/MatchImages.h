// SPDX-License-Identifier: MIT
/// @file
/// The second step of registration: the pairs worth comparing, compared.
#ifndef ORV_MONTAGE_PIPELINE_MATCH_IMAGES_H
#define ORV_MONTAGE_PIPELINE_MATCH_IMAGES_H

#include "montage/Features.h"
#include "montage/Options.h"
#include "montage/Progress.h"

#include <vector>

namespace montage {

/// Selects pairs of images and matches them; where the images voted, groups that stay apart are
/// tried against each other once more.
///
/// @param[in,out] features  in processing order. Their descriptors and images are released as soon
///   as nothing needs them any more.
/// @param[in] order  the caller's number of each image: options count in these.
/// @return in processing numbers, ascending.
std::vector<PairMatches> matchImages(std::vector<Features>& features,
                                     const std::vector<int>& order,
                                     const RegisterOptions& options,
                                     const Progress& progress);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_MATCH_IMAGES_H
