// SPDX-License-Identifier: MIT
#include "Registration/IntegralImage.h"
#include "Registration/SurfDetector.h"
#include "Registration/SurfHessian.h"
#include "SurfTestImages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

std::vector<cv::KeyPoint> detect(const cv::Mat& image, SurfScaleSpace scaleSpace, float threshold) {
  return detectSurfKeypoints(IntegralImage(image), scaleSpace, threshold);
}

TEST(IntegralImage, BoxSumsSurviveTheWrapOfTheTable) {
  // 17.6 megapixels of white: the table passes 2^31 and 2^32 long before its end.
  constexpr int kSide = 4200;
  constexpr int kBlobSide = 120;
  cv::Mat large(kSide, kSide, CV_8U, cv::Scalar(255));
  const cv::Mat blob = SurfTestImages::blobs(kBlobSide, kBlobSide, 3);
  const cv::Rect corner(kSide - kBlobSide, kSide - kBlobSide, kBlobSide, kBlobSide);
  blob.copyTo(large(corner));

  const auto alone = detect(blob, {1, 2}, 100.0F);
  const auto embedded = detect(large, {1, 2}, 100.0F);
  std::map<float, cv::Point2f> byResponse;
  for (const auto& keypoint : embedded) {
    byResponse[keypoint.response] = keypoint.pt - cv::Point2f(corner.tl());
  }
  ASSERT_GT(alone.size(), 20U);
  for (const auto& keypoint : alone) {
    ASSERT_EQ(byResponse.count(keypoint.response), 1U);
    const cv::Point2f difference = byResponse[keypoint.response] - keypoint.pt;
    EXPECT_LT(cv::norm(difference), 1e-3);  // floats near 4200 are that coarse
  }
}

TEST(SurfHessian, VectorCodeGivesTheScalarFormula) {
  const cv::Mat image = SurfTestImages::blobs(160, 171, 1);
  const IntegralImage plain(image);
  for (const int step : {1, 2, 4}) {
    const IntegralImage sorted = plain.sortedByPhase(step);
    for (const int size : {9 * step, 15 * step, 33 * step}) {
      const HessianFilter filter(size, sorted);
      const HessianFilter plainFilter(size, plain);
      const int y = 3;
      const int count = (image.cols - size) / step + 1;
      std::vector<float> determinants(static_cast<std::size_t>(count) +
                                      IntegralImage::kReadablePadding);
      hessianDeterminants(filter, sorted.at(y, 0), count, determinants.data());
      for (int i = 0; i < count; ++i) {
        const std::uint32_t* const origin = plain.at(y, i * step);
        const float xx = boxResponse(plainFilter.xx, origin);
        const float yy = boxResponse(plainFilter.yy, origin);
        const float xy = boxResponse(plainFilter.xy, origin);
        ASSERT_EQ(determinants[static_cast<std::size_t>(i)], xx * yy - 0.81F * xy * xy)
            << "step " << step << " size " << size << " sample " << i;
      }
    }
  }
}

TEST(SurfHessian, AnswersAStepEdgeWithTheDifferenceOfItsLevels) {
  // Left third of the filter 40 levels brighter: xx = 1 * 40 - 2 * 0 + 0, yy = 0, xy = 0.
  cv::Mat image(30, 30, CV_8U, cv::Scalar(100));
  image.colRange(0, 3).setTo(140);
  const IntegralImage integral(image);
  const HessianFilter filter(9, integral);
  EXPECT_FLOAT_EQ(boxResponse(filter.xx, integral.at(0, 0)), 40.0F);
  EXPECT_NEAR(boxResponse(filter.yy, integral.at(0, 0)), 0.0F, 1e-4F);
  EXPECT_FLOAT_EQ(boxResponse(filter.xy, integral.at(0, 0)), 0.0F);
  EXPECT_EQ(filter.laplacianSign(integral.at(0, 0)), 1);
}

