// SPDX-License-Identifier: MIT
#include "Composition/GainEquations.h"

#include <Eigen/Dense>
#include <Eigen/SparseCholesky>
#include <algorithm>
#include <cstddef>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr double kAlpha = 0.01;  ///< weight of equal brightness
constexpr double kBeta = 100;    ///< weight of gains near 1

constexpr int kNoEquation = -1;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

/// Symmetric; every sum runs in the order of the blocks, as OpenCV's does.
class Equations {
 public:
  Equations(const std::vector<int>& pixels, const std::vector<BlockCoupling>& couplings)
      : equation_(pixels.size(), kNoEquation) {
    number(couplings);
    diagonal_ = Eigen::VectorXd::Zero(count_);
    right_ = Eigen::VectorXd::Zero(count_);
    for (const BlockCoupling& coupling : couplings) {
      addToRow(of(coupling.second), of(coupling.first), coupling, coupling.secondMean);
    }
    for (std::size_t block = 0; block < pixels.size(); ++block) {
      if (equation_[block] != kNoEquation) {
        addUnity(equation_[block], std::max(1, pixels[block]));
      }
    }
    for (const BlockCoupling& coupling : couplings) {
      addToRow(of(coupling.first), of(coupling.second), coupling, coupling.firstMean);
    }
    for (const BlockCoupling& coupling : couplings) {
      if (coupling.sharedPixels > 0) {
        below_.emplace_back(
            of(coupling.second),
            of(coupling.first),
            -2 * kAlpha * coupling.secondMean * coupling.firstMean * coupling.sharedPixels);
      }
    }
  }

  [[nodiscard]] std::vector<double> solve(int mostDense) const {
    std::vector<double> gains(equation_.size(), 1.0);
    if (count_ == 0) {
      return gains;
    }
    const Eigen::VectorXd solution = count_ <= mostDense ? solveDensely() : solveSparsely();
    for (std::size_t block = 0; block < gains.size(); ++block) {
      if (equation_[block] != kNoEquation) {
        gains[block] = solution[equation_[block]];
      }
    }
    return gains;
  }

 private:
  void number(const std::vector<BlockCoupling>& couplings) {
    constexpr int kShares = 0;
    for (const BlockCoupling& coupling : couplings) {
      if (coupling.sharedPixels > 0) {
        equation_[at(coupling.first)] = kShares;
        equation_[at(coupling.second)] = kShares;
      }
    }
    for (int& equation : equation_) {
      if (equation != kNoEquation) {
        equation = count_++;
      }
    }
  }

  [[nodiscard]] int of(int block) const { return equation_[at(block)]; }

  /// What a coupling adds to the row of one of its blocks.
  void addToRow(int row, int other, const BlockCoupling& coupling, double mean) {
    if (row != kNoEquation && other != kNoEquation) {
      const int weight = std::max(1, coupling.sharedPixels);
      addUnity(row, weight);
      diagonal_[row] += 2 * kAlpha * mean * mean * weight;
    }
  }

  void addUnity(int row, int weight) {
    right_[row] += kBeta * weight;
    diagonal_[row] += kBeta * weight;
  }

  /// The same steps as in OpenCV, bit for bit: it has Eigen factor single precision.
  [[nodiscard]] Eigen::VectorXd solveDensely() const {
    Eigen::MatrixXf matrix = Eigen::MatrixXf::Zero(count_, count_);
    matrix.diagonal() = diagonal_.cast<float>();
    for (const auto& entry : below_) {
      matrix(entry.row(), entry.col()) = static_cast<float>(entry.value());
    }
    const Eigen::LLT<Eigen::Ref<Eigen::MatrixXf>> factors(matrix);  // in place
    const Eigen::MatrixXf right = right_.cast<float>();
    const Eigen::MatrixXf solution = factors.solve(right);
    return solution.col(0).cast<double>();
  }

  [[nodiscard]] Eigen::VectorXd solveSparsely() const {
    std::vector<Eigen::Triplet<double>> entries = below_;
    for (int row = 0; row < count_; ++row) {
      entries.emplace_back(row, row, diagonal_[row]);
    }
    Eigen::SparseMatrix<double> matrix(count_, count_);
    matrix.setFromTriplets(entries.begin(), entries.end());
    return Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>>(matrix).solve(right_);
  }

  std::vector<int> equation_;  ///< of every block
  int count_ = 0;
  Eigen::VectorXd diagonal_;
  Eigen::VectorXd right_;
  std::vector<Eigen::Triplet<double>> below_;  ///< the lower triangle
};

}  // namespace

std::vector<double> solveGains(const std::vector<int>& pixels,
                               const std::vector<BlockCoupling>& couplings,
                               int mostDense) {
  return Equations(pixels, couplings).solve(mostDense);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
