// SPDX-License-Identifier: MIT
/// @file
/// Options as JSON objects and back.
#ifndef ORV_MONTAGE_PIPELINE_OPTIONS_JSON_H
#define ORV_MONTAGE_PIPELINE_OPTIONS_JSON_H

#include "Pipeline/ValueFile.h"
#include "montage/Options.h"

namespace montage {

Json toJson(const RegisterOptions& options);
Json toJson(const PlanOptions& options);

/// @throw std::invalid_argument or a JSON exception for a field that is missing, of another type or
/// out of range.
RegisterOptions registerOptionsFrom(const Json& json);
PlanOptions planOptionsFrom(const Json& json);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_OPTIONS_JSON_H
