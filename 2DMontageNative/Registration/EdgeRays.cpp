// SPDX-License-Identifier: MIT
#include "Registration/EdgeRays.h"

#include <algorithm>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Registration/EdgeRays.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Tag = hn::CappedTag<double, 8>;
using Doubles = hn::Vec<Tag>;

struct Ray {
  Doubles x;
  Doubles y;
  Doubles z;
};

/// `unitRay` of the pixels from i on.
HWY_INLINE Ray rayAt(const cv::Matx33d& H, const PixelColumns& pixels, std::size_t i) {
  const Tag d;
  const Doubles px = hn::LoadU(d, pixels.x.data() + i);
  const Doubles py = hn::LoadU(d, pixels.y.data() + i);
  const auto row = [&](int r) HWY_ATTR {
    return hn::Add(hn::Add(hn::Mul(hn::Set(d, H(r, 0)), px), hn::Mul(hn::Set(d, H(r, 1)), py)),
                   hn::Set(d, H(r, 2)));
  };
  const Doubles x = row(0), y = row(1), z = row(2);
  const Doubles length = hn::Sqrt(hn::Add(hn::Add(hn::Mul(x, x), hn::Mul(y, y)), hn::Mul(z, z)));
  return {hn::Div(x, length), hn::Div(y, length), hn::Div(z, length)};
}

void raysOfAll(const cv::Matx33d& H, const PixelColumns& pixels, RayColumns& rays) {
  const Tag d;
  for (std::size_t i = 0; i < pixels.x.size(); i += hn::Lanes(d)) {
    const Ray ray = rayAt(H, pixels, i);
    hn::StoreU(ray.x, d, rays.x.data() + i);
    hn::StoreU(ray.y, d, rays.y.data() + i);
    hn::StoreU(ray.z, d, rays.z.data() + i);
  }
}

void differentiateAll(const RayMap& below,
                      const RayMap& above,
                      const PixelColumns& changing,
                      const RayColumns& constant,
                      bool changingIsFirst,
                      double width,
                      double* derivatives,
                      std::size_t stride) {
  const Tag d;
  constexpr std::size_t kAxes = 3;
  const Doubles scaleBelow = hn::Set(d, below.pixelsPerRay);
  const Doubles scaleAbove = hn::Set(d, above.pixelsPerRay);
  const auto quotient = [&](Doubles rayBelow, Doubles rayAbove, const double* other) HWY_ATTR {
    const Doubles still = hn::LoadU(d, other);
    const auto error = [&](Doubles ray, Doubles scale) HWY_ATTR {
      return hn::Mul(scale, changingIsFirst ? hn::Sub(ray, still) : hn::Sub(still, ray));
    };
    return hn::Div(hn::Sub(error(rayAbove, scaleAbove), error(rayBelow, scaleBelow)),
                   hn::Set(d, width));
  };
  HWY_ALIGN double axes[kAxes][8];
  for (std::size_t i = 0; i < changing.count; i += hn::Lanes(d)) {
    const Ray rayBelow = rayAt(below.rayFromPixel, changing, i);
    const Ray rayAbove = rayAt(above.rayFromPixel, changing, i);
    hn::Store(quotient(rayBelow.x, rayAbove.x, constant.x.data() + i), d, axes[0]);
    hn::Store(quotient(rayBelow.y, rayAbove.y, constant.y.data() + i), d, axes[1]);
    hn::Store(quotient(rayBelow.z, rayAbove.z, constant.z.data() + i), d, axes[2]);
    const std::size_t lanes = std::min(hn::Lanes(d), changing.count - i);
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      for (std::size_t axis = 0; axis < kAxes; ++axis) {
        derivatives[((i + lane) * kAxes + axis) * stride] = axes[axis][lane];
      }
    }
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::Montage::Registration {
namespace {
HWY_EXPORT(raysOfAll);
HWY_EXPORT(differentiateAll);
constexpr std::size_t kPadding = 8;
}  // namespace

PixelColumns::PixelColumns(const std::vector<cv::Point2f>& points) : count(points.size()) {
  const std::size_t padded = (count + kPadding - 1) / kPadding * kPadding;
  x.resize(padded);
  y.resize(padded);
  for (std::size_t i = 0; i < count; ++i) {
    x[i] = static_cast<double>(points[i].x);
    y[i] = static_cast<double>(points[i].y);
  }
}

RayColumns unitRays(const cv::Matx33d& rayFromPixel, const PixelColumns& pixels) {
  const std::size_t padded = pixels.x.size();
  RayColumns rays{
      std::vector<double>(padded), std::vector<double>(padded), std::vector<double>(padded)};
  HWY_DYNAMIC_DISPATCH(raysOfAll)(rayFromPixel, pixels, rays);
  return rays;
}

void differentiateRays(const RayMap& below,
                       const RayMap& above,
                       const PixelColumns& changing,
                       const RayColumns& constant,
                       bool changingIsFirst,
                       double width,
                       double* derivatives,
                       std::size_t stride) {
  HWY_DYNAMIC_DISPATCH(differentiateAll)
  (below, above, changing, constant, changingIsFirst, width, derivatives, stride);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
#endif  // HWY_ONCE