/// Side of the filter that answers most strongly to a Gaussian blob around which it is centred: the
/// box means are integrals of the Gaussian.
double strongestSide(double sigma) {
  const auto mean = [sigma](double from, double to) {
    const double unit = sigma * std::sqrt(2.0);
    return (std::erf(to / unit) - std::erf(from / unit)) / (to - from);
  };
  const auto response = [&](double side) {
    const double across = 2 * (mean(-side / 6, side / 6) - mean(side / 6, side / 2));
    return across * mean(-side * 5 / 18, side * 5 / 18);
  };
  double best = 1.0;
  for (double side = 1.0; side < 40 * sigma; side += 0.01) {
    best = response(side) > response(best) ? side : best;
  }
  return best;
}

TEST(SurfDetector, FindsAGaussianBlobAtItsCentreAndSize) {
  for (const double sigma : {3.0, 3.7, 5.0, 8.0}) {
    const double expectedSize = strongestSide(sigma);
    for (const double height : {180.0, -180.0}) {
      SCOPED_TRACE(testing::Message() << "sigma " << sigma << " height " << height);
      const cv::Point2d centre(80.3, 75.6);
      const auto found =
          detect(SurfTestImages::gaussianBlob({160, 150}, centre, sigma, height), {3, 4}, 300.0F);
      ASSERT_FALSE(found.empty());
      EXPECT_NEAR(found[0].pt.x, centre.x, 0.2);
      EXPECT_NEAR(found[0].pt.y, centre.y, 0.2);
      EXPECT_NEAR(found[0].size, expectedSize, 0.15 * expectedSize);
      EXPECT_EQ(found[0].class_id, height > 0 ? -1 : 1);
    }
  }
}

/// Determinant of the filter of side `n` with its top-left corner at (x, y), from the pixels.
double plainDeterminant(const cv::Mat& image, int n, int x, int y) {
  const auto mean = [&](int x0, int y0, int x1, int y1) {
    const auto scaled = [n](int c) {
      return cvRound(static_cast<float>(n) / 9 * static_cast<float>(c));
    };
    return cv::mean(image(cv::Range(y + scaled(y0), y + scaled(y1)),
                          cv::Range(x + scaled(x0), x + scaled(x1))))[0];
  };
  const double xx = mean(0, 2, 3, 7) - 2 * mean(3, 2, 6, 7) + mean(6, 2, 9, 7);
  const double yy = mean(2, 0, 7, 3) - 2 * mean(2, 3, 7, 6) + mean(2, 6, 7, 9);
  const double xy = mean(1, 1, 4, 4) - mean(5, 1, 8, 4) - mean(1, 5, 4, 8) + mean(5, 5, 8, 8);
  return xx * yy - 0.81 * xy * xy;
}

