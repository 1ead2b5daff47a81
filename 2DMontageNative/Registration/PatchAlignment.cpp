// SPDX-License-Identifier: MIT
#include "Registration/PatchAlignment.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr int kReach = 6;
constexpr int kSide = 2 * kReach + 1;
constexpr std::size_t kCount = std::size_t{kSide} * kSide;

constexpr int kMostSteps = 8;
constexpr double kSmallStepPx = 0.01;
constexpr double kFarthestPx = 2.0;
constexpr double kLeastCorrelation = 0.8;

/// The weaker of the two curvatures must reach this much of grey levels squared per pixel.
constexpr double kLeastTexture = 2.0 * static_cast<double>(kCount);

using Patch = std::array<double, kCount>;

/// Bilinear. The position lies at least a pixel inside.
double sample(const cv::Mat& image, double x, double y) {
  const int column = static_cast<int>(x);
  const int row = static_cast<int>(y);
  const double right = x - column;
  const double down = y - row;
  const auto* const upper = image.ptr<uchar>(row) + column;
  const auto* const lower = image.ptr<uchar>(row + 1) + column;
  return (1 - down) * ((1 - right) * upper[0] + right * upper[1]) +
         down * ((1 - right) * lower[0] + right * lower[1]);
}

/// The pixels around a point, under a shape; false if they reach beyond the image.
bool read(const cv::Mat& image, const cv::Point2d& centre, const cv::Matx22d& shape, Patch& patch) {
  const double width = kReach * (std::abs(shape(0, 0)) + std::abs(shape(0, 1)));
  const double height = kReach * (std::abs(shape(1, 0)) + std::abs(shape(1, 1)));
  if (!(centre.x - width >= 1 && centre.y - height >= 1 && centre.x + width < image.cols - 2 &&
        centre.y + height < image.rows - 2)) {
    return false;
  }
  std::size_t at = 0;
  for (int v = -kReach; v <= kReach; ++v) {
    for (int u = -kReach; u <= kReach; ++u) {
      patch[at++] = sample(image,
                           centre.x + shape(0, 0) * u + shape(0, 1) * v,
                           centre.y + shape(1, 0) * u + shape(1, 1) * v);
    }
  }
  return true;
}

/// Takes the mean off. @return the length of what is left.
double centre(Patch& patch) {
  double sum = 0.0;
  for (const double value : patch) {
    sum += value;
  }
  const double mean = sum / static_cast<double>(kCount);
  double squares = 0.0;
  for (double& value : patch) {
    value -= mean;
    squares += value * value;
  }
  return std::sqrt(squares);
}

/// Derivatives of the first patch, without their means, and the inverse of their second moments.
struct Slopes {
  Patch x;
  Patch y;
  cv::Matx22d inverse;
};

std::optional<Slopes> slopesOf(const cv::Mat& image, const cv::Point2d& point) {
  Slopes slopes;
  std::size_t at = 0;
  for (int v = -kReach; v <= kReach; ++v) {
    for (int u = -kReach; u <= kReach; ++u, ++at) {
      const double x = point.x + u;
      const double y = point.y + v;
      slopes.x[at] = 0.5 * (sample(image, x + 1, y) - sample(image, x - 1, y));
      slopes.y[at] = 0.5 * (sample(image, x, y + 1) - sample(image, x, y - 1));
    }
  }
  centre(slopes.x);
  centre(slopes.y);
  double xx = 0.0;
  double xy = 0.0;
  double yy = 0.0;
  for (std::size_t i = 0; i < kCount; ++i) {
    xx += slopes.x[i] * slopes.x[i];
    xy += slopes.x[i] * slopes.y[i];
    yy += slopes.y[i] * slopes.y[i];
  }
  const double weaker = 0.5 * (xx + yy - std::hypot(xx - yy, 2 * xy));
  if (weaker < kLeastTexture) {
    return {};
  }
  const double determinant = xx * yy - xy * xy;
  slopes.inverse = cv::Matx22d(yy, -xy, -xy, xx) * (1.0 / determinant);
  return slopes;
}

}  // namespace

std::optional<cv::Point2d> alignPatch(const cv::Mat& firstImage,
                                      const cv::Mat& secondImage,
                                      const cv::Point2d& first,
                                      const cv::Point2d& second,
                                      const cv::Matx22d& shape) {
  Patch wanted;
  Patch found;
  if (!read(firstImage, first, cv::Matx22d::eye(), wanted)) {
    return {};
  }
  const std::optional<Slopes> slopes = slopesOf(firstImage, first);
  if (!slopes) {
    return {};
  }
  const double wantedLength = centre(wanted);
  cv::Point2d point = second;
  for (int step = 0; step < kMostSteps; ++step) {
    if (!read(secondImage, point, shape, found)) {
      return {};
    }
    const double foundLength = centre(found);
    if (!(foundLength > 0.0)) {
      return {};
    }
    const double contrast = wantedLength / foundLength;
    double ofX = 0.0;
    double ofY = 0.0;
    double product = 0.0;
    for (std::size_t i = 0; i < kCount; ++i) {
      const double difference = contrast * found[i] - wanted[i];
      ofX += slopes->x[i] * difference;
      ofY += slopes->y[i] * difference;
      product += found[i] * wanted[i];
    }
    const cv::Vec2d move = shape * (slopes->inverse * cv::Vec2d(ofX, ofY));
    if (cv::norm(move) < kSmallStepPx) {
      const bool agrees = product >= kLeastCorrelation * wantedLength * foundLength;
      return agrees ? std::optional<cv::Point2d>(point) : std::nullopt;
    }
    point -= cv::Point2d(move[0], move[1]);
    if (!(cv::norm(point - second) < kFarthestPx)) {
      return {};
    }
  }
  return {};
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
