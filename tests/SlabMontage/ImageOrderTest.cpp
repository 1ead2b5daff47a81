// SPDX-License-Identifier: MIT
#include "SlabMontage.h"
#include "support/StandardOutput.h"
#include "support/SyntheticScene.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using ORV::Common::Algorithms::Montage::SlabMontage;
using namespace ORV::TestSupport;
using Order = std::vector<std::vector<int>>;

Order orderOf(std::vector<cv::Mat> images) {
  Order order = {{7, 7}, {8, 8}};
  const int count = static_cast<int>(images.size());
  const StandardOutput output;
  EXPECT_EQ(SlabMontage().getOrder(images, count, -1, -1, -1, false, order), 0);
  EXPECT_EQ(output.text(), "");
  return order;
}

TEST(ImageOrder, RanksConnectedImagesFromFewestToMostInliers) {
  const ViewSet views =
      renderViews(makePicture({800, 500}, 4), {{-10, 0, 0}, {-5, 0, 0}, {8, 0, 0}});
  const cv::Mat unrelated = renderViews(makePicture({400, 300}, 99), {{0, 0, 0}}).images[0];
  // The middle view overlaps both others, the first one nearly whole, the last one half.
  EXPECT_EQ(orderOf({views.images[1], unrelated, views.images[0], views.images[2]}),
            (Order{{0, 3}, {2, 2}, {3, 0}}));
}

TEST(ImageOrder, LeavesEquallyWellMatchedImagesWhereTheyAre) {
  const ViewSet views = renderViews(makePicture({500, 400}, 4), {{-4, 0, 0}, {4, 0, 0}});
  EXPECT_EQ(orderOf(views.images), (Order{{0, 0}, {1, 1}}));  // one pair: as many inliers for both
}

TEST(ImageOrder, NeedsNoConnectionAndNoImage) {
  EXPECT_TRUE(orderOf({}).empty());
  EXPECT_EQ(orderOf({makePicture({120, 90}, 1)}), (Order{{0, 0}}));
}

}  // namespace
