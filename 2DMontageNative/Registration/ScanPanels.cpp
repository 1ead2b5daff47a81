// SPDX-License-Identifier: MIT
// The inner loops of the nearest-neighbour search, compiled once per instruction set.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Registration/ScanPanels.cpp"
// Products of bytes, four to a word, where a machine has them (2 to 4 times as fast).
#define HWY_WANT_AVX3_DL
// Tiles of vectors stand in arrays, which vectors of unknown length cannot.
#define HWY_DISABLED_TARGETS (HWY_RVV | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)

#include "Registration/ScanPanels.h"

#include <hwy/foreach_target.h>  // must precede highway.h
#include <hwy/highway.h>

#include <cstdint>
#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Distance = hn::CappedTag<float, kLanesPerRow>;
using Index = hn::RebindToSigned<Distance>;
using Distances = hn::Vec<Distance>;
using Indices = hn::Vec<Index>;

// A tile: 4 descriptors of the first image against 2 vectors of descriptors of the second. Its 8
// sums fit the 16 registers of the smaller instruction sets.
constexpr int kTileRows = 4;
constexpr int kTileVectors = 2;
constexpr int kWidth = DescriptorPanels::kWidth;

/// Squared distance from integer products: |a|^2 + |b|^2 - 2 a.b, all exact in float.
struct WholeProducts {
  using Word = std::int32_t;
  using Tag = Index;

#if HWY_TARGET == HWY_AVX3_DL
  // The instruction multiplies unsigned bytes with signed ones: a.b = a.(b - 128) + 128 sum(a).
  static HWY_INLINE Indices prepared(Indices b) {
    return hn::Xor(b, hn::Set(Index(), static_cast<std::int32_t>(0x80808080U)));
  }
  static HWY_INLINE void add(Indices a, Indices b, Indices& sum, Indices& /*otherSum*/) {
    // No intrinsic: Highway's name for these machines includes the instruction, its compiler flags
    // do not.
    asm("vpdpbusd %2, %1, %0" : "+v"(sum.raw) : "v"(a.raw), "v"(b.raw));
  }
  static HWY_INLINE float normOfRow(float norm, float sum) {
    constexpr float kTwiceOffset = 256.F;
    return norm - kTwiceOffset * sum;
  }
#else
  static HWY_INLINE Indices prepared(Indices b) {
    return b;
  }
  static HWY_INLINE void add(Indices a, Indices b, Indices& sum, Indices& otherSum) {
#if HWY_TARGET == HWY_SCALAR  // its one lane cannot be split in two
    const Indices lowHalf = hn::Set(Index(), 0xFFFF);
    sum = hn::Add(sum, hn::Mul(hn::And(a, lowHalf), hn::And(b, lowHalf)));
    sum = hn::Add(sum, hn::Mul(hn::ShiftRight<16>(a), hn::ShiftRight<16>(b)));
    static_cast<void>(otherSum);
#else
    const hn::Repartition<std::int16_t, Index> pairs;
    sum = hn::ReorderWidenMulAccumulate(
        Index(), hn::BitCast(pairs, a), hn::BitCast(pairs, b), sum, otherSum);
#endif
  }
  static HWY_INLINE float normOfRow(float norm, float /*sum*/) {
    return norm;
  }
#endif
  static HWY_INLINE Distances distance(Distances normA,
                                       Distances normB,
                                       Indices sum,
                                       Indices otherSum) {
    const Indices product = hn::RearrangeToOddPlusEven(sum, otherSum);
    return hn::Sub(hn::Add(normA, normB), hn::ConvertTo(Distance(), hn::ShiftLeft<1>(product)));
  }
};

/// Squared distance as the sum of squared differences: no cancellation between near descriptors.
/// Multiplication and addition stay apart, so that every machine rounds alike.
struct RealDifferences {
  using Word = float;
  using Tag = Distance;

  static HWY_INLINE Distances prepared(Distances b) { return b; }
  static HWY_INLINE float normOfRow(float norm, float /*sum*/) { return norm; }
  static HWY_INLINE void add(Distances a, Distances b, Distances& sum, Distances& /*otherSum*/) {
    const Distances difference = hn::Sub(a, b);
    sum = hn::Add(sum, hn::Mul(difference, difference));
  }
  static HWY_INLINE Distances distance(Distances /*normA*/,
                                       Distances /*normB*/,
                                       Distances sum,
                                       Distances /*otherSum*/) {
    return sum;
  }
};

