// SPDX-License-Identifier: MIT
/// @file
/// Every way in which a run can end early, as a sentence and an exit code.
#ifndef ORV2D_FAILURE_H
#define ORV2D_FAILURE_H

#include "ExitCode.h"

#include <string>

namespace orv2d {

struct Failure {
  ExitCode code;
  std::string message;
};

/// What the exception that is being handled means; to be called in a catch block only.
Failure currentFailure();

}  // namespace orv2d

#endif  // ORV2D_FAILURE_H
