// SPDX-License-Identifier: MIT
#include "Composition/ExposureGains.h"

#include "Composition/GainEquations.h"
#include "Platform/ParallelLoop.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <tuple>

namespace ORV::Common::Algorithms::Montage::Composition {
namespace {

constexpr int kBlockSide = 32;
constexpr unsigned char kValid = 255;

/// A dense matrix of so many rows takes 36 MB and a fraction of a second.
constexpr int kMostDenseBlocks = 3000;

/// An image cut into blocks of equal size, at most 32 x 32; the last of a row or column may be
/// smaller.
struct BlockedImage {
  cv::Rect footprint;
  cv::Mat colour;
  cv::Mat mask;
  cv::Size blocks;  ///< how many along each axis
  cv::Size side;    ///< of a block, pixels
  int firstBlock;   ///< number of the first block among those of all images

  [[nodiscard]] int number(int column, int row) const {
    return firstBlock + row * blocks.width + column;
  }
  [[nodiscard]] cv::Rect block(int column, int row) const {
    const cv::Point corner(column * side.width, row * side.height);
    return cv::Rect(corner + footprint.tl(), side) & footprint;
  }
  /// Columns and rows of the blocks that an area of the footprint touches.
  [[nodiscard]] cv::Rect blocksIn(const cv::Rect& area) const {
    const cv::Rect own = area - footprint.tl();
    const cv::Point first(own.x / side.width, own.y / side.height);
    const cv::Point last((own.br().x - 1) / side.width, (own.br().y - 1) / side.height);
    return {first, last + cv::Point(1, 1)};
  }
};

int dividedUp(int whole, int part) {
  return (whole + part - 1) / part;
}

std::vector<BlockedImage> blockedImages(const SeamViews& views) {
  std::vector<BlockedImage> images;
  int blockCount = 0;
  for (std::size_t i = 0; i < views.corners.size(); ++i) {
    const cv::Size size = views.sizes[i];
    const cv::Size blocks(dividedUp(size.width, kBlockSide), dividedUp(size.height, kBlockSide));
    images.push_back({{views.corners[i], size},
                      views.colour[i].getMat(cv::ACCESS_READ),
                      views.masks[i].getMat(cv::ACCESS_READ),
                      blocks,
                      {dividedUp(size.width, blocks.width), dividedUp(size.height, blocks.height)},
                      blockCount});
    blockCount += blocks.area();
  }
  return images;
}

template <class Body>
void forEachBlock(const cv::Rect& blocks, const Body& body) {
  for (int row = blocks.y; row < blocks.br().y; ++row) {
    for (int column = blocks.x; column < blocks.br().x; ++column) {
      body(column, row);
    }
  }
}

std::vector<int> validPixels(const std::vector<BlockedImage>& images) {
  std::vector<int> pixels;
  for (const BlockedImage& image : images) {
    const cv::Mat valid = image.mask == kValid;
    forEachBlock({{}, image.blocks}, [&](int column, int row) {
      pixels.push_back(cv::countNonZero(valid(image.block(column, row) - image.footprint.tl())));
    });
  }
  return pixels;
}

/// The length of a colour.
double brightness(const cv::Vec3b& colour) {
  return std::sqrt(
      static_cast<double>(colour[0] * colour[0] + colour[1] * colour[1] + colour[2] * colour[2]));
}

/// Counts the pixels of an area that both images have and averages their brightness.
void compare(const BlockedImage& first,
             const BlockedImage& second,
             const cv::Rect& area,
             BlockCoupling& coupling) {
  const cv::Point inFirst = area.tl() - first.footprint.tl();
  const cv::Point inSecond = area.tl() - second.footprint.tl();
  for (int y = 0; y < area.height; ++y) {
    const auto* const firstMask = first.mask.ptr(inFirst.y + y, inFirst.x);
    const auto* const secondMask = second.mask.ptr(inSecond.y + y, inSecond.x);
    const auto* const firstColour = first.colour.ptr<cv::Vec3b>(inFirst.y + y, inFirst.x);
    const auto* const secondColour = second.colour.ptr<cv::Vec3b>(inSecond.y + y, inSecond.x);
    for (int x = 0; x < area.width; ++x) {
      if (firstMask[x] == kValid && secondMask[x] == kValid) {
        ++coupling.sharedPixels;
        coupling.firstMean += brightness(firstColour[x]);
        coupling.secondMean += brightness(secondColour[x]);
      }
    }
  }
  if (coupling.sharedPixels > 0) {
    coupling.firstMean /= coupling.sharedPixels;
    coupling.secondMean /= coupling.sharedPixels;
  }
}

std::vector<BlockCoupling> couplingsOf(const BlockedImage& first,
                                       const BlockedImage& second,
                                       const cv::Rect& overlap) {
  std::vector<BlockCoupling> couplings;
  forEachBlock(first.blocksIn(overlap), [&](int column, int row) {
    const cv::Rect block = first.block(column, row) & overlap;
    forEachBlock(second.blocksIn(block), [&](int otherColumn, int otherRow) {
      couplings.push_back(
          {first.number(column, row), second.number(otherColumn, otherRow), 0, 0, 0});
      compare(first, second, block & second.block(otherColumn, otherRow), couplings.back());
    });
  });
  return couplings;
}

std::vector<BlockCoupling> allCouplings(const std::vector<BlockedImage>& images,
                                        const std::vector<ViewPair>& pairs,
                                        const std::function<void()>& step) {
  std::vector<std::vector<BlockCoupling>> perPair(pairs.size());
  Platform::parallelFor(0, static_cast<int>(pairs.size()), [&](int p) {
    const auto index = static_cast<std::size_t>(p);
    const ViewPair& pair = pairs[index];
    perPair[index] = couplingsOf(images[pair.first], images[pair.second], pair.overlap);
    step();
  });
  std::vector<BlockCoupling> all;
  for (const std::vector<BlockCoupling>& couplings : perPair) {
    all.insert(all.end(), couplings.begin(), couplings.end());
  }
  std::sort(all.begin(), all.end(), [](const BlockCoupling& a, const BlockCoupling& b) {
    return std::tie(a.first, a.second) < std::tie(b.first, b.second);
  });
  return all;
}

/// The gains of one image, smoothed twice between neighbouring blocks.
cv::Mat smoothedGains(const BlockedImage& image, const std::vector<double>& gains) {
  cv::Mat map(image.blocks, CV_32FC1);
  forEachBlock({{}, image.blocks}, [&](int column, int row) {
    map.at<float>(row, column) =
        static_cast<float>(gains[static_cast<std::size_t>(image.number(column, row))]);
  });
  const cv::Mat_<float> kernel = (cv::Mat_<float>(1, 3) << 0.25F, 0.5F, 0.25F);
  for (int pass = 0; pass < 2; ++pass) {
    cv::sepFilter2D(map, map, CV_32F, kernel, kernel);
  }
  return map;
}

}  // namespace

std::vector<cv::Mat> exposureGains(const SeamViews& views, const std::function<void()>& step) {
  const std::vector<BlockedImage> images = blockedImages(views);
  const std::vector<double> gains = solveGains(
      validPixels(images), allCouplings(images, overlappingPairs(views), step), kMostDenseBlocks);
  std::vector<cv::Mat> maps;
  maps.reserve(images.size());
  for (const BlockedImage& image : images) {
    maps.push_back(smoothedGains(image, gains));
  }
  return maps;
}

}  // namespace ORV::Common::Algorithms::Montage::Composition
