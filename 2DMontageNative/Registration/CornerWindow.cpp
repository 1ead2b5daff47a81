// SPDX-License-Identifier: MIT
#include "Registration/CornerWindow.h"

#include <algorithm>

// clang-format off: the target loop must come before highway.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Registration/CornerWindow.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, GradientPlanes::kPadding>;
using Ints = hn::RebindToSigned<Floats>;
using Float = hn::Vec<Floats>;

/// What the samples of a run add to the histogram: two orientations in each of four cells.
struct Contributions {
  static constexpr std::size_t kCells = 4;

  HWY_ALIGN float pairs[kCells][2 * CornerWindow::kLongestRun];
  HWY_ALIGN std::int32_t bins[CornerWindow::kLongestRun];  // of the first orientation and cell
};

/// The `count` samples from number `first` on, whose gradients begin at number `pixel`.
HWY_INLINE void contribute(const GradientPlanes& gradient,
                           std::size_t pixel,
                           const CornerWindow& window,
                           std::size_t first,
                           int count,
                           Contributions& out) {
  const Floats d;
  const Ints di;
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); i += hn::Lanes(d)) {
    const auto of = [&](const std::vector<float>& values)
                        HWY_ATTR { return hn::LoadU(d, values.data() + first + i); };
    const Float magnitude =
        hn::Mul(hn::LoadU(d, gradient.magnitude.data() + pixel + i), of(window.weights));
    const Float row1 = hn::Mul(magnitude, of(window.rowFractions));
    const Float row0 = hn::Sub(magnitude, row1);
    const Float column = of(window.columnFractions);
    const Float row1column1 = hn::Mul(row1, column);
    const Float row0column1 = hn::Mul(row0, column);
    const Float cells[Contributions::kCells] = {
        hn::Sub(row0, row0column1), row0column1, hn::Sub(row1, row1column1), row1column1};
    const Float fraction = hn::LoadU(d, gradient.fraction.data() + pixel + i);
    for (std::size_t cell = 0; cell < Contributions::kCells; ++cell) {
      const Float next = hn::Mul(cells[cell], fraction);
      hn::StoreInterleaved2(hn::Sub(cells[cell], next), next, d, out.pairs[cell] + 2 * i);
    }
    const auto orientation = hn::LoadU(di, gradient.orientation.data() + pixel + i);
    const auto bin = hn::LoadU(di, window.bins.data() + first + i);
    hn::StoreU(hn::Add(bin, orientation), di, out.bins + i);
  }
}

HWY_INLINE void addPair(const float* pair, float* bins) {
  bins[0] += pair[0];
  bins[1] += pair[1];
}

HWY_INLINE void addSample(const Contributions& added, int i, float* histogram) {
  float* const bins = histogram + added.bins[i];
  const std::ptrdiff_t k = std::ptrdiff_t{2} * i;
  addPair(added.pairs[0] + k, bins);
  addPair(added.pairs[1] + k, bins + kBinsPerCell);
  addPair(added.pairs[2] + k, bins + kBinsPerRow);
  addPair(added.pairs[3] + k, bins + kBinsPerRow + kBinsPerCell);
}

/// One window, which may lie across the edge.
void addWindow(const CornerWindow& window,
               const GradientPlanes& gradient,
               cv::Point centre,
               float* histogram) {
  Contributions added;
  for (const CornerWindow::Run& run : window.runs) {
    const int y = centre.y + run.dy;
    if (y < 1 || y > gradient.size.height - 2) {
      continue;
    }
    const int start = centre.x + run.dx;
    const int skipped = std::max(0, 1 - start);
    const int count = std::min(run.count, gradient.size.width - 1 - start) - skipped;
    if (count > 0) {
      contribute(gradient,
                 static_cast<std::size_t>(gradient.index(start + skipped, y)),
                 window,
                 run.first + static_cast<std::size_t>(skipped),
                 count,
                 added);
      for (int i = 0; i < count; ++i) {
        addSample(added, i, histogram);
      }
    }
  }
}

/// Windows away from the edge side by side: neighbouring samples add to the same bins, and while
/// one window waits for its sums the others go on.
void addInnerWindows(const CornerWindow& window,
                     const GradientPlanes& gradient,
                     const cv::Point* centres,
                     CornerHistogram* histograms) {
  constexpr std::size_t kGroup = CornerWindow::kGroup;
  Contributions added[kGroup];
  for (const CornerWindow::Run& run : window.runs) {
    for (std::size_t k = 0; k < kGroup; ++k) {
      const cv::Point start = centres[k] + cv::Point(run.dx, run.dy);
      contribute(gradient,
                 static_cast<std::size_t>(gradient.index(start.x, start.y)),
                 window,
                 run.first,
                 run.count,
                 added[k]);
    }
    for (int i = 0; i < run.count; ++i) {
      for (std::size_t k = 0; k < kGroup; ++k) {
        addSample(added[k], i, histograms[k].data());
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
HWY_EXPORT(addWindow);
HWY_EXPORT(addInnerWindows);
}  // namespace

GradientPlanes::GradientPlanes(cv::Size imageSize)
    : size(imageSize),
      magnitude(static_cast<std::size_t>(imageSize.area()) + kPadding),
      fraction(magnitude.size()),
      orientation(magnitude.size()) {}

CornerWindow::CornerWindow(const std::vector<Sample>& samples) {
  for (const Sample& sample : samples) {
    const bool continues = !runs.empty() && runs.back().dy == sample.dy &&
                           runs.back().dx + runs.back().count == sample.dx &&
                           runs.back().count < kLongestRun;
    if (!continues) {
      runs.push_back({sample.dx, sample.dy, 0, bins.size()});
    }
    ++runs.back().count;
    bins.push_back(sample.bin);
    rowFractions.push_back(sample.rowFraction);
    columnFractions.push_back(sample.columnFraction);
    weights.push_back(sample.weight);
  }
  const std::size_t padded = bins.size() + GradientPlanes::kPadding;
  bins.resize(padded);
  for (std::vector<float>* list : {&rowFractions, &columnFractions, &weights}) {
    list->resize(padded);
  }
}

bool CornerWindow::isInside(const GradientPlanes& gradient, cv::Point centre) const {
  return std::all_of(runs.begin(), runs.end(), [&](const Run& run) {
    const cv::Point first = centre + cv::Point(run.dx, run.dy);
    return first.x >= 1 && first.x + run.count < gradient.size.width && first.y >= 1 &&
           first.y < gradient.size.height - 1;
  });
}

void CornerWindow::histogramsAt(const GradientPlanes& gradient,
                                const cv::Point* centres,
                                std::size_t count,
                                CornerHistogram* histograms) const {
  std::fill_n(histograms, count, CornerHistogram{});
  const auto inside = [&](cv::Point centre) { return isInside(gradient, centre); };
  if (count == kGroup && std::all_of(centres, centres + count, inside)) {
    HWY_DYNAMIC_DISPATCH(addInnerWindows)(*this, gradient, centres, histograms);
    return;
  }
  for (std::size_t k = 0; k < count; ++k) {
    HWY_DYNAMIC_DISPATCH(addWindow)(*this, gradient, centres[k], histograms[k].data());
  }
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
#endif  // HWY_ONCE
