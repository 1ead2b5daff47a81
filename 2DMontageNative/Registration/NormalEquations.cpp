// SPDX-License-Identifier: MIT
#include "Registration/NormalEquations.h"

#include <Eigen/SparseCholesky>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// From 25 unknowns on OpenCV's singular values come from whichever LAPACK a machine has.
constexpr int kMostBlocksByOpenCv = 6;

}  // namespace

NormalEquations::NormalEquations(int blockCount)
    : blockCount_(blockCount), rightSide_(cv::Mat::zeros(kBlock * blockCount, 1, CV_64F)) {
  for (int block = 0; block < blockCount; ++block) {
    blocks_[{block, block}] = Block::zeros();
  }
}

void NormalEquations::add(int first, int second, const cv::Mat& derivatives, const double* errors) {
  Block& ofFirst = blocks_.at({first, first});
  Block& ofSecond = blocks_.at({second, second});
  Block& ofBoth = blocks_[{first, second}];  // zeros when it is new
  auto* const rightOfFirst = rightSide_.ptr<double>(kBlock * first);
  auto* const rightOfSecond = rightSide_.ptr<double>(kBlock * second);
  for (int row = 0; row < derivatives.rows; ++row) {
    const auto* const a = derivatives.ptr<double>(row);
    const double* const b = a + kBlock;
    for (int i = 0; i < kBlock; ++i) {
      for (int j = 0; j < kBlock; ++j) {
        ofFirst(i, j) += a[i] * a[j];
        ofSecond(i, j) += b[i] * b[j];
        ofBoth(i, j) += a[i] * b[j];
      }
      rightOfFirst[i] += a[i] * errors[row];
      rightOfSecond[i] += b[i] * errors[row];
    }
  }
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
