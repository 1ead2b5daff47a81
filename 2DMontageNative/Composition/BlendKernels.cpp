// SPDX-License-Identifier: MIT
// Compiled once per instruction set.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Composition/BlendKernels.cpp"

#include "Composition/BlendKernels.h"

#include <hwy/foreach_target.h>  // must precede highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::Montage::Composition::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <class Real>
using Whole = hn::RebindToSigned<Real>;
template <class Real>
using Sum = hn::Rebind<std::int16_t, Real>;
template <class Real>
using Sample = hn::Rebind<std::uint8_t, Real>;

/// Runs `step(tag, offset)` over a row: vectors first, then what is left one by one.
template <class Step>
HWY_INLINE void forEachVector(int count, const Step& step) {
  const hn::ScalableTag<float> vector;
  const hn::CappedTag<float, 1> single;
  const int lanes = static_cast<int>(hn::Lanes(vector));
  int offset = 0;
  for (; offset + lanes <= count; offset += lanes) {
    step(vector, offset);
  }
  for (; offset < count; ++offset) {
    step(single, offset);
  }
}

/// Runs `step(tag, sample offset, weights)` over all samples of a vector of pixels.
template <int kChannels, class Real, class Step>
HWY_INLINE void forEachSample(Real real, int pixel, hn::Vec<Real> weights, const Step& step) {
  if constexpr (kChannels == 1) {
    step(real, pixel, weights);
  } else {
    HWY_ALIGN float repeated[kChannels * hn::MaxLanes(hn::ScalableTag<float>())];
    hn::StoreInterleaved3(weights, weights, weights, real, repeated);
    const int lanes = static_cast<int>(hn::Lanes(real));
    for (int part = 0; part < kChannels; ++part) {
      step(real, pixel * kChannels + part * lanes, hn::LoadU(real, repeated + part * lanes));
    }
  }
}

template <class Real>
HWY_INLINE hn::Vec<Real> loadSamples(Real real, const std::uint8_t* samples) {
  return hn::ConvertTo(real, hn::PromoteTo(Whole<Real>(), hn::LoadU(Sample<Real>(), samples)));
}

void applyGainRow(const GainRow& gains, std::uint8_t* samples, int count) {
  forEachVector(count, [&](auto real, int at) HWY_ATTR {
    using Real = decltype(real);
    const auto upper = hn::Mul(hn::LoadU(real, gains.upper + at), hn::Set(real, gains.upperShare));
    const auto lower = hn::Mul(hn::LoadU(real, gains.lower + at), hn::Set(real, gains.lowerShare));
    const auto product = hn::Mul(loadSamples(real, samples + at), hn::Add(upper, lower));
    const Sample<Real> sample;
    hn::StoreU(hn::DemoteTo(sample, hn::NearestInt(product)), sample, samples + at);
  });
}

template <int kChannels, bool kWithCoarse>
void addWeighted(const std::uint8_t* fine,
                 const std::uint8_t* coarse,
                 const float* weights,
                 std::int16_t* sums,
                 float* weightSums,
                 int width) {
  forEachVector(width, [&](auto real, int pixel) HWY_ATTR {
    using Real = decltype(real);
    const auto weight = hn::LoadU(real, weights + pixel);
    hn::StoreU(hn::Add(hn::LoadU(real, weightSums + pixel), weight), real, weightSums + pixel);
    forEachSample<kChannels>(real, pixel, weight, [&](auto, int at, auto sampleWeight) HWY_ATTR {
      const Sum<Real> sum;
      auto value = loadSamples(real, fine + at);
      if constexpr (kWithCoarse) {
        value = hn::Sub(value, loadSamples(real, coarse + at));
      }
      const auto product = hn::ConvertTo(Whole<Real>(), hn::Mul(value, sampleWeight));
      const auto addend = hn::DemoteTo(sum, product);
      hn::StoreU(hn::Add(hn::LoadU(sum, sums + at), addend), sum, sums + at);
    });
  });
}

