// SPDX-License-Identifier: MIT
/// @file
/// The `CVector` and `CMatrix` templates of the Registration namespace.
#ifndef ORV_MONTAGE_REGISTRATION_CONTAINERS_H
#define ORV_MONTAGE_REGISTRATION_CONTAINERS_H

#include <new>

namespace ORV::Common::Algorithms::Montage::Registration {

#include "ORVFunctions.h"

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CONTAINERS_H
