// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/AngularView.h"
#include "DistortCorrect/CorrectionStatus.h"
#include "DistortCorrect/PlaneRendering.h"
#include "Platform/ParallelLoop.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <limits>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// The correction's own value of pi, part of its definition.
constexpr double kPi = 3.141592654;
/// Factor on the pixels per radian, part of the correction's definition: the image is read as
/// 1 / 1.05 of the field of view.
constexpr double kFieldFactor = 1.05;
/// Map values of a band of rows: 128 KB per map, which stays in the second-level cache.
constexpr int kBandPixels = 32768;

double radians(double degrees) {
  return degrees * kPi / 180.0;
}

/// Smallest and largest of many values; NaN is passed over.
class Extent {
 public:
  void add(const float* values, int count) {
    int first = 0;
    for (; first + kLanes <= count; first += kLanes) {
      for (std::size_t k = 0; k < kLanes; ++k) {
        take(k, values[static_cast<std::size_t>(first) + k]);
      }
    }
    for (; first < count; ++first) {
      take(0, values[first]);
    }
  }

  void add(const Extent& other) {
    for (std::size_t k = 0; k < kLanes; ++k) {
      // An empty lane holds infinities: each may meet its own kind only.
      min_[k] = std::min(min_[k], other.min_[k]);
      max_[k] = std::max(max_[k], other.max_[k]);
    }
  }

  [[nodiscard]] double min() const { return *std::min_element(min_.begin(), min_.end()); }
  [[nodiscard]] double max() const { return *std::max_element(max_.begin(), max_.end()); }

 private:
  // Side by side, so that the compiler vectorises.
  static constexpr int kLanes = 16;

  void take(std::size_t lane, float value) {
    min_[lane] = value < min_[lane] ? value : min_[lane];
    max_[lane] = value > max_[lane] ? value : max_[lane];
  }

  static std::array<float, kLanes> filled(float value) {
    std::array<float, kLanes> lanes{};
    lanes.fill(value);
    return lanes;
  }

  std::array<float, kLanes> min_ = filled(std::numeric_limits<float>::infinity());
  std::array<float, kLanes> max_ = filled(-std::numeric_limits<float>::infinity());
};

struct PlaneExtent {
  Extent x;
  Extent y;
};

/// Plane points of a band of rows, one thread's working memory.
struct BandMaps {
  cv::Mat x;
  cv::Mat y;

  BandMaps(const AngularView& view, const cv::Range& rows, int width)
      : x(rows.size(), width, CV_32FC1), y(rows.size(), width, CV_32FC1) {
    for (int row = 0; row < rows.size(); ++row) {
      view.planeFromRow(rows.start + row, x.ptr<float>(row), y.ptr<float>(row));
    }
  }
};

/// Bands of whole rows of an image.
class RowBands {
 public:
  explicit RowBands(cv::Size size)
      : rows_(size.height), bandHeight_(std::max(1, kBandPixels / size.width)) {}

  [[nodiscard]] int count() const { return (rows_ + bandHeight_ - 1) / bandHeight_; }
  [[nodiscard]] cv::Range operator[](int band) const {
    return {band * bandHeight_, std::min((band + 1) * bandHeight_, rows_)};
  }

 private:
  int rows_;
  int bandHeight_;
};

PlaneExtent extentOf(const AngularView& view, const RowBands& bands, int width) {
  std::vector<PlaneExtent> extents(static_cast<std::size_t>(bands.count()));
  Platform::parallelFor(0, bands.count(), [&](int band) {
    const BandMaps maps(view, bands[band], width);
    const int count = static_cast<int>(maps.x.total());
    PlaneExtent& extent = extents[static_cast<std::size_t>(band)];
    extent.x.add(maps.x.ptr<float>(), count);
    extent.y.add(maps.y.ptr<float>(), count);
  });
  PlaneExtent whole;
  for (const PlaneExtent& extent : extents) {
    whole.x.add(extent.x);
    whole.y.add(extent.y);
  }
  return whole;
}

