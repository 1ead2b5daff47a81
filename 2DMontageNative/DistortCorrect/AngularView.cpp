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

#ifndef ORV_MONTAGE_DISTORT_CORRECT_ANGULAR_VIEW_CPP
#define ORV_MONTAGE_DISTORT_CORRECT_ANGULAR_VIEW_CPP
namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// Neighbouring columns of the horizontal axis.
struct ColumnAngles {
  const float* angles;
  const float* tangents;
  int count;

  ColumnAngles(const AngleAxis& axis, const cv::Range& columns)
      : angles(axis.angles.data() + columns.start),
        tangents(axis.tangents.data() + columns.start),
        count(columns.size()) {}
};

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect
#endif  // ORV_MONTAGE_DISTORT_CORRECT_ANGULAR_VIEW_CPP

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::DistortCorrect::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

/// Without vectors every point is left to the scalar formula.
int extentOfVectors(const ColumnAngles&, float, float, double, const Matrix3f&, Extent&) {
  return 0;
}
int placeVectors(const ColumnAngles&,
                 float,
                 float,
                 double,
                 const Matrix3f&,
                 const PlanePlacement&,
                 float*,
                 float*) {
  return 0;
}

#else

using FloatTag = hn::ScalableTag<float>;
using HalfTag = hn::Half<FloatTag>;
using DoubleTag = hn::Repartition<double, FloatTag>;
using Floats = hn::Vec<FloatTag>;
using Doubles = hn::Vec<DoubleTag>;

/// `formula` on both halves of a vector in double precision, rounded back.
template <class Formula>
HWY_INLINE Floats inDouble(Floats v, const Formula& formula) {
  const auto half = [&](hn::Vec<HalfTag> part) HWY_ATTR {
    return hn::DemoteTo(HalfTag(), formula(hn::PromoteTo(DoubleTag(), part)));
  };
  return hn::Combine(
      FloatTag(), half(hn::UpperHalf(HalfTag(), v)), half(hn::LowerHalf(HalfTag(), v)));
}

/// Projects the whole vectors of a row, hands each to `take(first column, x, y)` and returns how
/// many pixels they held.
///
/// The quotients of the lift are formed in single precision: a quotient of floats that is rounded
/// to double and then to float is the quotient rounded to float at once.
template <class Take>
HWY_INLINE int projectVectors(const ColumnAngles& columns,
                              float angle,
                              float tangent,
                              double radialCoeff,
                              const Matrix3f& rotation,
                              const Take& take) {
  const FloatTag tag;
  const DoubleTag wideTag;
  const HalfTag halfTag;
  const int lanes = static_cast<int>(hn::Lanes(tag));
  Floats m[9];
  for (std::size_t i = 0; i < rotation.size(); ++i) {
    m[i] = hn::Set(tag, rotation[i]);
  }
  const auto rotated = [&m](std::size_t row, Floats vx, Floats vy, Floats vz) HWY_ATTR {
    return hn::Add(hn::Add(hn::Mul(m[row], vx), hn::Mul(m[row + 1], vy)), hn::Mul(m[row + 2], vz));
  };
  const Floats one = hn::Set(tag, 1.0F);
  const Floats two = hn::Set(tag, 2.0F);
  const Doubles wideOne = hn::Set(wideTag, 1.0);
  const Doubles k = hn::Set(wideTag, radialCoeff);
  const Floats bSquare = hn::Set(tag, angle * angle);
  const Doubles tanB = hn::Set(wideTag, static_cast<double>(tangent));

  int i = 0;
  for (; i + lanes <= columns.count; i += lanes) {
    const Floats a = hn::LoadU(tag, columns.angles + i);
    const Floats tanA = hn::LoadU(tag, columns.tangents + i);
    const Floats squaredAngle = hn::Add(hn::Mul(a, a), bSquare);
    const auto radial = [&](hn::Vec<HalfTag> squared) HWY_ATTR {
      return hn::Add(hn::Mul(hn::PromoteTo(wideTag, squared), k), wideOne);
    };
    const Doubles lowRadial = radial(hn::LowerHalf(halfTag, squaredAngle));
    const Doubles highRadial = radial(hn::UpperHalf(halfTag, squaredAngle));
    const auto times = [&](Doubles low, Doubles high) HWY_ATTR {
      return hn::Combine(tag,
                         hn::DemoteTo(halfTag, hn::Mul(high, highRadial)),
                         hn::DemoteTo(halfTag, hn::Mul(low, lowRadial)));
    };
    const Floats u = times(hn::PromoteTo(wideTag, hn::LowerHalf(halfTag, tanA)),
                           hn::PromoteTo(wideTag, hn::UpperHalf(halfTag, tanA)));
    const Floats v = times(tanB, tanB);

    const Floats q = hn::Add(hn::Mul(u, u), hn::Mul(v, v));
    const Floats t = hn::Add(q, one);
    const Floats sphereX = hn::Div(hn::Mul(two, u), t);
    const Floats sphereY = hn::Div(hn::Mul(two, v), t);
    const Floats sphereZ = hn::Div(hn::Sub(one, q), t);

    const Floats depth = hn::Add(rotated(6, sphereX, sphereY, sphereZ), one);
    take(i,
         hn::Div(rotated(0, sphereX, sphereY, sphereZ), depth),
         hn::Div(rotated(3, sphereX, sphereY, sphereZ), depth));
  }
  return i;
}

