// SPDX-License-Identifier: MIT
#include "DistortCorrect/PlaneProjection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "DistortCorrect/PlaneProjection.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::DistortCorrect::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
/// Without vectors every point is left to the scalar formula.
int mapVectors(const PlaneProjection&, const float*, int, float, float*, float*, Extent&) {
  return 0;
}
#else

using FloatTag = hn::ScalableTag<float>;
using Floats = hn::Vec<FloatTag>;
using DoubleTag = hn::Repartition<double, FloatTag>;
using Doubles = hn::Vec<DoubleTag>;

/// LensModel::factor of one vector.
struct VectorLens {
  Doubles squareCoeff;
  Doubles constant;

  [[nodiscard]] HWY_ATTR Floats factor(Floats squaredRadius) const {
    const FloatTag tag;
    const hn::Half<FloatTag> halfTag;
    const auto lower = half(hn::LowerHalf(halfTag, squaredRadius));
    const auto upper = half(hn::UpperHalf(halfTag, squaredRadius));
    return hn::Combine(tag, upper, lower);
  }

 private:
  [[nodiscard]] HWY_ATTR hn::Vec<hn::Half<FloatTag> > half(
      hn::Vec<hn::Half<FloatTag> > squaredRadius) const {
    const Doubles wide = hn::PromoteTo(DoubleTag(), squaredRadius);
    return hn::DemoteTo(hn::Half<FloatTag>(), hn::Add(hn::Mul(wide, squareCoeff), constant));
  }
};

/// Maps whole vectors of the row and returns how many points they held.
template <Lift lift, bool rotated>
HWY_ATTR int mapWholeVectors(const PlaneProjection& projection,
                             const float* HWY_RESTRICT xs,
                             int count,
                             float yScalar,
                             float* HWY_RESTRICT cols,
                             float* HWY_RESTRICT rows,
                             Extent& extent) {
  const FloatTag tag;
  const int lanes = static_cast<int>(hn::Lanes(tag));
  const auto all = [&](float value) HWY_ATTR { return hn::Set(tag, value); };
  const Matrix3f& m = projection.rotation;
  const Floats m00 = all(m[0]), m01 = all(m[1]), m02 = all(m[2]);
  const Floats m10 = all(m[3]), m11 = all(m[4]), m12 = all(m[5]);
  const VectorLens lens{hn::Set(DoubleTag(), projection.lens.squareCoeff),
                        hn::Set(DoubleTag(), projection.lens.constant)};
  const Floats colExtent = all(projection.columns.extent);
  const Floats colFactor = all(projection.columns.factor);
  const Floats rowExtent = all(projection.rows.extent);
  const Floats rowFactor = all(projection.rows.factor);
  const Floats one = all(1.0F);
  const Floats two = all(2.0F);
  const Floats y = all(yScalar);
  const Floats ySquare = hn::Mul(y, y);
  Floats minCol = all(extent.minX), maxCol = all(extent.maxX);
  Floats minRow = all(extent.minY), maxRow = all(extent.maxY);

  int i = 0;
  for (; i + lanes <= count; i += lanes) {
    const Floats x = hn::LoadU(tag, xs + i);
    const Floats squaredRadius = hn::Add(hn::Mul(x, x), ySquare);
    const Floats t = hn::Div(one, hn::Add(squaredRadius, one));
    Floats lensX = hn::Mul(lift == Lift::kStereographic ? hn::Mul(two, x) : x, t);
    Floats lensY = hn::Mul(lift == Lift::kStereographic ? hn::Mul(two, y) : y, t);
    if constexpr (rotated) {
      const Floats lensZ =
          lift == Lift::kStereographic ? hn::Mul(hn::Sub(one, squaredRadius), t) : t;
      const Floats viewX = lensX;
      const Floats viewY = lensY;
      lensX = hn::Add(hn::Add(hn::Mul(m00, viewX), hn::Mul(m01, viewY)), hn::Mul(m02, lensZ));
      lensY = hn::Add(hn::Add(hn::Mul(m10, viewX), hn::Mul(m11, viewY)), hn::Mul(m12, lensZ));
    }
    const Floats f = lens.factor(hn::Add(hn::Mul(lensX, lensX), hn::Mul(lensY, lensY)));
    const Floats col = hn::Mul(hn::Mul(hn::Add(hn::Mul(lensX, f), one), colExtent), colFactor);
    const Floats row = hn::Mul(hn::Mul(hn::Add(hn::Mul(lensY, f), one), rowExtent), rowFactor);
    hn::StoreU(col, tag, cols + i);
    hn::StoreU(row, tag, rows + i);
    // The second operand is what a comparison with NaN gives.
    minCol = hn::Min(col, minCol);
    maxCol = hn::Max(col, maxCol);
    minRow = hn::Min(row, minRow);
    maxRow = hn::Max(row, maxRow);
  }
  extent = {hn::GetLane(hn::MinOfLanes(tag, minCol)),
            hn::GetLane(hn::MaxOfLanes(tag, maxCol)),
            hn::GetLane(hn::MinOfLanes(tag, minRow)),
            hn::GetLane(hn::MaxOfLanes(tag, maxRow))};
  return i;
}

