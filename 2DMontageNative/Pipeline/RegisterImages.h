// SPDX-License-Identifier: MIT
/// @file
/// Registration without checks of its options.
#ifndef ORV_MONTAGE_PIPELINE_REGISTER_IMAGES_H
#define ORV_MONTAGE_PIPELINE_REGISTER_IMAGES_H

#include "montage/Registration.h"

namespace montage {

/// montage::registerImages() with any options; without hashes where they are not wanted.
Registration registerSource(const ImageSource& images,
                            const RegisterOptions& options,
                            bool withHashes,
                            const Progress& progress);

}  // namespace montage

#endif  // ORV_MONTAGE_PIPELINE_REGISTER_IMAGES_H
