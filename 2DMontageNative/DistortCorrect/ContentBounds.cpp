// SPDX-License-Identifier: MIT
#include "DistortCorrect/ContentBounds.h"

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// One axis of the lenient scan.
class LenientAxis {
 public:
  explicit LenientAxis(int size) : end_(size - 1) {}

  void take(int index, int value) {
    if (value > 0 && start_ == 0) {
      start_ = index;
    }
    if (start_ != 0 && !endFound_ && value == 0) {
      end_ = index;
      endFound_ = true;
    }
    broken_ = broken_ || (endFound_ && value != 0);
  }

  [[nodiscard]] int start() const { return start_; }
  [[nodiscard]] int end() const { return end_; }
  [[nodiscard]] bool broken() const { return broken_; }

 private:
  int start_ = 0;  // 0 also means not found, so that index 0 never becomes a bound
  int end_;
  bool endFound_ = false;
  bool broken_ = false;
};

struct Band {
  int start;
  int end;
};

std::optional<Band> scanStrictAxis(const std::vector<int>& values) {
  constexpr int kNotFound = -1;
  Band band{kNotFound, kNotFound};
  const int last = static_cast<int>(values.size()) - 1;
  for (int i = 0; i <= last; ++i) {
    const int value = values[static_cast<std::size_t>(i)];
    const bool touchesFirst = band.start == 0;
    const bool openAtLast = i == last && (band.start == kNotFound || band.end == kNotFound);
    if (touchesFirst || openAtLast) {
      return std::nullopt;
    }
    if (value > 0 && band.start == kNotFound) {
      band.start = i;
    }
    if (band.start != kNotFound && band.end == kNotFound && value == 0) {
      band.end = i;
    }
    if (band.end != kNotFound && value != 0) {
      return std::nullopt;
    }
  }
  return band;
}

}  // namespace

LenientBounds scanLenient(const ContentProfile& profile, AtBreak atBreak) {
  const int size = static_cast<int>(profile.columns.size());
  LenientAxis columns(size);
  LenientAxis rows(size);
  for (int i = 0; i < size; ++i) {
    columns.take(i, profile.columns[static_cast<std::size_t>(i)]);
    rows.take(i, profile.rows[static_cast<std::size_t>(i)]);
    if (atBreak == AtBreak::kStop && (columns.broken() || rows.broken())) {
      break;
    }
  }
  return {{columns.start(), rows.start(), columns.end(), rows.end()},
          !columns.broken() && !rows.broken()};
}

std::optional<ContentBounds> scanStrict(const ContentProfile& profile) {
  const std::optional<Band> columns = scanStrictAxis(profile.columns);
  if (!columns) {
    return std::nullopt;
  }
  const std::optional<Band> rows = scanStrictAxis(profile.rows);
  if (!rows) {
    return std::nullopt;
  }
  return ContentBounds{columns->start, rows->start, columns->end, rows->end};
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
