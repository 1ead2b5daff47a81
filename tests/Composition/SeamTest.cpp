// SPDX-License-Identifier: MIT
#include "Composition.h"
#include "support/CompositionSpies.h"
#include "support/ImageMatchers.h"
#include "support/StandardOutput.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>
#include <opencv2/stitching/detail/seam_finders.hpp>

#include <string>
#include <vector>

namespace {

using namespace ORV::Common::Algorithms::Montage::Composition;
using namespace ORV::TestSupport;

constexpr char kUnsupported[] = "Unsupported seam finder type. Montaging is unable to continue.\n";

std::vector<cv::detail::CameraParams> camerasOf(const ViewSet& views) {
  std::vector<cv::detail::CameraParams> cameras(views.images.size());
  for (std::size_t i = 0; i < cameras.size(); ++i) {
    cameras[i].focal = views.K(0, 0);
    cameras[i].ppx = views.K(0, 2);
    cameras[i].ppy = views.K(1, 2);
    cameras[i].R = cv::Mat(cv::Matx33f(views.worldFromView[i]));
  }
  return cameras;
}

/// Two overlapping views at full scale, with everything a call takes.
class SeamOnViews : public testing::Test {
 protected:
  SeamOnViews()
      : views_(renderViews(makePicture({700, 400}, 3), {{-5, 0, 0}, {5, 1, 2}}, {{160, 120}, 210})),
        cameras_(camerasOf(views_)),
        warp_(cameras_, 1.0),
        compensate_(cv::detail::ExposureCompensator::GAIN_BLOCKS) {}

  int call(Seam& seam, const std::string& seamType, bool wide = false, double scale = 1.0) {
    return seam(views_.images, masks_, corners_, cameras_, scale, scale, seamType, wide, centres_);
  }

