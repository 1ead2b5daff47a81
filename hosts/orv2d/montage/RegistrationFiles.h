// SPDX-License-Identifier: MIT
/// @file
/// Registrations in files.
#ifndef ORV2D_REGISTRATION_FILES_H
#define ORV2D_REGISTRATION_FILES_H

#include "OutputFiles.h"

#include <montage/Registration.h>
#include <string>

namespace orv2d {

/// Throws `HostError` (unreadable input) for a file that is missing, damaged or no registration.
montage::Registration readRegistration(const std::string& file);

/// Stages the registration under its name.
void writeRegistration(const montage::Registration& registration,
                       const std::string& file,
                       OutputFiles& outputs);

}  // namespace orv2d

#endif  // ORV2D_REGISTRATION_FILES_H
