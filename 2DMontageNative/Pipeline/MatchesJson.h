// SPDX-License-Identifier: MIT
/// @file
/// Matches and cameras as JSON and back.
#ifndef ORV_MONTAGE_PIPELINE_MATCHES_JSON_H
#define ORV_MONTAGE_PIPELINE_MATCHES_JSON_H

#include "Pipeline/ValueFile.h"
#include "montage/Registration.h"

namespace montage {

Json toJson(const PairMatches& pair);

/// @throw std::invalid_argument or a JSON exception for a field that is missing or impossible.
PairMatches pairMatchesFrom(const Json& json);

Json toJson(const Camera& camera);

/// @throw std::invalid_argument or a JSON exception, also for a matrix that is no rotation.
Camera cameraFrom(const Json& json);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_MATCHES_JSON_H
