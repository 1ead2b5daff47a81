// SPDX-License-Identifier: MIT
/// @file
/// Normal equations of errors that each depend on two blocks of four parameters.
#ifndef ORV_MONTAGE_REGISTRATION_NORMAL_EQUATIONS_H
#define ORV_MONTAGE_REGISTRATION_NORMAL_EQUATIONS_H

#include <opencv2/core.hpp>

#include <map>
#include <utility>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {

/// Sums up J^T J and J^T e by blocks, in the order in which derivatives are added.
class NormalEquations {
 public:
  /// Parameters per block: focal length and rotation vector.
  static constexpr int kBlock = 4;

  explicit NormalEquations(int blockCount);

  /// @param[in] first, second  the blocks, first < second.
  /// @param[in] derivatives  `CV_64F`, a row per error, the columns of both blocks.
  /// @param[in] errors  one per row.
  void add(int first, int second, const cv::Mat& derivatives, const double* errors);

  /// Replaces J^T e, `CV_64F`.
  void setRightSide(cv::Mat rightSide) { rightSide_ = std::move(rightSide); }

  /// Solves (J^T J with its diagonal multiplied by 1 + damping) step = J^T e.
  ///
  /// Up to six blocks by singular values, as OpenCV does; more by a sparse Cholesky factorisation,
  /// and where that finds the matrix not positive definite by singular values again.
  [[nodiscard]] cv::Mat solve(double damping) const;

 private:
  using Block = cv::Matx<double, kBlock, kBlock>;

  [[nodiscard]] cv::Mat dense(double damping) const;
  [[nodiscard]] bool solveSparsely(double damping, cv::Mat& step) const;

  int blockCount_;
  std::map<std::pair<int, int>, Block> blocks_;  ///< (row, column) of the upper triangle
  cv::Mat rightSide_;
};

}  // namespace ORV::Common::Algorithms::Montage::Registration

#endif  // ORV_MONTAGE_REGISTRATION_NORMAL_EQUATIONS_H