  ViewSet views_;
  std::vector<cv::detail::CameraParams> cameras_;
  Warp warp_;
  Compensate compensate_;
  std::vector<cv::Mat> masks_ = std::vector<cv::Mat>(2);
  std::vector<cv::Point> corners_ = std::vector<cv::Point>(2);
  std::vector<cv::Point> centres_;
};

template <class Finder>
bool holds(const Seam& seam) {
  return dynamic_cast<const Finder*>(seam.seamFinder.get()) != nullptr;
}

template <cv::detail::DpSeamFinder::CostFunction cost>
bool holdsDp(const Seam& seam) {
  const auto* finder = dynamic_cast<const cv::detail::DpSeamFinder*>(seam.seamFinder.get());
  return finder != nullptr && finder->costFunction() == cost;
}

TEST_F(SeamOnViews, EveryKeywordSelectsItsFinder) {
  struct Case {
    const char* keyword;
    bool (*selected)(const Seam&);
  };
  const Case cases[] = {{"no", holds<cv::detail::NoSeamFinder>},
                        {"dp_color", holdsDp<cv::detail::DpSeamFinder::COLOR>},
                        {"dp_colorgrad", holdsDp<cv::detail::DpSeamFinder::COLOR_GRAD>},
                        {"gc_color", holds<cv::detail::GraphCutSeamFinder>},
                        {"gc_colorgrad", holds<cv::detail::GraphCutSeamFinder>},
                        {"voronoi", holds<cv::detail::VoronoiSeamFinder>}};
  Seam seam(warp_, compensate_);
  EXPECT_TRUE(seam.seamFinder.empty());
  const StandardOutput output;
  for (const Case& each : cases) {
    SCOPED_TRACE(each.keyword);
    EXPECT_EQ(call(seam, each.keyword), 0);
    EXPECT_TRUE(each.selected(seam));
  }
  EXPECT_EQ(output.text(), "");
}

TEST_F(SeamOnViews, RefusesOtherKeywordsAndTouchesNothing) {
  Seam seam(warp_, compensate_);
  call(seam, "voronoi");
  const auto finder = seam.seamFinder;
  for (const char* keyword : {"", "GC_COLOR", "gc_color ", " no", "No", "gc_colour", "none"}) {
    SCOPED_TRACE(keyword);
    masks_ = {cv::Mat(2, 2, CV_8UC1, cv::Scalar(9)), cv::Mat()};
    corners_ = {{-5, 3}, {8, 8}};
    centres_ = {{1, 2}, {3, 4}, {5, 6}};
    const cv::Mat firstMask = masks_[0];
    const StandardOutput output;
    EXPECT_EQ(call(seam, keyword), 1);
    EXPECT_EQ(output.text(), kUnsupported);
    EXPECT_EQ(masks_[0].data, firstMask.data);
    EXPECT_EQ(cv::countNonZero(firstMask == 9), 4);
    EXPECT_TRUE(masks_[1].empty());
    EXPECT_EQ(corners_, (std::vector<cv::Point>{{-5, 3}, {8, 8}}));
    EXPECT_EQ(centres_, (std::vector<cv::Point>{{1, 2}, {3, 4}, {5, 6}}));
    EXPECT_EQ(seam.seamFinder, finder);
  }
}

TEST_F(SeamOnViews, MasksCoverEveryFootprintAndShareOnlyTheSeam) {
  Seam seam(warp_, compensate_);
  ASSERT_EQ(call(seam, "gc_color"), 0);
  cv::Rect all;
  std::vector<cv::Rect> footprints;
  for (std::size_t i = 0; i < 2; ++i) {
    cv::Mat K(cv::Matx33f(views_.K));
    footprints.push_back(warp_.roi(views_.size, K, cameras_[i].R));
    EXPECT_EQ(masks_[i].type(), CV_8UC1);
    EXPECT_EQ(masks_[i].size(), footprints[i].size());
    EXPECT_EQ(corners_[i], footprints[i].tl());
    all |= footprints[i];
  }
  cv::Mat valid = cv::Mat::zeros(all.size(), CV_8UC1), supplied = valid.clone(),
          times = valid.clone();
  for (std::size_t i = 0; i < 2; ++i) {
    cv::Mat K(cv::Matx33f(views_.K)), full(views_.size, CV_8UC1, cv::Scalar(255)), warped;
    warp_.transform(full, K, cameras_[i].R, cv::INTER_NEAREST, cv::BORDER_CONSTANT, warped);
    const cv::Rect place = footprints[i] - all.tl();
    valid(place) |= warped;
    supplied(place) |= masks_[i];
    times(place) += (masks_[i] != 0) / 255;
  }
  EXPECT_EQ(cv::countNonZero(valid & (supplied == 0)), 0) << "a covered pixel has no supplier";
  // The overlap is about half of each view; the shared strip is a seam of 2 to 4 pixels.
  EXPECT_GT(cv::countNonZero(times == 2), 0);
  EXPECT_LT(cv::countNonZero(times == 2), all.height * 12);
}

TEST_F(SeamOnViews, WideDilationAddsSixMorePixels) {
  Seam seam(warp_, compensate_);
  ASSERT_EQ(call(seam, "gc_color", false), 0);
  const std::vector<cv::Mat> narrow = masks_;
  masks_ = std::vector<cv::Mat>(2);
  ASSERT_EQ(call(seam, "gc_color", true), 0);
  for (std::size_t i = 0; i < 2; ++i) {
    cv::Mat expected;
    cv::dilate(narrow[i], expected, cv::getStructuringElement(cv::MORPH_RECT, {13, 13}));
    EXPECT_THAT(masks_[i], EqualsImage(expected));
    EXPECT_LT(cv::countNonZero(narrow[i]), cv::countNonZero(masks_[i]));
  }
}

TEST_F(SeamOnViews, NeverWritesIntoMasksTheCallerShares) {
  Seam seam(warp_, compensate_);
  call(seam, "gc_color");
  // One buffer of just the right size and type behind both elements.
  const cv::Mat shared(masks_[0].size(), CV_8UC1, cv::Scalar(77));
  masks_ = {shared, shared};
  call(seam, "gc_color");
  EXPECT_EQ(cv::countNonZero(shared == 77), static_cast<int>(shared.total()));
  EXPECT_NE(masks_[0].data, masks_[1].data);
}

TEST_F(SeamOnViews, GeometryOnlyReportsTheSamePlacesAndNoMasks) {
  auto spy = cv::makePtr<SpyCompensator>();
  compensate_.compensator = spy;
  for (const double scale : {1.0, 0.335}) {  // 160 x 120 pixels become 54 x 40, not 53
    warp_.scale(scale);
    Seam seam(warp_, compensate_);
    spy->feedCount = 0;
    masks_ = std::vector<cv::Mat>(2);
    ASSERT_EQ(call(seam, "gc_color", false, scale), 0);
    EXPECT_EQ(spy->feedCount, 1);
    const auto corners = corners_;
    const auto centres = centres_;
    masks_ = {};  // not even read
    corners_ = {{0, 0}, {0, 0}};
    ASSERT_EQ(call(seam, "no", false, scale), 0);
    EXPECT_EQ(corners_, corners);
    EXPECT_EQ(centres_, centres);
    EXPECT_TRUE(masks_.empty());
    EXPECT_EQ(spy->feedCount, 1);
  }
}

/// Stages on stand-ins: warped places are dictated, gains are noted.
class SeamOnSpies : public testing::Test {
 protected:
  SeamOnSpies()
      : cameras_(2), warp_(cameras_, 1.0), compensate_(cv::detail::ExposureCompensator::NO) {
    cameras_[0].ppx = 0;
    cameras_[1].ppx = 40;
    compensate_.compensator = compensator_;
  }

