// SPDX-License-Identifier: MIT
#include "Composition/BlendOptions.h"
#include "Composition/ReflectedWindow.h"
#include "Composition/TileBlending.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/stitching/detail/util.hpp>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

using cv::detail::Blender;

struct FedImage {
  cv::Mat pixels;  ///< 8-bit
  cv::Mat mask;
  cv::Point corner;
};

cv::Mat randomImage(cv::Size size, int type, cv::RNG& random) {
  cv::Mat image(size, type);
  random.fill(image, cv::RNG::UNIFORM, 0, 256);
  if (random.uniform(0, 2) == 0) {
    cv::blur(image, image, cv::Size(5, 5));  // also values that a pyramid does not smooth away
  }
  return image;
}

/// Full, empty, cut along a line, or ragged with every value in between.
cv::Mat randomMask(cv::Size size, cv::RNG& random) {
  const int kind = random.uniform(0, 6);
  cv::Mat mask(size, CV_8UC1, cv::Scalar(kind == 0 ? 0 : 255));
  if (kind == 1) {
    mask.colRange(0, size.width / 2).setTo(0);
  } else if (kind >= 2) {
    mask.setTo(0);
    const cv::Point centre(random.uniform(0, size.width), random.uniform(0, size.height));
    cv::circle(mask, centre, random.uniform(1, size.width + 1), cv::Scalar(255), cv::FILLED);
    if (kind >= 4) {
      const int side = 2 * random.uniform(0, 6) + 1;
      cv::GaussianBlur(mask, mask, cv::Size(side, side), 0);
    }
  }
  return mask;
}

std::vector<FedImage> randomImages(int type, int longestSide, cv::RNG& random) {
  std::vector<FedImage> images(static_cast<std::size_t>(random.uniform(1, 5)));
  for (FedImage& image : images) {
    const cv::Size size(random.uniform(1, longestSide), random.uniform(1, longestSide));
    const cv::Point corner(random.uniform(-longestSide, longestSide),
                           random.uniform(-longestSide, longestSide));
    image = {randomImage(size, type, random), randomMask(size, random), corner};
  }
  return images;
}

/// OpenCV's blender on whole images.
cv::Mat blendWhole(int kind, const std::vector<FedImage>& images) {
  std::vector<cv::Point> corners;
  std::vector<cv::Size> sizes;
  for (const FedImage& image : images) {
    corners.push_back(image.corner);
    sizes.push_back(image.mask.size());
  }
  const cv::Ptr<Blender> blender = makeBlender(blendOptionsOf(kind).value(), false);
  blender->prepare(corners, sizes);
  for (const FedImage& image : images) {
    cv::Mat colour = image.pixels;
    if (colour.channels() == 1) {
      cv::cvtColor(colour, colour, cv::COLOR_GRAY2BGR);
    }
    colour.convertTo(colour, CV_16S);
    blender->feed(colour, image.mask, image.corner);
  }
  cv::Mat blended;
  cv::Mat mask;
  blender->blend(blended, mask);
  blended.convertTo(blended, CV_8U);
  if (images[0].pixels.channels() == 1) {
    cv::extractChannel(blended, blended, 0);
  }
  return blended;
}

cv::Mat blendTiles(int kind, const std::vector<FedImage>& images) {
  std::vector<cv::Rect> areas;
  cv::Rect montage;
  for (const FedImage& image : images) {
    areas.emplace_back(image.corner, image.mask.size());
    montage = montage.empty() ? areas.back() : montage | areas.back();
  }
  std::vector<PlacedMask> masks;
  WarpedImages warped;
  for (std::size_t i = 0; i < images.size(); ++i) {
    masks.push_back({areas[i] - montage.tl(), images[i].mask.clone()});
    warped.push_back(std::make_unique<StoredImage>(images[i].pixels));
  }
  const auto blending = makeTileBlending(blendOptionsOf(kind).value(), masks, montage.size());
  cv::Mat blended(montage.size(), images[0].pixels.type(), cv::Scalar::all(7));
  const int side = blending->tileSide();
  for (int y = 0; y < blended.rows; y += side) {
    for (int x = 0; x < blended.cols; x += side) {
      const cv::Rect tile = cv::Rect(x, y, side, side) & cv::Rect({}, blended.size());
      blending->blend(warped, tile, blended(tile));
    }
  }
  return blended;
}

class TileBlendingOfKind : public testing::TestWithParam<int> {};

