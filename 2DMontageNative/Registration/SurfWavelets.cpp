// SPDX-License-Identifier: MIT
#include "Registration/SurfWavelets.h"

#include <cfloat>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Registration/SurfWavelets.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

#ifndef ORV_MONTAGE_REGISTRATION_SURF_WAVELETS_CPP
#define ORV_MONTAGE_REGISTRATION_SURF_WAVELETS_CPP
namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kPatternSide = 4;
constexpr std::array<PatternBox, 2> kPatternX = {{{0, 0, 2, 4, -1.0F}, {2, 0, 4, 4, 1.0F}}};
constexpr std::array<PatternBox, 2> kPatternY = {{{0, 0, 4, 2, 1.0F}, {0, 2, 4, 4, -1.0F}}};

/// Both wavelets of one side; their four boxes share most of their corners.
struct Wavelets {
  enum Corner { kTopLeft, kTop, kTopRight, kLeft, kRight, kBottomLeft, kBottom, kBottomRight };
  static constexpr std::size_t kCorners = 8;

  Wavelets(int side, const IntegralImage& image)
      : x(scaledBoxes(kPatternX, ratio(side), image)),
        y(scaledBoxes(kPatternY, ratio(side), image)),
        corners{x[0].topLeft,
                x[0].topRight,
                x[1].topRight,
                y[0].bottomLeft,
                y[0].bottomRight,
                x[0].bottomLeft,
                x[0].bottomRight,
                x[1].bottomRight} {}

  static float ratio(int side) {
    return static_cast<float>(side) / static_cast<float>(kPatternSide);
  }

  std::array<Box, 2> x;
  std::array<Box, 2> y;
  std::array<std::ptrdiff_t, kCorners> corners;  ///< offsets in the table, in the order of Corner
};

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
#endif  // ORV_MONTAGE_REGISTRATION_SURF_WAVELETS_CPP

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, 16>;
using Ints = hn::RebindToSigned<Floats>;
using Sums = hn::RebindToUnsigned<Floats>;
using Float = hn::Vec<Floats>;
using Int = hn::Vec<Ints>;

/// `cv::fastAtan2` in degrees.
HWY_INLINE Float fastArcTangent(Float y, Float x) {
  const Floats d;
  const auto all = [d](float value) HWY_ATTR { return hn::Set(d, value); };
  constexpr auto kDegrees = static_cast<float>(180 / CV_PI);
  const Float p1 = all(0.9997878412794807F * kDegrees);
  const Float p3 = all(-0.3258083974640975F * kDegrees);
  const Float p5 = all(0.1555786518463281F * kDegrees);
  const Float p7 = all(-0.04432655554792128F * kDegrees);
  const Float ax = hn::Abs(x);
  const Float ay = hn::Abs(y);
  const auto steep = hn::Lt(ax, ay);
  const Float longer = hn::IfThenElse(steep, ay, ax);
  const Float shorter = hn::IfThenElse(steep, ax, ay);
  const Float c = hn::Div(shorter, hn::Add(longer, all(static_cast<float>(DBL_EPSILON))));
  const Float c2 = hn::Mul(c, c);
  Float a = hn::Add(hn::Mul(p7, c2), p5);
  a = hn::Add(hn::Mul(a, c2), p3);
  a = hn::Add(hn::Mul(a, c2), p1);
  a = hn::Mul(a, c);
  a = hn::IfThenElse(steep, hn::Sub(all(90.0F), a), a);
  a = hn::IfThenElse(hn::Lt(x, hn::Zero(d)), hn::Sub(all(180.0F), a), a);
  return hn::IfThenElse(hn::Lt(y, hn::Zero(d)), hn::Sub(all(360.0F), a), a);
}

/// Entries of the table around one wavelet per lane.
struct CornerSums {
  static constexpr std::size_t kLanes = hn::MaxLanes(Floats());

  HWY_ALIGN std::uint32_t corner[Wavelets::kCorners][kLanes];

  [[nodiscard]] HWY_INLINE hn::Vec<Sums> at(Wavelets::Corner which) const {
    return hn::Load(Sums(), corner[which]);
  }

