// SPDX-License-Identifier: MIT
#include "SlabMontage.h"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace ORV::Common::Algorithms::Montage {
namespace {

/// Two grey images with one row of keypoints each, matched one to one.
class MatchPlots : public testing::Test {
 protected:
  MatchPlots() {
    std::filesystem::create_directories(folder_);
    for (int image = 0; image < 2; ++image) {
      images_.emplace_back(100 + 20 * image, 160, CV_8U, cv::Scalar(128));
      features_.emplace_back();
      for (int k = 0; k < 3; ++k) {
        features_.back().keypoints.emplace_back(30.0F, static_cast<float>(10 + 15 * k), 7.0F);
      }
    }
    pairs_.resize(4);  // the diagonal keeps its indices of -1
    for (const auto& [from, to] : {std::pair<int, int>(0, 1), std::pair<int, int>(1, 0)}) {
      auto& pair = pairs_[static_cast<std::size_t>(2 * from + to)];
      pair.src_img_idx = from;
      pair.dst_img_idx = to;
      pair.matches = {{0, 0, 0.1F}, {1, 1, 0.1F}, {2, 2, 0.1F}};
      pair.inliers_mask = {0, 1};  // the third flag is missing
    }
  }
  ~MatchPlots() override { std::filesystem::remove_all(folder_); }

  int plot(float workScale) {
    Scaler scaler(images_);
    scaler.workScale = workScale;
    return SlabMontage().plotMatches(pairs_, features_, scaler, images_, folder_ + "/");
  }

  [[nodiscard]] cv::Mat read(const std::string& name) const {
    return cv::imread(folder_ + "/" + name + ".jpg");
  }

  [[nodiscard]] std::string bytes(const std::string& name) const {
    std::ifstream file(folder_ + "/" + name + ".jpg", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  /// True if match `k` is drawn: a line between the images, red where they meet. Rows around it,
  /// because JPEG blurs colours.
  [[nodiscard]] static bool hasLine(const cv::Mat& drawing, int k) {
    const cv::Scalar colour = cv::mean(drawing(cv::Rect(100, 9 + 15 * k, 20, 3)));
    return colour[2] > colour[0] + 30 && colour[2] > colour[1] + 30;
  }

  std::string folder_ = testing::TempDir() + "/montageMatchPlots" +
                        testing::UnitTest::GetInstance()->current_test_info()->name();
  std::vector<cv::Mat> images_;
  std::vector<cv::detail::ImageFeatures> features_;
  std::vector<cv::detail::MatchesInfo> pairs_;
};

TEST_F(MatchPlots, DrawEveryMatchAndTheInliersApart) {
  EXPECT_EQ(plot(1.0F), 0);
  for (const std::string pair : {"0_1", "1_0"}) {
    const cv::Mat all = read("cornerMatches_" + pair);
    const cv::Mat inliers = read("cornerMatches_inliers_" + pair);
    ASSERT_EQ(all.size(), cv::Size(320, 120));
    ASSERT_EQ(inliers.size(), cv::Size(320, 120));
    for (int k = 0; k < 3; ++k) {
      EXPECT_TRUE(hasLine(all, k)) << pair << " match " << k;
      EXPECT_EQ(hasLine(inliers, k), k == 1) << pair << " match " << k;
    }
  }
  EXPECT_EQ(read("keypoints_0").size(), cv::Size(160, 100));
  EXPECT_EQ(read("keypoints_1").size(), cv::Size(160, 120));
  const auto files = std::filesystem::directory_iterator(folder_);
  EXPECT_EQ(std::distance(begin(files), end(files)), 6);
}

TEST_F(MatchPlots, DrawAtRegistrationResolution) {
  EXPECT_EQ(plot(0.77F), 0);  // 123.2 x 77 and 123.2 x 92.4, cut off
  EXPECT_EQ(read("keypoints_0").size(), cv::Size(123, 77));
  EXPECT_EQ(read("cornerMatches_0_1").size(), cv::Size(246, 92));
}

TEST_F(MatchPlots, RepeatByteForByte) {
  plot(1.0F);
  const std::string first = bytes("cornerMatches_inliers_0_1");
  cv::theRNG().next();
  const auto state = cv::theRNG().state;
  plot(1.0F);
  EXPECT_FALSE(first.empty());
  EXPECT_EQ(bytes("cornerMatches_inliers_0_1"), first);
  EXPECT_EQ(cv::theRNG().state, state);
}

TEST_F(MatchPlots, FilesThatCannotBeWrittenAreSkipped) {
  std::filesystem::remove_all(folder_);
  EXPECT_EQ(plot(1.0F), 0);
  EXPECT_FALSE(std::filesystem::exists(folder_));
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage
