// SPDX-License-Identifier: MIT
#include "Registration/NormalEquations.h"

#include <Eigen/SparseCholesky>
#include <algorithm>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// From 25 unknowns on OpenCV's singular values come from whichever LAPACK a machine has.
constexpr int kMostBlocksByOpenCv = 6;

constexpr int kBlock = NormalEquations::kBlock;

/// Adds A^T B to a block, row after row, where A and B are the columns from `a` and `b` on. The
/// sums are held apart from the block so that they stay in registers.
void addProducts(const cv::Mat& derivatives,
                 int a,
                 int b,
                 cv::Matx<double, kBlock, kBlock>& block) {
  double sums[kBlock * kBlock];
  std::copy_n(block.val, kBlock * kBlock, sums);
  for (int row = 0; row < derivatives.rows; ++row) {
    const auto* const values = derivatives.ptr<double>(row);
    for (int i = 0; i < kBlock; ++i) {
      for (int j = 0; j < kBlock; ++j) {
        sums[i * kBlock + j] += values[a + i] * values[b + j];
      }
    }
  }
  std::copy_n(sums, kBlock * kBlock, block.val);
}

/// Adds A^T e to a part of the right side, row after row.
void addProducts(const cv::Mat& derivatives, int a, const double* errors, double* rightSide) {
  double sums[kBlock];
  std::copy_n(rightSide, kBlock, sums);
  for (int row = 0; row < derivatives.rows; ++row) {
    const auto* const values = derivatives.ptr<double>(row);
    for (int i = 0; i < kBlock; ++i) {
      sums[i] += values[a + i] * errors[row];
    }
  }
  std::copy_n(sums, kBlock, rightSide);
}

}  // namespace

NormalEquations::NormalEquations(int blockCount)
    : blockCount_(blockCount), rightSide_(cv::Mat::zeros(kBlock * blockCount, 1, CV_64F)) {
  for (int block = 0; block < blockCount; ++block) {
    blocks_[{block, block}] = Block::zeros();
  }
}

void NormalEquations::add(int first, int second, const cv::Mat& derivatives, const double* errors) {
  constexpr int kColumnsOfSecond = kBlock;
  addProducts(derivatives, 0, 0, blocks_.at({first, first}));
  addProducts(derivatives, kColumnsOfSecond, kColumnsOfSecond, blocks_.at({second, second}));
  addProducts(derivatives, 0, kColumnsOfSecond, blocks_[{first, second}]);  // zeros when it is new
  addProducts(derivatives, 0, errors, rightSide_.ptr<double>(kBlock * first));
  addProducts(derivatives, kColumnsOfSecond, errors, rightSide_.ptr<double>(kBlock * second));
}

cv::Mat NormalEquations::solve(double damping) const {
  cv::Mat step;
  if (blockCount_ <= kMostBlocksByOpenCv || !solveSparsely(damping, step)) {
    cv::solve(dense(damping), rightSide_, step, cv::DECOMP_SVD);
  }
  return step;
}

cv::Mat NormalEquations::dense(double damping) const {
  const int size = kBlock * blockCount_;
  cv::Mat matrix = cv::Mat::zeros(size, size, CV_64F);
  for (const auto& [position, block] : blocks_) {
    const auto& [row, column] = position;
    cv::Mat(block).copyTo(matrix(cv::Rect(kBlock * column, kBlock * row, kBlock, kBlock)));
    cv::Mat(block.t()).copyTo(matrix(cv::Rect(kBlock * row, kBlock * column, kBlock, kBlock)));
  }
  matrix.diag() *= 1.0 + damping;
  return matrix;
}

bool NormalEquations::solveSparsely(double damping, cv::Mat& step) const {
  std::vector<Eigen::Triplet<double>> entries;
  entries.reserve(blocks_.size() * kBlock * kBlock);
  for (const auto& [position, block] : blocks_) {
    const auto& [row, column] = position;
    for (int i = 0; i < kBlock; ++i) {
      for (int j = 0; j < kBlock; ++j) {
        const int r = kBlock * row + i;
        const int c = kBlock * column + j;
        const double value = r == c ? block(i, j) * (1.0 + damping) : block(i, j);
        if (r == c && value == 0.0) {
          entries.emplace_back(r, c, 1.0);  // nothing depends on it: it stays
        } else if (r <= c) {
          entries.emplace_back(r, c, value);
        }
      }
    }
  }
  const int size = kBlock * blockCount_;
  Eigen::SparseMatrix<double> matrix(size, size);
  matrix.setFromTriplets(entries.begin(), entries.end());
  const Eigen::SimplicialLLT<Eigen::SparseMatrix<double>, Eigen::Upper> factors(matrix);
  if (factors.info() != Eigen::Success) {
    return false;
  }
  step.create(size, 1, CV_64F);
  const Eigen::Map<const Eigen::VectorXd> right(rightSide_.ptr<double>(), size);
  Eigen::Map<Eigen::VectorXd>(step.ptr<double>(), size) = factors.solve(right);
  return cv::checkRange(step);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