  /// Weight times the mean of a box; rounded as `Box::mean`.
  [[nodiscard]] HWY_INLINE Float mean(const Box& box,
                                      Wavelets::Corner topLeft,
                                      Wavelets::Corner topRight,
                                      Wavelets::Corner bottomLeft,
                                      Wavelets::Corner bottomRight) const {
    const auto sum =
        hn::Sub(hn::Add(at(topLeft), at(bottomRight)), hn::Add(at(topRight), at(bottomLeft)));
    return hn::Mul(hn::ConvertTo(Floats(), hn::BitCast(Ints(), sum)),
                   hn::Set(Floats(), box.factor));
  }
};

void evaluate(const IntegralImage& integral,
              const WaveletDisc& disc,
              const Wavelets& wavelets,
              int side,
              cv::Point2f centre,
              float scale,
              WaveletResponses& responses) {
  using W = Wavelets;
  const Floats d;
  const Ints di;
  const std::size_t lanes = hn::Lanes(d);
  const Float toCorner = hn::Set(d, static_cast<float>(side - 1) / 2);
  const Int endX = hn::Set(di, integral.cols() + 1 - side);
  const Int endY = hn::Set(di, integral.rows() + 1 - side);
  const Int none = hn::Set(di, -1);
  const auto placed = [&](float middle, const float* positions) HWY_ATTR {
    const Float moved = hn::Mul(hn::Load(d, positions), hn::Set(d, scale));
    return hn::NearestInt(hn::Sub(hn::Add(hn::Set(d, middle), moved), toCorner));
  };
  CornerSums sums;
  HWY_ALIGN std::int32_t columns[CornerSums::kLanes];
  HWY_ALIGN std::int32_t rows[CornerSums::kLanes];
  for (std::size_t first = 0; first < disc.count; first += lanes) {
    // 1. Where they lie.
    const Int x = placed(centre.x, disc.x.data() + first);
    const Int y = placed(centre.y, disc.y.data() + first);
    const auto inside = hn::And(hn::And(hn::Gt(x, none), hn::Lt(x, endX)),
                                hn::And(hn::Gt(y, none), hn::Lt(y, endY)));
    hn::Store(hn::IfThenElseZero(inside, x), di, columns);
    hn::Store(hn::IfThenElseZero(inside, y), di, rows);

    // 2. The table around them. One by one: gather instructions are no faster.
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      const std::uint32_t* const origin = integral.at(rows[lane], columns[lane]);
      for (std::size_t k = 0; k < W::kCorners; ++k) {
        sums.corner[k][lane] = origin[wavelets.corners[k]];
      }
    }

    // 3. Responses and directions. A sum of two floats needs no double precision on the way.
    const Float weight = hn::Load(d, disc.weight.data() + first);
    const Float left = sums.mean(wavelets.x[0], W::kTopLeft, W::kTop, W::kBottomLeft, W::kBottom);
    const Float right =
        sums.mean(wavelets.x[1], W::kTop, W::kTopRight, W::kBottom, W::kBottomRight);
    const Float upper = sums.mean(wavelets.y[0], W::kTopLeft, W::kTopRight, W::kLeft, W::kRight);
    const Float lower =
        sums.mean(wavelets.y[1], W::kLeft, W::kRight, W::kBottomLeft, W::kBottomRight);
    const Float responseX = hn::Mul(hn::Add(left, right), weight);
    const Float responseY = hn::Mul(hn::Add(upper, lower), weight);
    hn::Store(responseX, d, responses.x.data() + first);
    hn::Store(responseY, d, responses.y.data() + first);
    const Int degrees = hn::NearestInt(fastArcTangent(responseY, responseX));
    hn::Store(hn::IfThenElse(inside, degrees, hn::Set(di, WaveletResponses::kOutside)),
              di,
              responses.degrees.data() + first);
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::Montage::Registration {
namespace {
HWY_EXPORT(evaluate);
}

void evaluateWavelets(const IntegralImage& integral,
                      const WaveletDisc& disc,
                      cv::Point2f centre,
                      float scale,
                      WaveletResponses& responses) {
  const int side = 2 * cvRound(2 * scale);
  if (side > integral.cols() || side > integral.rows()) {
    responses.degrees.fill(WaveletResponses::kOutside);
    return;
  }
  HWY_DYNAMIC_DISPATCH(evaluate)
  (integral, disc, Wavelets(side, integral), side, centre, scale, responses);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
#endif  // HWY_ONCE
