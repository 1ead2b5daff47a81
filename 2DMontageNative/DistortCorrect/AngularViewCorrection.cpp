// SPDX-License-Identifier: MIT
#include "DistortCorrect.h"
#include "DistortCorrect/AngularView.h"
#include "DistortCorrect/CorrectionStatus.h"
#include "DistortCorrect/PlaneRendering.h"
#include "Platform/LinearSampler.h"
#include "Platform/ParallelLoop.h"

#include <algorithm>

namespace ORV::Common::Algorithms::DistortCorrect {
namespace {

/// The correction's own value of pi, part of its definition.
constexpr double kPi = 3.141592654;
/// Factor on the pixels per radian, part of the correction's definition: the image is read as
/// 1 / 1.05 of the field of view.
constexpr double kFieldFactor = 1.05;
// The maps of a tile and the source pixels under it stay in the second-level cache.
constexpr int kTileRows = 32;
constexpr int kTileCols = 512;

double radians(double degrees) {
  return degrees * kPi / 180.0;
}

/// Bands of whole rows of an image.
class RowBands {
 public:
  explicit RowBands(int rows) : rows_(rows) {}

  [[nodiscard]] int count() const { return (rows_ + kTileRows - 1) / kTileRows; }
  [[nodiscard]] cv::Range operator[](int band) const {
    return {band * kTileRows, std::min((band + 1) * kTileRows, rows_)};
  }

 private:
  int rows_;
};

Extent extentOf(const AngularView& view, const RowBands& bands) {
  std::vector<Extent> extents(static_cast<std::size_t>(bands.count()));
  Platform::parallelFor(0, bands.count(), [&](int band) {
    const cv::Range rows = bands[band];
    for (int row = rows.start; row < rows.end; ++row) {
      extents[static_cast<std::size_t>(band)].add(view.extentOfRow(row));
    }
  });
  Extent whole;
  for (const Extent& extent : extents) {
    whole.add(extent);
  }
  return whole;
}

/// Scales the plane about the middle of the extent onto the image.
PlanePlacement placementOf(const Extent& extent, cv::Size size) {
  const auto middle = [](double min, double max) { return (min + max) * 0.5; };
  const double dx = static_cast<double>(extent.maxX) - extent.minX;
  const double dy = static_cast<double>(extent.maxY) - extent.minY;
  // The larger ratio of image to extent wins: the extent covers the image on both axes.
  const double scale = dy / size.height >= dx / size.width ? size.width / dx : size.height / dy;
  return {{middle(extent.minX, extent.maxX), middle(extent.minY, extent.maxY)},
          scale,
          {size.width * 0.5, size.height * 0.5}};
}

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
  const RowBands bands(image.rows);
  // The extent must be known before any pixel is placed. The projection is computed again then:
  // that costs less than to hold it for the whole image.
  const PlanePlacement placement = placementOf(extentOf(view, bands), image.size());
  cv::Mat output(image.size(), image.type());
  Platform::parallelFor(0, bands.count(), [&](int band) {
    const cv::Range rows = bands[band];
    cv::Mat xMap(kTileRows, kTileCols, CV_32FC1);
    cv::Mat yMap(kTileRows, kTileCols, CV_32FC1);
    for (int first = 0; first < image.cols; first += kTileCols) {
      const cv::Range cols(first, std::min(first + kTileCols, image.cols));
      for (int row = 0; row < rows.size(); ++row) {
        view.placeRow(
            rows.start + row, cols, placement, xMap.ptr<float>(row), yMap.ptr<float>(row));
      }
      const cv::Rect part(0, 0, cols.size(), rows.size());
      cv::Mat target = output(rows, cols);
      Platform::sampleLinear(image, xMap(part), yMap(part), target);
    }
  });
  Platform::parallelFor(0, bands.count(), [&](int band) {
    cv::Mat target = image.rowRange(bands[band]);
    output.rowRange(bands[band]).copyTo(target);
  });
  return kCorrected;
}

}  // namespace ORV::Common::Algorithms::DistortCorrect