/// The words of some panels as the arithmetic takes them.
template <class Arithmetic>
class Operand {
 public:
  using Word = typename Arithmetic::Word;

  Operand(const DescriptorPanels& panels, int firstPanel, int lastPanel)
      : words_(panels.words.rowRange(firstPanel * panels.steps, lastPanel * panels.steps)),
        steps_(panels.steps) {
#if HWY_TARGET != HWY_AVX3_DL
    if (std::is_same_v<Arithmetic, WholeProducts>) {
      widen();
    }
#endif
  }

  [[nodiscard]] int steps() const {
    return steps_;
  }
  [[nodiscard]] const Word* panel(int index) const {
    return words_.template ptr<Word>(index * steps_);
  }

 private:
  /// Two words of 16-bit elements for one of bytes: elements 0 and 2, then 1 and 3.
  void widen() {
    const Index whole;
    const Indices lowBytes = hn::Set(whole, 0x00FF00FF);
    cv::Mat wide(words_.rows * 2, kWidth, CV_32SC1);
    for (int row = 0; row < words_.rows; ++row) {
      const auto* const bytes = words_.ptr<std::int32_t>(row);
      auto* const even = wide.ptr<std::int32_t>(2 * row);
      auto* const odd = wide.ptr<std::int32_t>(2 * row + 1);
      for (std::size_t lane = 0; lane < kWidth; lane += hn::Lanes(whole)) {
        const Indices word = hn::Load(whole, bytes + lane);
        hn::Store(hn::And(word, lowBytes), whole, even + lane);
        hn::Store(hn::And(hn::ShiftRight<8>(word), lowBytes), whole, odd + lane);
      }
    }
    words_ = wide;
    steps_ *= 2;
  }

  cv::Mat words_;
  int steps_;
};

/// Distances of a tile. `a` and `b` point at the tile's words of step 0 in their panels.
template <class Arithmetic>
HWY_INLINE void tileDistances(const typename Arithmetic::Word* HWY_RESTRICT a,
                              const typename Arithmetic::Word* HWY_RESTRICT b,
                              int steps,
                              const float* HWY_RESTRICT normsA,
                              const float* HWY_RESTRICT sumsA,
                              const float* HWY_RESTRICT normsB,
                              Distances (&distances)[kTileRows][kTileVectors]) {
  const typename Arithmetic::Tag tag;
  const Distance real;
  const std::size_t lanes = hn::Lanes(real);
  using Words = hn::Vec<typename Arithmetic::Tag>;
  Words sums[kTileRows][kTileVectors];
  Words otherSums[kTileRows][kTileVectors];
  for (int row = 0; row < kTileRows; ++row) {
    for (int column = 0; column < kTileVectors; ++column) {
      sums[row][column] = hn::Zero(tag);
      otherSums[row][column] = hn::Zero(tag);
    }
  }
  for (int step = 0; step < steps; ++step, a += kWidth, b += kWidth) {
    const Words b0 = Arithmetic::prepared(hn::Load(tag, b));
    const Words b1 = Arithmetic::prepared(hn::Load(tag, b + lanes));
    for (int row = 0; row < kTileRows; ++row) {
      const Words broadcast = hn::Set(tag, a[row]);
      Arithmetic::add(broadcast, b0, sums[row][0], otherSums[row][0]);
      Arithmetic::add(broadcast, b1, sums[row][1], otherSums[row][1]);
    }
  }
  for (int row = 0; row < kTileRows; ++row) {
    const Distances normA = hn::Set(real, Arithmetic::normOfRow(normsA[row], sumsA[row]));
    for (int column = 0; column < kTileVectors; ++column) {
      const Distances normB = hn::LoadU(real, normsB + static_cast<std::size_t>(column) * lanes);
      distances[row][column] =
          Arithmetic::distance(normA, normB, sums[row][column], otherSums[row][column]);
    }
  }
}

/// The two nearest so far, in registers, lane by lane.
struct LaneTwo {
  Distances nearest;
  Distances second;
  Indices index;