TEST_P(TileBlendingOfKind, GivesTheBytesOfOpenCvsBlender) {
  cv::RNG random(0x5eed);
  for (const int longestSide : {6, 40, 200, 900}) {
    for (int round = 0; round < (longestSide > 300 ? 6 : 40); ++round) {
      const int type = round % 3 == 0 ? CV_8UC1 : CV_8UC3;
      const std::vector<FedImage> images = randomImages(type, longestSide, random);
      const cv::Mat expected = blendWhole(GetParam(), images);
      const cv::Mat blended = blendTiles(GetParam(), images);
      ASSERT_EQ(blended.size(), expected.size());
      ASSERT_EQ(cv::norm(blended, expected, cv::NORM_INF), 0)
          << "side " << longestSide << " round " << round;
    }
  }
}

TEST_P(TileBlendingOfKind, NeedsNothingBeyondItsReach) {
  cv::RNG random(0xabc);
  const cv::Size size(700, 600);
  const int reach =
      makeTileBlending(blendOptionsOf(GetParam()).value(), std::vector<cv::Rect>(), size)->reach();
  for (int round = 0; round < 4; ++round) {
    std::vector<FedImage> images;
    for (const int x : {-350, 0}) {
      images.push_back({randomImage(size, CV_8UC3, random), cv::Mat::zeros(size, CV_8U), {x, 3}});
      const cv::Point centre(random.uniform(0, 700), random.uniform(0, 600));
      cv::circle(images.back().mask, centre, 150, cv::Scalar(255), cv::FILLED);
    }
    const cv::Mat before = blendTiles(GetParam(), images);
    for (FedImage& image : images) {
      cv::Mat bears;
      const cv::Mat around = cv::Mat::ones(2 * reach + 1, 2 * reach + 1, CV_8U);
      cv::dilate(image.mask, bears, around);
      image.pixels.setTo(cv::Scalar::all(0), bears == 0);
    }
    ASSERT_EQ(cv::norm(before, blendTiles(GetParam(), images), cv::NORM_INF), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(AllKinds,
                         TileBlendingOfKind,
                         testing::Values(Blender::NO, Blender::FEATHER, Blender::MULTI_BAND));

TEST(WantedCells, HoldAllWithinReachOfTheMaskAndLittleMore) {
  constexpr int kCell = 32;
  cv::RNG random(0xce11);
  for (const int reach : {0, 1, 31, 32, 33, 70}) {
    for (int round = 0; round < 8; ++round) {
      const cv::Size footprint(random.uniform(1, 400), random.uniform(1, 400));
      const cv::Point offset(kCell * random.uniform(0, 1 + footprint.width / 2 / kCell), 0);
      cv::Mat mask = cv::Mat::zeros(footprint - cv::Size(offset.x, 0), CV_8UC1);
      for (int dot = 0; dot < 2; ++dot) {
        mask.at<uchar>(random.uniform(0, mask.rows), random.uniform(0, mask.cols)) = 1;
      }
      cv::Mat wanted, reached = cv::Mat::zeros(footprint, CV_8UC1);
      mask.copyTo(reached(cv::Rect(offset, mask.size())));
      cv::dilate(reached, reached, cv::Mat::ones(2 * reach + 1, 2 * reach + 1, CV_8U));
      const cv::Mat cells = wantedCells(mask, offset, footprint, reach);
      cv::resize(cells, wanted, {}, kCell, kCell, cv::INTER_NEAREST);
      wanted = wanted(cv::Rect({}, footprint));
      EXPECT_EQ(cv::countNonZero(reached & (wanted == 0)), 0) << footprint << " reach " << reach;
      const int further = 2 * (reach + 2 * kCell) + 1;
      cv::dilate(mask, reached, cv::Mat::ones(further, further, CV_8U));
      EXPECT_EQ(cv::countNonZero(wanted(cv::Rect(offset, mask.size())) & (reached == 0)), 0);
    }
  }
}

TEST(ReflectedWindow, EqualsThePartOfTheFramedImage) {
  cv::RNG random(0x77);
  for (int round = 0; round < 500; ++round) {
    const cv::Size size(random.uniform(1, 30), random.uniform(1, 30));
    const StoredImage image(randomImage(size + cv::Size(3, 2), CV_8UC3, random));
    constexpr int kFrame = 40;
    cv::Mat framed;
    cv::copyMakeBorder(
        image.read({{}, size}).clone(), framed, kFrame, kFrame, kFrame, kFrame, cv::BORDER_REFLECT);
    const cv::Point first(random.uniform(0, framed.cols), random.uniform(0, framed.rows));
    const cv::Rect inFrame(first,
                           cv::Size(random.uniform(1, framed.cols - first.x + 1),
                                    random.uniform(1, framed.rows - first.y + 1)));
    const cv::Mat window = readReflected(image, size, inFrame - cv::Point(kFrame, kFrame));
    ASSERT_EQ(cv::norm(window, framed(inFrame), cv::NORM_INF), 0) << size << inFrame;
  }
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Composition
