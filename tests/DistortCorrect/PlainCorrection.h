// SPDX-License-Identifier: MIT
/// @file
/// The corrections written out plainly: whole maps, row-parallel loops, OpenCV for the rest. What
/// the tests compare the library with, and what the benchmarks measure it against.
#ifndef ORV_MONTAGE_TESTS_PLAIN_CORRECTION_H
#define ORV_MONTAGE_TESTS_PLAIN_CORRECTION_H

#include "Platform/ParallelLoop.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace plain {

using ORV::Common::Platform::parallelFor;

struct View {
  double halfFieldAngle = 1.2;
  double cubicCoeff = 0.0;
  double linearCoeff = 1.0;
  double yaw = 0.0;
  double pitch = 0.0;
  double roll = 0.0;
  float lift = 2.0F;  ///< 1: `RectProject`'s, for views that are not rotated
};

struct Maps {
  cv::Mat cols;
  cv::Mat rows;
};

inline std::vector<float> grid(float first, float last, int n) {
  std::vector<float> values(1, first);
  const float step = (last - first) / static_cast<float>(n - 1);
  while (static_cast<int>(values.size()) < n) {
    values.push_back(values.back() + step);
  }
  return values;
}

inline cv::Matx33f times(const cv::Matx33f& a, const cv::Matx33f& b) {
  cv::Matx33f c = cv::Matx33f::zeros();
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      for (int k = 0; k < 3; ++k) {
        c(i, j) += a(i, k) * b(k, j);
      }
    }
  }
  return c;
}

inline cv::Matx33f rotation(double yaw, double pitch, double roll) {
  const auto s = [](double angle) { return static_cast<float>(std::sin(angle)); };
  const auto c = [](double angle) { return static_cast<float>(std::cos(angle)); };
  const cv::Matx33f rz(c(roll), -s(roll), 0, s(roll), c(roll), 0, 0, 0, 1);
  const cv::Matx33f rx(1, 0, 0, 0, c(pitch), -s(pitch), 0, s(pitch), c(pitch));
  const cv::Matx33f ry(c(yaw), 0, s(yaw), 0, 1, 0, -s(yaw), 0, c(yaw));
  return times(times(rz, rx), ry);
}

/// Fills maps of the grid's size with the source positions of the stereographic points (xs, ys).
inline void fillMaps(const View& view,
                     const std::vector<float>& xs,
                     const std::vector<float>& ys,
                     cv::Size source,
                     Maps& result) {
  const int width = static_cast<int>(xs.size());
  const int height = static_cast<int>(ys.size());
  const bool rotated = view.yaw != 0.0 || view.pitch != 0.0 || view.roll != 0.0;
  const cv::Matx33f m = rotation(view.yaw, view.pitch, view.roll);
  const double c1 = view.cubicCoeff / std::sin(view.halfFieldAngle);
  const double c0 = view.linearCoeff / std::sin(view.halfFieldAngle);
  const float cx = static_cast<float>(source.width * 0.5);
  const float cy = static_cast<float>(source.height * 0.5);
  parallelFor(0, height, [&](int r) {
    float* const cols = result.cols.ptr<float>(r);
    float* const rows = result.rows.ptr<float>(r);
    const float y = ys[static_cast<std::size_t>(r)];
    for (int c = 0; c < width; ++c) {
      const float x = xs[static_cast<std::size_t>(c)];
      const float r2 = x * x + y * y;
      const float t = 1.0F / (r2 + 1.0F);
      float sx = view.lift * x * t;
      float sy = view.lift * y * t;
      if (rotated) {
        const float sz = (1.0F - r2) * t;
        const float rx = m(0, 0) * sx + m(0, 1) * sy + m(0, 2) * sz;
        const float ry = m(1, 0) * sx + m(1, 1) * sy + m(1, 2) * sz;
        sx = rx;
        sy = ry;
      }
      const float f = static_cast<float>(static_cast<double>(sx * sx + sy * sy) * c1 + c0);
      cols[c] = (sx * f + 1.0F) * cx;
      rows[c] = (sy * f + 1.0F) * cy;
    }
  });
}

