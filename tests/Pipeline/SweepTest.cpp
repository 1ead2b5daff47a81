// SPDX-License-Identifier: MIT
// Montages made in strips within little memory: the same pixels, every image read once.
#include "support/ImageMatchers.h"
#include "support/Views.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <map>
#include <mutex>

namespace {

using namespace montage;
using namespace ORV::TestSupport;

/// Four times as large as the views that were registered, read anew whenever asked for.
class EnlargedViews : public ImageSource {
 public:
  [[nodiscard]] int count() const override { return 8; }
  [[nodiscard]] cv::Size size(int /*index*/) const override { return eightViews().size * 4; }
  [[nodiscard]] cv::Mat read(int index) const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++reads_[index];
    cv::Mat image;
    cv::resize(eightViews().images[static_cast<std::size_t>(index)], image, size(index));
    return image;
  }

  /// How often each image was read since the last call.
  std::map<int, int> takeReads() const { return std::exchange(reads_, {}); }

 private:
  mutable std::mutex mutex_;
  mutable std::map<int, int> reads_;
};

/// Puts the parts together and remembers them.
class RecordingSink : public MatSink {
 public:
  explicit RecordingSink(bool anyOrder) : anyOrder_(anyOrder) {}
  void write(const cv::Rect& area, const cv::Mat& pixels) override {
    parts.push_back(area);
    MatSink::write(area, pixels);
  }
  [[nodiscard]] bool takesAnyOrder() const override { return anyOrder_; }

  std::vector<cv::Rect> parts;

 private:
  bool anyOrder_;
};

/// What composing into the sink takes at the least, as its refusal says.
std::uint64_t leastMemory(const MontagePlan& plan, const ImageSource& source, MontageSink& sink) {
  try {
    Composer(plan, {1, 0}).compose(source, sink);
    ADD_FAILURE() << "composed within a byte";
  } catch (const MemoryLimitError& error) {
    return error.needed();
  }
  return 0;
}

TEST(Sweep, GivesTheSamePixelsWithinLessMemory) {
  const EnlargedViews source;
  const Registration registration = registerImages(MatSource(eightViews().images));
  for (const auto& [blending, background, crop] :
       {std::tuple{Blending::multiBand, Background::transparent, Crop::none},
        std::tuple{Blending::feather, Background::black, Crop::inner}}) {
    PlanOptions options;
    options.blending = blending;
    options.background = background;
    options.crop = crop;
    const MontagePlan plan = planMontage(registration, source, options);
    ASSERT_EQ(plan.images.size(), 8U) << plan.reason;
    EXPECT_LT(plan.estimate.leastMemoryBytes, plan.estimate.memoryBytes);
    const auto isOnce = [](const auto& read) { return read.second == 1; };
    std::map<int, int> reads = source.takeReads();
    EXPECT_TRUE(reads.size() == 8 && std::all_of(reads.begin(), reads.end(), isOnce));

    const cv::Mat whole = compose(plan, source);
    source.takeReads();
    for (const bool anyOrder : {false, true}) {
      RecordingSink sink(anyOrder);
      const ComposeOptions little{leastMemory(plan, source, sink), 0};
      EXPECT_TRUE(sink.parts.empty() && sink.picture().empty() && source.takeReads().size() <= 1);
      EXPECT_LT(little.memoryBytes, plan.estimate.memoryBytes);
      Composer composer(plan, little);
      composer.compose(source, sink);
      EXPECT_THAT(sink.picture(), EqualsImage(whole));
      reads = source.takeReads();
      EXPECT_TRUE(reads.size() == 8 && std::all_of(reads.begin(), reads.end(), isOnce));
      // Two rows of four views: columns need fewer at once.
      EXPECT_EQ(sink.parts.front().height == whole.rows, anyOrder);
      const cv::Rect corner(0, 0, 40, 30);
      EXPECT_THAT(composer.compose(source, corner), EqualsImage(whole(corner).clone()));
      EXPECT_EQ(little.memoryBytes == plan.estimate.leastMemoryBytes, anyOrder);
      source.takeReads();
    }
  }
}

}  // namespace
