// SPDX-License-Identifier: MIT
/// @file
/// Contrast stretch of 8-bit images between percentiles of their grey levels.
#ifndef ORV_MONTAGE_REGISTRATION_CONTRAST_STRETCH_H
#define ORV_MONTAGE_REGISTRATION_CONTRAST_STRETCH_H

namespace ORV::Common::Algorithms::Montage::Registration {

/// Grey levels between which the given percentage of the pixels lies, the rest cut evenly at both
/// ends.
///
/// With tail = the whole number of pixels in half the rest: the smallest level at or below which at
/// least tail pixels lie, and the largest at or above which at least tail pixels lie.
///
/// @param[in] pixels  `count` grey levels.
/// @param[in] percentKept  0 to 100; 95 cuts off 2.5 % at each end.
/// @param[out] low, high  0 and 255 when the tail is less than one pixel.
void calcPercentileBounds(const unsigned char* pixels,
                          int count,
                          double percentKept,
                          unsigned char& low,
                          unsigned char& high);

/// Maps the grey levels [fromLow, fromHigh] linearly to [toLow, toHigh], in place.
///
/// Levels outside go to the nearer end; fractions are cut off. With fromLow == fromHigh the levels
/// up to it become toLow and those above it toHigh.
void stretchContrast(unsigned char* pixels,
                     int count,
                     unsigned char fromLow,
                     unsigned char fromHigh,
                     unsigned char toLow,
                     unsigned char toHigh);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_CONTRAST_STRETCH_H