inline Maps maps(const View& view,
                 const std::vector<float>& xs,
                 const std::vector<float>& ys,
                 cv::Size source) {
  const cv::Size size(static_cast<int>(xs.size()), static_cast<int>(ys.size()));
  Maps result{cv::Mat(size, CV_32F), cv::Mat(size, CV_32F)};
  fillMaps(view, xs, ys, source, result);
  return result;
}

inline cv::Mat sampled(const cv::Mat& source, const Maps& m) {
  cv::Mat out;
  cv::remap(source, out, m.cols, m.rows, cv::INTER_CUBIC, cv::BORDER_CONSTANT, cv::Scalar());
  return out;
}

/// Per column or row: the average of cv::reduce, summed over the channels.
inline std::vector<int> averages(const cv::Mat& picture, int dimension) {
  cv::Mat reduced;
  cv::reduce(picture, reduced, dimension, cv::REDUCE_AVG, CV_8U);
  std::vector<int> totals;
  for (int i = 0; i < static_cast<int>(reduced.total()); ++i) {
    const unsigned char* const pixel = reduced.ptr() + i * reduced.channels();
    totals.push_back(std::accumulate(pixel, pixel + reduced.channels(), 0));
  }
  return totals;
}

struct Bounds {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  bool unbroken = true;
};

inline Bounds lenientBounds(const std::vector<int>& columns, const std::vector<int>& rows) {
  const int n = static_cast<int>(columns.size());
  Bounds b{0, 0, n - 1, n - 1, true};
  bool rightFound = false;
  bool bottomFound = false;
  for (int i = 0; i < n && b.unbroken; ++i) {
    const int column = columns[static_cast<std::size_t>(i)];
    const int row = rows[static_cast<std::size_t>(i)];
    if (column > 0 && b.left == 0)
      b.left = i;
    if (row > 0 && b.top == 0)
      b.top = i;
    if (b.left != 0 && !rightFound && column == 0)
      b.right = i, rightFound = true;
    if (b.top != 0 && !bottomFound && row == 0)
      b.bottom = i, bottomFound = true;
    b.unbroken = !((rightFound && column != 0) || (bottomFound && row != 0));
  }
  return b;
}

struct Result {
  int status = 0;
  cv::Mat image;
  double yaw = 0.0;
  double pitch = 0.0;
  cv::Vec4d bounds;  ///< left, top, right, bottom in plane coordinates
};

/// The square correction with whole maps.
inline Result square(const View& view, int n, double s, const cv::Mat& image) {
  const std::vector<float> axis = grid(static_cast<float>(-s), static_cast<float>(s), n);
  const Maps m = maps(view, axis, axis, image.size());
  cv::Mat source;
  if (image.type() == CV_8UC1) {
    cv::GaussianBlur(image, source, cv::Size(3, 3), 1.0, 1.0, cv::BORDER_DEFAULT);
  } else {
    source = image;
  }
  const cv::Mat output = sampled(source, m);
  const Bounds b = lenientBounds(averages(output, 0), averages(output, 1));
  Result result;
  if (!b.unbroken) {
    result.status = 1;
    return result;
  }
  result.image = output(cv::Rect(b.left, b.top, b.right - b.left, b.bottom - b.top)).clone();
  const double w = result.image.cols;
  const double h = result.image.rows;
  const double d = 2.0 * s / n;
  result.yaw = ((n * 0.5 - b.left) * 2.0 - w) / w;
  result.pitch = ((n * 0.5 - b.top) * 2.0 - h) / h;
  result.bounds = {d * b.left - s, s - d * b.top, d * b.right - s, s - d * b.bottom};
  return result;
}

/// One direction of the smoothing: taps summed in order, rounded to 8 bits, edges repeated.
inline cv::Mat smoothedAlong(const cv::Mat& image,
                             cv::Point direction,
                             const std::vector<float>& taps) {
  cv::Mat out(image.size(), image.type());
  const int half = static_cast<int>(taps.size()) / 2;
  const int channels = image.channels();
  parallelFor(0, image.rows, [&](int r) {
    for (int c = 0; c < image.cols; ++c) {
      for (int channel = 0; channel < channels; ++channel) {
        float sum = 0.0F;
        for (int j = -half; j <= half; ++j) {
          const int row = std::clamp(r + j * direction.y, 0, image.rows - 1);
          const int col = std::clamp(c + j * direction.x, 0, image.cols - 1);
          sum +=
              taps[static_cast<std::size_t>(j + half)] * image.ptr(row)[col * channels + channel];
        }
        out.ptr(r)[c * channels + channel] = cv::saturate_cast<unsigned char>(sum);
      }
    }
  });
  return out;
}