  HWY_INLINE LaneTwo(const RunningTwo& from, std::size_t slot)
      : nearest(hn::LoadU(Distance(), from.nearest.data() + slot)),
        second(hn::LoadU(Distance(), from.second.data() + slot)),
        index(hn::LoadU(Index(), from.index.data() + slot)) {}

  HWY_INLINE void store(RunningTwo& into, std::size_t slot) const {
    hn::StoreU(nearest, Distance(), into.nearest.data() + slot);
    hn::StoreU(second, Distance(), into.second.data() + slot);
    hn::StoreU(index, Index(), into.index.data() + slot);
  }

  /// Candidates come in ascending order, so that "nearer" leaves a tie to the lower index.
  HWY_INLINE void see(Distances distance, Indices candidate) {
    const auto nearer = hn::RebindMask(Index(), hn::Lt(distance, nearest));
    second = hn::Min(second, hn::Max(nearest, distance));
    nearest = hn::Min(nearest, distance);
    index = hn::IfThenElse(nearer, candidate, index);
  }
};

template <class Arithmetic>
void scan(const DescriptorPanels& first,
          int firstPanel,
          int lastPanel,
          const DescriptorPanels& second,
          RunningTwo& rows,
          RunningTwo& columns) {
  const Index whole;
  const int lanes = static_cast<int>(hn::Lanes(whole));
  const int firstRow = firstPanel * kWidth;
  const Operand<Arithmetic> rowWords(first, firstPanel, lastPanel);
  Distances distances[kTileRows][kTileVectors];

  for (int panel = 0; panel < second.panels(); ++panel) {
    const Operand<Arithmetic> columnWords(second, panel, panel + 1);
    // The columns of a tile stay in the first-level cache while all rows of the block pass by.
    for (int inPanel = 0; inPanel < kWidth; inPanel += lanes * kTileVectors) {
      const int column = panel * kWidth + inPanel;
      const auto slot = static_cast<std::size_t>(column);
      const std::size_t nextSlot = slot + static_cast<std::size_t>(lanes);
      LaneTwo column0(columns, slot);
      LaneTwo column1(columns, nextSlot);
      const Indices index0 = hn::Iota(whole, column);
      const Indices index1 = hn::Iota(whole, column + lanes);
      for (int tile = firstRow; tile < lastPanel * kWidth; tile += kTileRows) {
        const auto norm = static_cast<std::size_t>(tile);
        tileDistances<Arithmetic>(rowWords.panel((tile - firstRow) / kWidth) + tile % kWidth,
                                  columnWords.panel(0) + inPanel,
                                  rowWords.steps(),
                                  &first.norms[norm],
                                  &first.sums[norm],
                                  &second.norms[slot],
                                  distances);
        for (int i = 0; i < kTileRows; ++i) {
          const Indices rowIndex = hn::Set(whole, tile + i);
          column0.see(distances[i][0], rowIndex);
          column1.see(distances[i][1], rowIndex);
          const std::size_t rowSlot = static_cast<std::size_t>(tile + i - firstRow) * kLanesPerRow;
          LaneTwo row(rows, rowSlot);
          row.see(distances[i][0], index0);
          row.see(distances[i][1], index1);
          row.store(rows, rowSlot);
        }
      }
      column0.store(columns, slot);
      column1.store(columns, nextSlot);
    }
  }
}

void scanPanels(const DescriptorPanels& first,
                int firstPanel,
                int lastPanel,
                const DescriptorPanels& second,
                RunningTwo& rows,
                RunningTwo& columns) {
  if (first.kind == DescriptorKind::kReal) {
    scan<RealDifferences>(first, firstPanel, lastPanel, second, rows, columns);
  } else {
    scan<WholeProducts>(first, firstPanel, lastPanel, second, rows, columns);
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ORV::Common::Algorithms::Montage::Registration {

HWY_EXPORT(scanPanels);

void scanPanels(const DescriptorPanels& first,
                int firstPanel,
                int lastPanel,
                const DescriptorPanels& second,
                RunningTwo& rows,
                RunningTwo& columns) {
  HWY_DYNAMIC_DISPATCH(scanPanels)(first, firstPanel, lastPanel, second, rows, columns);
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
#endif  // HWY_ONCE