void addWeightedRow(const std::uint8_t* fine,
                    const std::uint8_t* coarse,
                    const float* weights,
                    std::int16_t* sums,
                    float* weightSums,
                    int width,
                    int channels) {
  const bool grey = channels == 1;
  if (coarse == nullptr) {
    (grey ? addWeighted<1, false>
          : addWeighted<3, false>)(fine, coarse, weights, sums, weightSums, width);
  } else {
    (grey ? addWeighted<1, true>
          : addWeighted<3, true>)(fine, coarse, weights, sums, weightSums, width);
  }
}

template <int kChannels>
void addFine(const std::int16_t* fine,
             const std::int16_t* coarse,
             const float* weights,
             std::int16_t* sums,
             float* weightSums,
             int width) {
  forEachVector(width, [&](auto real, int pixel) HWY_ATTR {
    using Real = decltype(real);
    const auto weight = hn::LoadU(real, weights + pixel);
    hn::StoreU(hn::Add(hn::LoadU(real, weightSums + pixel), weight), real, weightSums + pixel);
    forEachSample<kChannels>(real, pixel, weight, [&](auto, int at, auto sampleWeight) HWY_ATTR {
      const Sum<Real> sum;
      const Whole<Real> whole;
      auto value = hn::PromoteTo(whole, hn::LoadU(sum, fine + at));
      if (coarse != nullptr) {
        value = hn::Sub(value, hn::PromoteTo(whole, hn::LoadU(sum, coarse + at)));
      }
      const auto product = hn::NearestInt(hn::Mul(hn::ConvertTo(real, value), sampleWeight));
      const auto total = hn::Add(product, hn::PromoteTo(whole, hn::LoadU(sum, sums + at)));
      hn::StoreU(hn::DemoteTo(sum, total), sum, sums + at);
    });
  });
}

void addFineRow(const std::int16_t* fine,
                const std::int16_t* coarse,
                const float* weights,
                std::int16_t* sums,
                float* weightSums,
                int width,
                int channels) {
  (channels == 1 ? addFine<1> : addFine<3>)(fine, coarse, weights, sums, weightSums, width);
}

template <int kChannels>
void divideFine(const float* weightSums, std::int16_t* sums, int width) {
  forEachVector(width, [&](auto real, int pixel) HWY_ATTR {
    using Real = decltype(real);
    const auto divisors =
        hn::Max(hn::LoadU(real, weightSums + pixel), hn::Set(real, kSmallestWeight));
    forEachSample<kChannels>(real, pixel, divisors, [&](auto, int at, auto divisor) HWY_ATTR {
      const Sum<Real> sum;
      const Whole<Real> whole;
      const auto dividend = hn::ConvertTo(real, hn::PromoteTo(whole, hn::LoadU(sum, sums + at)));
      const auto quotient = hn::NearestInt(hn::Div(dividend, divisor));
      hn::StoreU(hn::DemoteTo(sum, quotient), sum, sums + at);
    });
  });
}

void divideFineRow(const float* weightSums, std::int16_t* sums, int width, int channels) {
  (channels == 1 ? divideFine<1> : divideFine<3>)(weightSums, sums, width);
}

template <int kChannels>
void divideByWeight(const float* weightSums, std::int16_t* sums, int width) {
  forEachVector(width, [&](auto real, int pixel) HWY_ATTR {
    using Real = decltype(real);
    const auto divisors =
        hn::Add(hn::LoadU(real, weightSums + pixel), hn::Set(real, kSmallestWeight));
    forEachSample<kChannels>(real, pixel, divisors, [&](auto, int at, auto divisor) HWY_ATTR {
      const Sum<Real> sum;
      const Whole<Real> whole;
      const auto dividend = hn::ConvertTo(real, hn::PromoteTo(whole, hn::LoadU(sum, sums + at)));
      const auto quotient = hn::ConvertTo(whole, hn::Div(dividend, divisor));
      hn::StoreU(hn::DemoteTo(sum, quotient), sum, sums + at);
    });
  });
}