/// Scales plane points about the middle of their extent onto the image.
struct Placement {
  cv::Point2d middle;
  double scale;
  cv::Point2d imageCentre;

  Placement(const PlaneExtent& extent, cv::Size size)
      : middle((extent.x.min() + extent.x.max()) * 0.5, (extent.y.min() + extent.y.max()) * 0.5),
        imageCentre(size.width * 0.5, size.height * 0.5) {
    const double dx = extent.x.max() - extent.x.min();
    const double dy = extent.y.max() - extent.y.min();
    // The larger ratio of image to extent wins: the extent covers the image on both axes.
    scale = dy / size.height >= dx / size.width ? size.width / dx : size.height / dy;
  }

  void apply(BandMaps& maps) const {
    place(maps.x, middle.x, imageCentre.x);
    place(maps.y, middle.y, imageCentre.y);
  }

 private:
  void place(cv::Mat& map, double from, double to) const {
    auto* const values = map.ptr<float>();
    const std::size_t count = map.total();
    for (std::size_t i = 0; i < count; ++i) {
      values[i] = static_cast<float>((static_cast<double>(values[i]) - from) * scale + to);
    }
  }
};

/// The rotation of the view; the identity without view angles.
Matrix3f viewRotation(const std::vector<double>& viewAnglesDeg, double angleScale) {
  const Orientation orientation{viewAnglesDeg[0] * angleScale * kPi / 180.0,
                                -viewAnglesDeg[1] * angleScale * kPi / 180.0,
                                0.0};
  return orientation.rotates() ? lensFromView(orientation)
                               : Matrix3f{1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F};
}

}  // namespace

int SterProject::operator()(std::vector<double> extraParams,
                            std::vector<double> viewAnglesDeg,
                            std::vector<double> fieldOfViewDeg,
                            double angleScale,
                            double radialCoeff,
                            cv::Mat& image) {
  return Process(std::move(extraParams),
                 std::move(viewAnglesDeg),
                 std::move(fieldOfViewDeg),
                 angleScale,
                 radialCoeff,
                 image);
}

// NOLINTBEGIN(performance-unnecessary-value-param): lists by value by interface
int SterProject::Process(std::vector<double> /*extraParams*/,
                         std::vector<double> viewAnglesDeg,
                         std::vector<double> fieldOfViewDeg,
                         double angleScale,
                         double radialCoeff,
                         cv::Mat& image) {
  // NOLINTEND(performance-unnecessary-value-param)
  if (image.rows == 0 || image.cols == 0) {
    throw "Invalid matrix dimensions";  // a plain string by the interface
  }
  requireRemappable(image);
  const double pixelsPerRadianX = image.cols / radians(fieldOfViewDeg[0]) * kFieldFactor;
  const double pixelsPerRadianY = image.rows / radians(fieldOfViewDeg[1]) * kFieldFactor;
  const AngularView view(AngleAxis(image.cols, pixelsPerRadianX),
                         AngleAxis(image.rows, pixelsPerRadianY),
                         viewRotation(viewAnglesDeg, angleScale),
                         radialCoeff);
  const RowBands bands(image.size());
  // The extent must be known before any pixel is placed. The projection is computed again then:
  // that costs less than to hold it for the whole image.
  const Placement placement(extentOf(view, bands, image.cols), image.size());
  cv::Mat output(image.size(), image.type());
  Platform::parallelFor(0, bands.count(), [&](int band) {
    BandMaps maps(view, bands[band], image.cols);
    placement.apply(maps);
    cv::Mat target = output.rowRange(bands[band]);
    cv::remap(image, target, maps.x, maps.y, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
  });
  Platform::parallelFor(0, bands.count(), [&](int band) {
    cv::Mat target = image.rowRange(bands[band]);
    output.rowRange(bands[band]).copyTo(target);
  });
  return kCorrected;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