template <Lift lift>
int mapLifted(const PlaneProjection& projection,
              const float* xs,
              int count,
              float y,
              float* cols,
              float* rows,
              Extent& extent) {
  return projection.rotated
             ? mapWholeVectors<lift, true>(projection, xs, count, y, cols, rows, extent)
             : mapWholeVectors<lift, false>(projection, xs, count, y, cols, rows, extent);
}

int mapVectors(const PlaneProjection& projection,
               const float* xs,
               int count,
               float y,
               float* cols,
               float* rows,
               Extent& extent) {
  return projection.lift == Lift::kStereographic
             ? mapLifted<Lift::kStereographic>(projection, xs, count, y, cols, rows, extent)
             : mapLifted<Lift::kRect>(projection, xs, count, y, cols, rows, extent);
}
#endif  // HWY_TARGET

}  // namespace
}  // namespace ORV::Common::Algorithms::DistortCorrect::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::DistortCorrect {
namespace {
HWY_EXPORT(mapVectors);
}

LensModel::LensModel(double halfFieldAngle, double cubicCoeff, double linearCoeff)
    : squareCoeff(cubicCoeff / std::sin(halfFieldAngle)),
      constant(linearCoeff / std::sin(halfFieldAngle)) {}

PlaneProjection::PlaneProjection(Lift howLifted,
                                 const LensModel& lensModel,
                                 const Orientation& orientation,
                                 PixelAxis sourceColumns,
                                 PixelAxis sourceRows)
    : lift(howLifted),
      rotated(orientation.rotates()),
      rotation(rotated ? lensFromView(orientation) : Matrix3f{}),
      lens(lensModel),
      columns(sourceColumns),
      rows(sourceRows) {}

bool PlaneProjection::hasFinitePositions() const {
  const auto isFinite = [](double value) { return std::isfinite(value); };
  // The rotation's last row gives the depth, which positions do not depend on.
  constexpr std::size_t kUsedEntries = 6;
  return isFinite(lens.squareCoeff) && isFinite(lens.constant) &&
         (!rotated || std::all_of(rotation.begin(), rotation.begin() + kUsedEntries, isFinite));
}

SourcePosition PlaneProjection::sourceFromPlane(float x, float y) const {
  const float squaredRadius = x * x + y * y;
  const float t = 1.0F / (squaredRadius + 1.0F);
  const bool stereographic = lift == Lift::kStereographic;
  float lensX = (stereographic ? 2.0F * x : x) * t;
  float lensY = (stereographic ? 2.0F * y : y) * t;
  if (rotated) {
    const float lensZ = stereographic ? (1.0F - squaredRadius) * t : t;
    const float viewX = lensX;
    const float viewY = lensY;
    lensX = rotation[0] * viewX + rotation[1] * viewY + rotation[2] * lensZ;
    lensY = rotation[3] * viewX + rotation[4] * viewY + rotation[5] * lensZ;
  }
  const float f = lens.factor(lensX * lensX + lensY * lensY);
  return {(lensX * f + 1.0F) * columns.extent * columns.factor,
          (lensY * f + 1.0F) * rows.extent * rows.factor};
}

void PlaneProjection::sourceFromPlaneRow(
    const float* xs, int count, float y, float* cols, float* sourceRows, Extent& extent) const {
  const int done = HWY_DYNAMIC_DISPATCH(mapVectors)(*this, xs, count, y, cols, sourceRows, extent);
  for (int i = done; i < count; ++i) {
    const SourcePosition position = sourceFromPlane(xs[i], y);
    cols[i] = position.col;
    sourceRows[i] = position.row;
    extent.add(position.col, position.row);
  }
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
#endif  // HWY_ONCE
