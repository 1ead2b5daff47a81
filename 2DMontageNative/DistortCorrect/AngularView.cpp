// SPDX-License-Identifier: MIT
#include "DistortCorrect/AngularView.h"

#include <cmath>
#include <cstddef>
#include <utility>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "DistortCorrect/AngularView.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::DistortCorrect::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// The quotients in double decide the cost, so the floats are half vectors that widen without
// shuffles.
using DoubleTag = hn::ScalableTag<double>;
using FloatTag = hn::Rebind<float, DoubleTag>;
using Doubles = hn::Vec<DoubleTag>;
using Floats = hn::Vec<FloatTag>;

HWY_ATTR Doubles widen(Floats v) {
  return hn::PromoteTo(DoubleTag(), v);
}
HWY_ATTR Floats narrow(Doubles v) {
  return hn::DemoteTo(FloatTag(), v);
}

/// Projects the whole vectors of a row and returns how many pixels they held.
int projectVectors(const AngleAxis& columns,
                   float angle,
                   float tangent,
                   double radialCoeff,
                   const Matrix3f& rotation,
                   float* HWY_RESTRICT x,
                   float* HWY_RESTRICT y) {
  const FloatTag tag;
  const DoubleTag wideTag;
  const int lanes = static_cast<int>(hn::Lanes(tag));
  const int count = static_cast<int>(columns.angles.size());
  Floats m[9];
  for (std::size_t i = 0; i < rotation.size(); ++i) {
    m[i] = hn::Set(tag, rotation[i]);
  }
  const auto rotated = [&m](std::size_t row, Floats vx, Floats vy, Floats vz) HWY_ATTR {
    return hn::Add(hn::Add(hn::Mul(m[row], vx), hn::Mul(m[row + 1], vy)), hn::Mul(m[row + 2], vz));
  };
  const Floats one = hn::Set(tag, 1.0F);
  const Doubles wideOne = hn::Set(wideTag, 1.0);
  const Doubles two = hn::Set(wideTag, 2.0);
  const Doubles k = hn::Set(wideTag, radialCoeff);
  const Floats bSquare = hn::Set(tag, angle * angle);
  const Doubles tanB = widen(hn::Set(tag, tangent));

  int i = 0;
  for (; i + lanes <= count; i += lanes) {
    const Floats a = hn::LoadU(tag, columns.angles.data() + i);
    const Doubles tanA = widen(hn::LoadU(tag, columns.tangents.data() + i));
    const Floats squaredAngle = hn::Add(hn::Mul(a, a), bSquare);
    const Doubles radial = hn::Add(hn::Mul(widen(squaredAngle), k), wideOne);
    const Floats u = narrow(hn::Mul(tanA, radial));
    const Floats v = narrow(hn::Mul(tanB, radial));

    const Floats q = hn::Add(hn::Mul(u, u), hn::Mul(v, v));
    const Floats t = hn::Add(q, one);
    const Floats sphereX = narrow(hn::Div(hn::Mul(two, widen(u)), widen(t)));
    const Floats sphereY = narrow(hn::Div(hn::Mul(two, widen(v)), widen(t)));
    const Floats sphereZ = hn::Div(hn::Sub(one, q), t);

    const Floats depth = hn::Add(rotated(6, sphereX, sphereY, sphereZ), one);
    hn::StoreU(hn::Div(rotated(0, sphereX, sphereY, sphereZ), depth), tag, x + i);
    hn::StoreU(hn::Div(rotated(3, sphereX, sphereY, sphereZ), depth), tag, y + i);
  }
  return i;
}

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::DistortCorrect {
namespace {
HWY_EXPORT(projectVectors);
}

AngleAxis::AngleAxis(int size, double pixelsPerRadian) {
  const double middle = size * 0.5;
  angles.reserve(static_cast<std::size_t>(size));
  tangents.reserve(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i) {
    const auto angle = static_cast<float>((i - middle) / pixelsPerRadian);
    angles.push_back(angle);
    tangents.push_back(std::tan(angle));
  }
}

AngularView::AngularView(AngleAxis columns,
                         AngleAxis rows,
                         const Matrix3f& rotation,
                         double radialCoeff)
    : columns_(std::move(columns)),
      rows_(std::move(rows)),
      rotation_(rotation),
      radialCoeff_(radialCoeff) {}

cv::Point2f AngularView::planeFromPixel(int row, int col) const {
  const float a = columns_.angles[static_cast<std::size_t>(col)];
  const float b = rows_.angles[static_cast<std::size_t>(row)];
  const double tanA = columns_.tangents[static_cast<std::size_t>(col)];
  const double tanB = rows_.tangents[static_cast<std::size_t>(row)];
  const float squaredAngle = a * a + b * b;
  const double radial = static_cast<double>(squaredAngle) * radialCoeff_ + 1.0;
  const auto u = static_cast<float>(tanA * radial);
  const auto v = static_cast<float>(tanB * radial);

  const float q = u * u + v * v;
  const float t = q + 1.0F;
  const auto sphereX = static_cast<float>(2.0 * static_cast<double>(u) / static_cast<double>(t));
  const auto sphereY = static_cast<float>(2.0 * static_cast<double>(v) / static_cast<double>(t));
  const float sphereZ = (1.0F - q) / t;

  const Matrix3f& m = rotation_;
  const float x = m[0] * sphereX + m[1] * sphereY + m[2] * sphereZ;
  const float y = m[3] * sphereX + m[4] * sphereY + m[5] * sphereZ;
  const float z = m[6] * sphereX + m[7] * sphereY + m[8] * sphereZ;
  return {x / (z + 1.0F), y / (z + 1.0F)};
}

void AngularView::planeFromRow(int row, float* x, float* y) const {
  const int count = static_cast<int>(columns_.angles.size());
  for (int col = projectVectors(row, x, y); col < count; ++col) {
    const cv::Point2f point = planeFromPixel(row, col);
    x[col] = point.x;
    y[col] = point.y;
  }
}

int AngularView::projectVectors(int row, float* x, float* y) const {
  const auto index = static_cast<std::size_t>(row);
  return HWY_DYNAMIC_DISPATCH(projectVectors)(
      columns_, rows_.angles[index], rows_.tangents[index], radialCoeff_, rotation_, x, y);
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
#endif  // HWY_ONCE