int extentOfVectors(const ColumnAngles& columns,
                    float angle,
                    float tangent,
                    double radialCoeff,
                    const Matrix3f& rotation,
                    Extent& extent) {
  const FloatTag tag;
  Floats minX = hn::Set(tag, extent.minX), maxX = hn::Set(tag, extent.maxX);
  Floats minY = hn::Set(tag, extent.minY), maxY = hn::Set(tag, extent.maxY);
  const int done = projectVectors(
      columns, angle, tangent, radialCoeff, rotation, [&](int, Floats x, Floats y) HWY_ATTR {
        // The second operand is what a comparison with NaN gives.
        minX = hn::Min(x, minX);
        maxX = hn::Max(x, maxX);
        minY = hn::Min(y, minY);
        maxY = hn::Max(y, maxY);
      });
  extent = {hn::GetLane(hn::MinOfLanes(tag, minX)),
            hn::GetLane(hn::MaxOfLanes(tag, maxX)),
            hn::GetLane(hn::MinOfLanes(tag, minY)),
            hn::GetLane(hn::MaxOfLanes(tag, maxY))};
  return done;
}

int placeVectors(const ColumnAngles& columns,
                 float angle,
                 float tangent,
                 double radialCoeff,
                 const Matrix3f& rotation,
                 const PlanePlacement& placement,
                 float* HWY_RESTRICT xs,
                 float* HWY_RESTRICT ys) {
  const FloatTag tag;
  const DoubleTag wideTag;
  const Doubles scale = hn::Set(wideTag, placement.scale);
  const auto placed = [&](Floats v, double middle, double centre) HWY_ATTR {
    const Doubles from = hn::Set(wideTag, middle);
    const Doubles to = hn::Set(wideTag, centre);
    return inDouble(
        v, [&](Doubles wide) HWY_ATTR { return hn::Add(hn::Mul(hn::Sub(wide, from), scale), to); });
  };
  return projectVectors(
      columns, angle, tangent, radialCoeff, rotation, [&](int i, Floats x, Floats y) HWY_ATTR {
        hn::StoreU(placed(x, placement.middle.x, placement.centre.x), tag, xs + i);
        hn::StoreU(placed(y, placement.middle.y, placement.centre.y), tag, ys + i);
      });
}

#endif  // HWY_TARGET

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::DistortCorrect {
namespace {
HWY_EXPORT(extentOfVectors);
HWY_EXPORT(placeVectors);
}  // namespace

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

Extent AngularView::extentOfRow(int row) const {
  const auto index = static_cast<std::size_t>(row);
  const cv::Range columns(0, static_cast<int>(columns_.angles.size()));
  Extent extent;
  int col = HWY_DYNAMIC_DISPATCH(extentOfVectors)(ColumnAngles(columns_, columns),
                                                  rows_.angles[index],
                                                  rows_.tangents[index],
                                                  radialCoeff_,
                                                  rotation_,
                                                  extent);
  for (; col < columns.end; ++col) {
    const cv::Point2f point = planeFromPixel(row, col);
    extent.add(point.x, point.y);
  }
  return extent;
}

void AngularView::placeRow(
    int row, const cv::Range& columns, const PlanePlacement& placement, float* x, float* y) const {
  const auto placed = [&placement](double value, double middle, double centre) {
    return static_cast<float>((value - middle) * placement.scale + centre);
  };
  const auto index = static_cast<std::size_t>(row);
  const int done = HWY_DYNAMIC_DISPATCH(placeVectors)(ColumnAngles(columns_, columns),
                                                      rows_.angles[index],
                                                      rows_.tangents[index],
                                                      radialCoeff_,
                                                      rotation_,
                                                      placement,
                                                      x,
                                                      y);
  for (int i = done; i < columns.size(); ++i) {
    const cv::Point2f point = planeFromPixel(row, columns.start + i);
    x[i] = placed(point.x, placement.middle.x, placement.centre.x);
    y[i] = placed(point.y, placement.middle.y, placement.centre.y);
  }
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
#endif  // HWY_ONCE