TEST(SurfDetector, KeypointsAreTheStrictMaximaOfThePlainDeterminant) {
  const cv::Mat image = SurfTestImages::blobs(70, 83, 5);
  constexpr float kThreshold = 60.0F;
  for (const int octave : {0, 1}) {
    const int d = 1 << octave;
    std::array<cv::Mat_<double>, 4> layers;  // samples by the place of the filter's centre
    for (int l = 0; l < 4; ++l) {
      const int n = (9 + 6 * l) * d;
      layers[static_cast<std::size_t>(l)] = cv::Mat_<double>::zeros(image.rows / d, image.cols / d);
      const int margin = 4 + 3 * l;
      for (int i = margin; d * (i - margin) + n <= image.rows; ++i) {
        for (int j = margin; d * (j - margin) + n <= image.cols; ++j) {
          layers[static_cast<std::size_t>(l)](i, j) =
              plainDeterminant(image, n, d * (j - margin), d * (i - margin));
        }
      }
    }
    std::size_t maxima = 0;
    std::size_t matched = 0;
    const auto found = detect(image, {octave + 1, 2}, kThreshold);
    for (std::size_t l = 1; l <= 2; ++l) {
      const int border = 8 + 3 * static_cast<int>(l);
      for (int i = border; i < image.rows / d - border; ++i) {
        for (int j = border; j < image.cols / d - border; ++j) {
          const double centre = layers[l](i, j);
          int smaller = 0;
          for (std::size_t dl = l - 1; dl <= l + 1; ++dl) {
            smaller += cv::countNonZero(layers[dl](cv::Rect(j - 1, i - 1, 3, 3)) < centre);
          }
          if (centre <= static_cast<double>(kThreshold) || smaller != 26) {
            continue;
          }
          ++maxima;
          const double half = (d - 1) * 0.5;  // filters of even side lie between pixels
          const cv::Point2d place(d * j + half, d * i + half);
          for (const auto& keypoint : found) {
            const cv::Point2d difference = cv::Point2d(keypoint.pt) - place;
            const double n = (9.0 + 6.0 * static_cast<double>(l)) * d;
            if (keypoint.octave == octave &&
                std::abs(static_cast<double>(keypoint.response) - centre) < 1e-4 * centre &&
                std::max(std::abs(difference.x), std::abs(difference.y)) <= d + 1e-3 &&
                std::abs(static_cast<double>(keypoint.size) - n) <= 6 * d) {
              ++matched;
            }
          }
        }
      }
    }
    const auto inOctave = static_cast<std::size_t>(std::count_if(
        found.begin(), found.end(), [&](const auto& k) { return k.octave == octave; }));
    EXPECT_EQ(matched, inOctave);  // every keypoint is a maximum
    EXPECT_GE(inOctave, octave == 0 ? 15U : 3U);
    EXPECT_GE(10 * inOctave, 8 * maxima);  // only those without a near parabola are dropped
  }
}

TEST(SurfDetector, ListsTheStrongestFirstAndOfEqualsTheLowestThenTheLeftmost) {
  const auto found = detect(SurfTestImages::blobs(200, 200, 8), {3, 4}, 50.0F);
  ASSERT_GT(found.size(), 100U);
  EXPECT_TRUE(std::is_sorted(found.begin(), found.end(), [](const auto& a, const auto& b) {
    return a.response > b.response;
  }));
  EXPECT_GT(found.back().response, 50.0F);

  const cv::Mat blob = SurfTestImages::gaussianBlob({64, 64}, {31, 30}, 3.0, 150.0);
  const auto equals = detect(cv::repeat(blob, 2, 2), {1, 3}, 1000.0F);
  ASSERT_EQ(equals.size(), 4U);
  const cv::Point2f first(31, 30);
  const cv::Point2f expected[] = {{0, 64}, {64, 64}, {0, 0}, {64, 0}};
  for (std::size_t k = 0; k < 4; ++k) {
    EXPECT_EQ(equals[k].response, equals[0].response);
    EXPECT_LT(cv::norm(equals[k].pt - first - expected[k]), 1.0) << k;
  }
}

TEST(SurfDetector, NeedsTwentyThreePixels) {
  const cv::Mat blob = SurfTestImages::gaussianBlob({23, 23}, {11, 11}, 2.9, 200.0);
  EXPECT_EQ(detect(blob, {3, 4}, 10.0F).size(), 1U);
  EXPECT_TRUE(detect(blob.colRange(0, 22), {3, 4}, 10.0F).empty());
  EXPECT_TRUE(detect(blob.rowRange(1, 23), {3, 4}, 10.0F).empty());
  EXPECT_TRUE(detect(cv::Mat(1, 1, CV_8U, cv::Scalar(9)), {3, 4}, 0.0F).empty());
}

TEST(SurfDetector, OctavesThatDoNotFitChangeNothing) {
  const cv::Mat image = SurfTestImages::blobs(90, 90, 2);
  EXPECT_EQ(detect(image, {2, 30}, 20.0F).size(), detect(image, {1000, 1000000}, 20.0F).size());
}

}  // namespace
}  // namespace ORV::Common::Algorithms::Montage::Registration