inline std::vector<float> gaussianTaps(float sigma, int kernelSize) {
  const int half = kernelSize / 2;
  std::vector<float> taps;
  float sum = 0.0F;
  for (int j = -half; j <= half; ++j) {
    const float d = static_cast<float>(j);
    taps.push_back(std::exp(-(d * d) / (2.0F * sigma * sigma)));
    sum += taps.back();
  }
  for (float& tap : taps) {
    tap /= sum;
  }
  return taps;
}

/// Separable Gaussian, horizontal pass first; settings as vertical, horizontal.
inline cv::Mat smoothed(const cv::Mat& image, cv::Vec2f sigma, cv::Vec2i kernelSize) {
  const cv::Mat horizontal = smoothedAlong(image, {1, 0}, gaussianTaps(sigma[1], kernelSize[1]));
  return smoothedAlong(horizontal, {0, 1}, gaussianTaps(sigma[0], kernelSize[0]));
}

/// The angular view correction with a working matrix per quantity.
inline cv::Mat angularView(const cv::Mat& image,
                           cv::Vec2d viewDeg,
                           cv::Vec2d fieldDeg,
                           double angleScale,
                           double radialCoeff) {
  const double pi = 3.141592654;
  const int w = image.cols;
  const int h = image.rows;
  const double px = w / (fieldDeg[0] * pi / 180.0) * 1.05;
  const double py = h / (fieldDeg[1] * pi / 180.0) * 1.05;
  const double yaw = viewDeg[0] * angleScale * pi / 180.0;
  const double pitch = -viewDeg[1] * angleScale * pi / 180.0;
  const cv::Matx33f m = yaw == 0.0 && pitch == 0.0 ? cv::Matx33f::eye() : rotation(yaw, pitch, 0.0);
  cv::Mat_<float> x(h, w), y(h, w);
  parallelFor(0, h, [&](int r) {
    for (int c = 0; c < w; ++c) {
      const float b = static_cast<float>((r - h * 0.5) / py);
      const float a = static_cast<float>((c - w * 0.5) / px);
      const float s = a * a + b * b;
      const double radial = static_cast<double>(s) * radialCoeff + 1.0;
      const float u = static_cast<float>(static_cast<double>(std::tan(a)) * radial);
      const float v = static_cast<float>(static_cast<double>(std::tan(b)) * radial);
      const float q = u * u + v * v;
      const float t = q + 1.0F;
      const float sx = static_cast<float>(2.0 * static_cast<double>(u) / static_cast<double>(t));
      const float sy = static_cast<float>(2.0 * static_cast<double>(v) / static_cast<double>(t));
      const float sz = (1.0F - q) / t;
      const float rz = m(2, 0) * sx + m(2, 1) * sy + m(2, 2) * sz;
      x(r, c) = (m(0, 0) * sx + m(0, 1) * sy + m(0, 2) * sz) / (rz + 1.0F);
      y(r, c) = (m(1, 0) * sx + m(1, 1) * sy + m(1, 2) * sz) / (rz + 1.0F);
    }
  });
  double xMin = 0, xMax = 0, yMin = 0, yMax = 0;
  cv::minMaxLoc(x, &xMin, &xMax);
  cv::minMaxLoc(y, &yMin, &yMax);
  const double dx = xMax - xMin;
  const double dy = yMax - yMin;
  const double g = dy / h >= dx / w ? w / dx : h / dy;
  parallelFor(0, h, [&](int r) {
    for (int c = 0; c < w; ++c) {
      x(r, c) =
          static_cast<float>((static_cast<double>(x(r, c)) - (xMin + xMax) * 0.5) * g + w * 0.5);
      y(r, c) =
          static_cast<float>((static_cast<double>(y(r, c)) - (yMin + yMax) * 0.5) * g + h * 0.5);
    }
  });
  cv::Mat out;
  cv::remap(image, out, x, y, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
  return out;
}

}  // namespace plain

#endif  // ORV_MONTAGE_TESTS_PLAIN_CORRECTION_H
