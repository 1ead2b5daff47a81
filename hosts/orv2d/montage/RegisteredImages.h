// SPDX-License-Identifier: MIT
/// @file
/// The images that a saved registration or plan stands for.
#ifndef ORV2D_REGISTERED_IMAGES_H
#define ORV2D_REGISTERED_IMAGES_H

#include "montage/ImageFiles.h"
#include "montage/MontageSettings.h"

#include <montage/MontagePlan.h>
#include <montage/Registration.h>
#include <vector>

namespace orv2d {

/// Throws `HostError` (usage) unless every slab has so many images.
void requireAsManyAs(int count, const MontageSettings& settings);

/// If no images are given, takes those that the file names, as they were.
/// @return what the images must be; empty if they were given.
std::vector<ExpectedImage> takeNamedImages(const montage::Registration& registration,
                                           MontageSettings& settings);
std::vector<ExpectedImage> takeNamedImages(const montage::MontagePlan& plan,
                                           MontageSettings& settings);

}  // namespace orv2d

#endif  // ORV2D_REGISTERED_IMAGES_H