void divideByWeightRow(const float* weightSums, std::int16_t* sums, int width, int channels) {
  (channels == 1 ? divideByWeight<1> : divideByWeight<3>)(weightSums, sums, width);
}

template <int kChannels, int kFineBits>
void write(const std::int16_t* sums, const float* weightSums, std::uint8_t* samples, int width) {
  forEachVector(width, [&](auto real, int pixel) HWY_ATTR {
    using Real = decltype(real);
    const auto weights = hn::LoadU(real, weightSums + pixel);
    forEachSample<kChannels>(real, pixel, weights, [&](auto, int at, auto weight) HWY_ATTR {
      const Sample<Real> sample;
      const Whole<Real> whole;
      const auto filled = hn::RebindMask(whole, hn::Gt(weight, hn::Set(real, kSmallestWeight)));
      auto value = hn::PromoteTo(whole, hn::LoadU(Sum<Real>(), sums + at));
      if constexpr (kFineBits > 0) {
        value = hn::ShiftRight<kFineBits>(hn::Add(value, hn::Set(whole, 1 << (kFineBits - 1))));
      }
      hn::StoreU(hn::DemoteTo(sample, hn::IfThenElseZero(filled, value)), sample, samples + at);
    });
  });
}

void writeRow(const std::int16_t* sums,
              const float* weightSums,
              std::uint8_t* samples,
              int width,
              int channels) {
  (channels == 1 ? write<1, 0> : write<3, 0>)(sums, weightSums, samples, width);
}

void writeFineRow(const std::int16_t* sums,
                  const float* weightSums,
                  std::uint8_t* samples,
                  int width,
                  int channels) {
  (channels == 1 ? write<1, kFineBits> : write<3, kFineBits>)(sums, weightSums, samples, width);
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Composition::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::Montage::Composition {

HWY_EXPORT(applyGainRow);
HWY_EXPORT(addWeightedRow);
HWY_EXPORT(divideByWeightRow);
HWY_EXPORT(writeRow);
HWY_EXPORT(addFineRow);
HWY_EXPORT(divideFineRow);
HWY_EXPORT(writeFineRow);

void applyGainRow(const GainRow& gains, std::uint8_t* samples, int count) {
  HWY_DYNAMIC_DISPATCH(applyGainRow)(gains, samples, count);
}

void addWeightedRow(const std::uint8_t* fine,
                    const std::uint8_t* coarse,
                    const float* weights,
                    std::int16_t* sums,
                    float* weightSums,
                    int width,
                    int channels) {
  HWY_DYNAMIC_DISPATCH(addWeightedRow)
  (fine, coarse, weights, sums, weightSums, width, channels);
}

void divideByWeightRow(const float* weightSums, std::int16_t* sums, int width, int channels) {
  HWY_DYNAMIC_DISPATCH(divideByWeightRow)(weightSums, sums, width, channels);
}

void writeRow(const std::int16_t* sums,
              const float* weightSums,
              std::uint8_t* samples,
              int width,
              int channels) {
  HWY_DYNAMIC_DISPATCH(writeRow)(sums, weightSums, samples, width, channels);
}

void addFineRow(const std::int16_t* fine,
                const std::int16_t* coarse,
                const float* weights,
                std::int16_t* sums,
                float* weightSums,
                int width,
                int channels) {
  HWY_DYNAMIC_DISPATCH(addFineRow)
  (fine, coarse, weights, sums, weightSums, width, channels);
}

void divideFineRow(const float* weightSums, std::int16_t* sums, int width, int channels) {
  HWY_DYNAMIC_DISPATCH(divideFineRow)(weightSums, sums, width, channels);
}

void writeFineRow(const std::int16_t* sums,
                  const float* weightSums,
                  std::uint8_t* samples,
                  int width,
                  int channels) {
  HWY_DYNAMIC_DISPATCH(writeFineRow)(sums, weightSums, samples, width, channels);
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
#endif  // HWY_ONCE
