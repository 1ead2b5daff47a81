// SPDX-License-Identifier: MIT
#include "Registration/SurfHessian.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Registration/SurfHessian.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

/// `boxResponse` at one entry per lane of a vector of doubles: product in float, sum in double.
template <class Doubles, std::size_t n>
HWY_INLINE auto boxResponses(Doubles doubles,
                             const std::array<Box, n>& boxes,
                             const std::uint32_t* origin) {
  const hn::Rebind<float, Doubles> floats;
  const hn::Rebind<std::int32_t, Doubles> ints;
  const hn::Rebind<std::uint32_t, Doubles> sums;
  auto response = hn::Zero(doubles);
  for (const Box& box : boxes) {
    const auto main =
        hn::Add(hn::LoadU(sums, origin + box.topLeft), hn::LoadU(sums, origin + box.bottomRight));
    const auto anti =
        hn::Add(hn::LoadU(sums, origin + box.topRight), hn::LoadU(sums, origin + box.bottomLeft));
    const auto sum = hn::ConvertTo(floats, hn::BitCast(ints, hn::Sub(main, anti)));
    const auto mean = hn::Mul(sum, hn::Set(floats, box.factor));
    response = hn::Add(response, hn::PromoteTo(doubles, mean));
  }
  return hn::DemoteTo(floats, response);
}

void determinants(const HessianFilter& filter,
                  const std::uint32_t* origin,
                  int count,
                  float* result) {
  const hn::ScalableTag<double> doubles;
  const hn::Rebind<float, decltype(doubles)> floats;
  // Balances the box approximation of the mixed derivative: 0.9^2.
  const auto mixedWeight = hn::Set(floats, 0.81F);
  const int lanes = static_cast<int>(hn::Lanes(doubles));
  for (int i = 0; i < count; i += lanes) {
    const auto xx = boxResponses(doubles, filter.xx, origin + i);
    const auto yy = boxResponses(doubles, filter.yy, origin + i);
    const auto xy = boxResponses(doubles, filter.xy, origin + i);
    const auto mixed = hn::Mul(hn::Mul(mixedWeight, xy), xy);
    hn::StoreU(hn::Sub(hn::Mul(xx, yy), mixed), floats, result + i);
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kPatternSide = 9;
constexpr std::array<PatternBox, 3> kPatternXx = {
    {{0, 2, 3, 7, 1.0F}, {3, 2, 6, 7, -2.0F}, {6, 2, 9, 7, 1.0F}}};
constexpr std::array<PatternBox, 3> kPatternYy = {
    {{2, 0, 7, 3, 1.0F}, {2, 3, 7, 6, -2.0F}, {2, 6, 7, 9, 1.0F}}};
constexpr std::array<PatternBox, 4> kPatternXy = {
    {{1, 1, 4, 4, 1.0F}, {5, 1, 8, 4, -1.0F}, {1, 5, 4, 8, -1.0F}, {5, 5, 8, 8, 1.0F}}};

float ratioToPattern(int size) {
  return static_cast<float>(size) / static_cast<float>(kPatternSide);
}

HWY_EXPORT(determinants);

}  // namespace

HessianFilter::HessianFilter(int size, const IntegralImage& image)
    : xx(scaledBoxes(kPatternXx, ratioToPattern(size), image)),
      yy(scaledBoxes(kPatternYy, ratioToPattern(size), image)),
      xy(scaledBoxes(kPatternXy, ratioToPattern(size), image)) {}

int HessianFilter::laplacianSign(const std::uint32_t* origin) const {
  const float laplacian = boxResponse(xx, origin) + boxResponse(yy, origin);
  return static_cast<int>(laplacian > 0.0F) - static_cast<int>(laplacian < 0.0F);
}

void hessianDeterminants(const HessianFilter& filter,
                         const std::uint32_t* origin,
                         int count,
                         float* determinants) {
  HWY_DYNAMIC_DISPATCH(determinants)(filter, origin, count, determinants);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
#endif  // HWY_ONCE
