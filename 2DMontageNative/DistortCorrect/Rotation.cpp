// SPDX-License-Identifier: MIT
#include "DistortCorrect/Rotation.h"

#include "Platform/ParallelLoop.h"

#include <cmath>
#include <cstddef>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

struct SineCosine {
  float sine;
  float cosine;

  explicit SineCosine(double angle)
      : sine(static_cast<float>(std::sin(angle))), cosine(static_cast<float>(std::cos(angle))) {}
};

Matrix3f aboutOpticalAxis(double roll) {
  const SineCosine g(roll);
  return {g.cosine, -g.sine, 0.0F, g.sine, g.cosine, 0.0F, 0.0F, 0.0F, 1.0F};
}

Matrix3f aboutHorizontalAxis(double pitch) {
  const SineCosine b(pitch);
  return {1.0F, 0.0F, 0.0F, 0.0F, b.cosine, -b.sine, 0.0F, b.sine, b.cosine};
}

Matrix3f aboutVerticalAxis(double yaw) {
  const SineCosine a(yaw);
  return {a.cosine, 0.0F, a.sine, 0.0F, 1.0F, 0.0F, -a.sine, 0.0F, a.cosine};
}

Matrix3f product(const Matrix3f& a, const Matrix3f& b) {
  constexpr int kSide = 3;
  Matrix3f c{};
  matMult(a.data(), b.data(), c.data(), kSide, kSide, kSide);
  return c;
}

}  // namespace

void matMult(const float* a, const float* b, float* c, int m, int n, int k) {
  Platform::parallelFor(0, m, [=](int row) {
    const float* const aRow = a + static_cast<std::ptrdiff_t>(row) * k;
    float* const cRow = c + static_cast<std::ptrdiff_t>(row) * n;
    for (int inner = 0; inner < k; ++inner) {
      const float* const bRow = b + static_cast<std::ptrdiff_t>(inner) * n;
      for (int col = 0; col < n; ++col) {
        cRow[col] += aRow[inner] * bRow[col];
      }
    }
  });
}

Matrix3f lensFromView(const Orientation& orientation) {
  return product(
      product(aboutOpticalAxis(orientation.roll), aboutHorizontalAxis(orientation.pitch)),
      aboutVerticalAxis(orientation.yaw));
}

Matrix3f outlineRotation(const Orientation& orientation) {
  return product(
      product(aboutVerticalAxis(orientation.yaw), aboutHorizontalAxis(orientation.pitch)),
      aboutOpticalAxis(orientation.roll));
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
