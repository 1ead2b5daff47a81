// SPDX-License-Identifier: MIT
/// @file
/// The marks every corner keypoint carries.
#ifndef ORV_MONTAGE_REGISTRATION_CORNER_KEYPOINT_H
#define ORV_MONTAGE_REGISTRATION_CORNER_KEYPOINT_H

namespace ORV::Common::Algorithms::Montage::Registration {

// They make SIFT describe corners in the second octave, all at one size and orientation.
constexpr float kKeypointSize = 7.0F;
constexpr float kKeypointAngle = -1.0F;
constexpr int kKeypointOctave = 1;
constexpr int kKeypointClass = -1;

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CORNER_KEYPOINT_H