  void placeAt(const cv::Rect& first, const cv::Rect& second) {
    warper_ = cv::makePtr<SpyWarper>([=](cv::Size, float x) { return x == 0 ? first : second; });
    warp_.warper = warper_;
  }

  int call(const std::string& seamType, double seamScale, double aspect, int type = CV_8UC3) {
    std::vector<cv::Mat> images(2, cv::Mat(100, 200, type, cv::Scalar::all(90)));
    Seam seam(warp_, compensate_);
    return seam(images, masks_, corners_, cameras_, seamScale, aspect, seamType, true, centres_);
  }

  std::vector<cv::detail::CameraParams> cameras_;
  Warp warp_;
  Compensate compensate_;
  cv::Ptr<SpyCompensator> compensator_ = cv::makePtr<SpyCompensator>();
  cv::Ptr<SpyWarper> warper_;
  std::vector<cv::Mat> masks_ = std::vector<cv::Mat>(2);
  std::vector<cv::Point> corners_ = std::vector<cv::Point>(2);
  std::vector<cv::Point> centres_ = {{9, 9}, {9, 9}, {9, 9}};
};

TEST_F(SeamOnSpies, CentresAreFullResolutionPixelsFromTheTopLeftOfAll) {
  for (const char* keyword : {"no", "voronoi"}) {
    SCOPED_TRACE(keyword);
    placeAt({-21, 4, 101, 60}, {30, 0, 100, 60});
    ASSERT_EQ(call(keyword, 0.5, 1.0), 0);
    EXPECT_EQ(corners_, (std::vector<cv::Point>{{-21, 4}, {30, 0}}));
    EXPECT_EQ(centres_, (std::vector<cv::Point>{{101, 68}, {202, 60}}));
    const bool geometryOnly = keyword == std::string("no");
    EXPECT_EQ(warper_->calls.size(), geometryOnly ? 2U : 4U);
    for (const SpyWarper::Call& each : warper_->calls) {
      EXPECT_EQ(each.interpolation,
                static_cast<int>(geometryOnly ? cv::INTER_LINEAR : cv::INTER_CUBIC));
      EXPECT_EQ(each.border,
                static_cast<int>(geometryOnly ? cv::BORDER_REFLECT : cv::BORDER_CONSTANT));
    }
  }
}

TEST_F(SeamOnSpies, QuotientsAreTruncatedTowardZero) {
  // -21 / 0.4 = -52.5 -> -52; 31 / 0.4 = 77.5 -> half 38.75 -> 38; 41 / 0.4 = 102.5 -> 51.25 -> 51.
  placeAt({-21, -21, 31, 41}, {0, 0, 10, 10});
  ASSERT_EQ(call("no", 0.4, 1.0), 0);
  EXPECT_EQ(centres_, (std::vector<cv::Point>{{38, 51}, {52 + 12, 52 + 12}}));
}

TEST_F(SeamOnSpies, CamerasAreBroughtToTheSeamScale) {
  cameras_[0].focal = 300;
  cameras_[0].aspect = 1.5;
  cameras_[0].ppy = 33;
  placeAt({0, 0, 40, 30}, {20, 0, 40, 30});
  ASSERT_EQ(call("gc_color", 0.25, 0.5), 0);
  for (const SpyWarper::Call& each : {warper_->calls[0], warper_->calls[1]}) {
    const cv::Mat expected = (cv::Mat_<float>(3, 3) << 150, 0, 0, 0, 225, 16.5F, 0, 0, 1);
    EXPECT_EQ(cv::norm(each.K, expected), 0);
    EXPECT_EQ(each.source, cv::Size(50, 25));
  }
  EXPECT_EQ(cameras_[0].focal, 300);
}

TEST_F(SeamOnSpies, GainsAreEstimatedFromColourImagesAndUncutMasks) {
  placeAt({-5, 0, 40, 30}, {15, 2, 40, 30});
  ASSERT_EQ(call("voronoi", 0.25, 1.0, CV_8UC1), 0);
  ASSERT_EQ(compensator_->fedImages.size(), 2U);
  EXPECT_EQ(compensator_->fedCorners, corners_);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_THAT(compensator_->fedImages[i],
                EqualsImage(cv::Mat(30, 40, CV_8UC3, cv::Scalar::all(90))));
    EXPECT_THAT(compensator_->fedMasks[i], EqualsImage(cv::Mat(30, 40, CV_8UC1, cv::Scalar(255))));
    EXPECT_LT(cv::countNonZero(masks_[i]), 30 * 40) << "the overlap was not cut";
  }
}

}  // namespace
