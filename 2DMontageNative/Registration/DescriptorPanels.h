// SPDX-License-Identifier: MIT
/// @file
/// Descriptors of one image laid out for the nearest-neighbour search.
#ifndef ORV_MONTAGE_REGISTRATION_DESCRIPTOR_PANELS_H
#define ORV_MONTAGE_REGISTRATION_DESCRIPTOR_PANELS_H

#include <opencv2/core.hpp>

#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// How the elements of descriptors are kept for the search.
enum class DescriptorKind {
  kWhole,  ///< whole numbers 0 to 255, as SIFT has them: four bytes per 32-bit word
  kReal,   ///< any finite numbers: one `float` per 32-bit word
  kBits    ///< bits, as ORB has them: kept as the whole numbers 0 and 1
};

/// Descriptors of one image, transposed into panels of 32 so that one vector register holds the
/// same elements of neighbouring descriptors, and padded with descriptors infinitely far from all
/// others.
///
///     words:  panel 0, step 0   | d0 d1 d2 ... d31 |   step = the next word of each descriptor
///             panel 0, step 1   | d0 d1 d2 ... d31 |
///             ...
///             panel 1, step 0   | d32 ...      d63 |
struct DescriptorPanels {
  /// Descriptors per panel: two vectors of the widest kind (16 lanes).
  static constexpr int kWidth = 32;

  DescriptorKind kind = DescriptorKind::kReal;
  int count = 0;             ///< descriptors without the padding
  int steps = 0;             ///< words per descriptor
  cv::Mat words;             ///< (panels * steps) x 32, `CV_32F` (real) or `CV_32S`
  std::vector<float> norms;  ///< squared length per descriptor; infinite for the padding
  std::vector<float> sums;   ///< of the elements per descriptor; 0 for the padding

  [[nodiscard]] int panels() const { return (count + kWidth - 1) / kWidth; }
};

/// The kind all these descriptors can be searched as: `kBits` for bytes; `kWhole` if every element
/// is a whole number from 0 to 255 and squared distances stay exact in a `float`, else `kReal`.
///
/// @param[in] descriptors  `CV_8UC1` or `CV_32FC1` (else `cv::Exception`), or empty: `kWhole`.
[[nodiscard]] DescriptorKind descriptorKind(const cv::Mat& descriptors);

/// Lays descriptors out for the search.
///
/// @param[in] given  n x length, `CV_8UC1` for `kBits`, else `CV_32FC1` and finite (else
///   `cv::Exception`), or empty.
/// @param[in] kind  `kWhole` only where descriptorKind() says so; `kReal` holds for any numbers.
[[nodiscard]] DescriptorPanels packDescriptors(const cv::Mat& given, DescriptorKind kind);

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_DESCRIPTOR_PANELS_H
