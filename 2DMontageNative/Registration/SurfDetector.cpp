// SPDX-License-Identifier: MIT
#include "Registration/SurfDetector.h"

#include "Platform/ParallelLoop.h"
#include "Registration/SurfHessian.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

/// Grid rows per parallel task: two more are computed at its ends, so not too few.
constexpr int kStripRows = 64;

/// Side of the filter of a layer in sampling steps; pixels in the first octave.
int sideInSteps(int layer) {
  return 9 + 6 * layer;
}

/// One filter size on the octave's sampling grid.
struct Layer {
  int size;      ///< filter side in pixels
  int margin;    ///< grid distance from a sample to its filter's top-left corner
  int existing;  ///< rows of the grid on which the filter fits into the image, from `margin` on
  int existingCols;
  HessianFilter filter;

  Layer(int index, int step, const IntegralImage& image)
      : size(sideInSteps(index) * step),
        margin(size / 2 / step),
        existing((image.rows() - size) / step + 1),
        existingCols((image.cols() - size) / step + 1),
        filter(size, image) {}
};

/// The neighbourhood of a sample in the layers below, at and above it: three rows of each.
using Neighbourhood = std::array<std::array<const float*, 3>, 3>;

bool isMaximum(const Neighbourhood& rows, int col) {
  const float centre = rows[1][1][col];
  for (const auto& layer : rows) {
    for (const float* const row : layer) {
      for (int x = col - 1; x <= col + 1; ++x) {
        if (row[x] >= centre && &row[x] != &rows[1][1][col]) {
          return false;
        }
      }
    }
  }
  return true;
}

/// One Newton step to the maximum of the parabola through the 27 samples: offsets in x, y and
/// layer, in samples. None when there is no step or it leaves the neighbourhood.
std::optional<cv::Vec3f> interpolate(const Neighbourhood& rows, int col) {
  const auto at = [&](int layer, int y, int x) {
    return rows[static_cast<std::size_t>(layer) + 1][static_cast<std::size_t>(y) + 1][col + x];
  };
  const cv::Vec3f descent(-(at(0, 0, 1) - at(0, 0, -1)) / 2,
                          -(at(0, 1, 0) - at(0, -1, 0)) / 2,
                          -(at(1, 0, 0) - at(-1, 0, 0)) / 2);
  const float xx = at(0, 0, -1) - 2 * at(0, 0, 0) + at(0, 0, 1);
  const float yy = at(0, -1, 0) - 2 * at(0, 0, 0) + at(0, 1, 0);
  const float ss = at(-1, 0, 0) - 2 * at(0, 0, 0) + at(1, 0, 0);
  const float xy = (at(0, 1, 1) - at(0, 1, -1) - at(0, -1, 1) + at(0, -1, -1)) / 4;
  const float xs = (at(1, 0, 1) - at(1, 0, -1) - at(-1, 0, 1) + at(-1, 0, -1)) / 4;
  const float ys = (at(1, 1, 0) - at(1, -1, 0) - at(-1, 1, 0) + at(-1, -1, 0)) / 4;
  const cv::Matx33f hessian(xx, xy, xs, xy, yy, ys, xs, ys, ss);
  const cv::Vec3f step = hessian.solve(descent, cv::DECOMP_LU);

  const bool moves = step[0] != 0 || step[1] != 0 || step[2] != 0;
  const bool staysNear = std::abs(step[0]) <= 1 && std::abs(step[1]) <= 1 && std::abs(step[2]) <= 1;
  return moves && staysNear ? std::optional<cv::Vec3f>(step) : std::nullopt;
}

/// One octave of the scale space on one image.
class Octave {
 public:
  Octave(const IntegralImage& integral, int octave, int layers, float threshold)
      : image_(integral),
        octave_(octave),
        step_(1 << octave),
        gridRows_(integral.rows() / step_),
        gridCols_(integral.cols() / step_),
        threshold_(threshold) {
    for (int layer = 0; layer < layers + 2; ++layer) {
      layers_.emplace_back(layer, step_, image_);
    }
  }

  /// Keypoints of the whole octave, in no particular but always the same order.
  [[nodiscard]] std::vector<cv::KeyPoint> detect() const {
    const int first = border(1);
    const int last = gridRows_ - first;
    const int strips = (last - first + kStripRows - 1) / kStripRows;
    std::vector<std::vector<cv::KeyPoint>> found(static_cast<std::size_t>(strips));
    Platform::parallelFor(0, strips, [&](int strip) {
      const int begin = first + strip * kStripRows;
      found[static_cast<std::size_t>(strip)] =
          detectInRows(begin, std::min(begin + kStripRows, last));
    });
    std::vector<cv::KeyPoint> all;
    for (const auto& keypoints : found) {
      all.insert(all.end(), keypoints.begin(), keypoints.end());
    }
    return all;
  }

 private:
  /// Determinants of all layers in three successive grid rows, row r in slot r modulo 3.
  class Window {
   public:
    Window(std::size_t layers, int cols)
        : layers_(layers),
          stride_(static_cast<std::size_t>(cols) + IntegralImage::kReadablePadding),
          values_(3 * layers * stride_) {}

    [[nodiscard]] float* row(std::size_t layer, int row) {
      return values_.data() + (static_cast<std::size_t>(row % 3) * layers_ + layer) * stride_;
    }

   private:
    std::size_t layers_;
    std::size_t stride_;
    std::vector<float> values_;
  };

  /// Samples nearer than this to the grid's edge cannot be keypoints of the layer: the filter of
  /// the layer above does not fit around their neighbours.
  [[nodiscard]] int border(std::size_t layer) const { return layers_[layer + 1].margin + 1; }

  [[nodiscard]] std::vector<cv::KeyPoint> detectInRows(int begin, int end) const {
    Window window(layers_.size(), gridCols_);
    std::vector<cv::KeyPoint> keypoints;
    for (int row = begin - 1; row <= end; ++row) {
      computeRow(row, window);
      if (row > begin) {
        findMaxima(row - 1, window, keypoints);
      }
    }
    return keypoints;
  }

  void computeRow(int row, Window& window) const {
    for (std::size_t l = 0; l < layers_.size(); ++l) {
      const Layer& layer = layers_[l];
      const int filterRow = row - layer.margin;
      if (filterRow >= 0 && filterRow < layer.existing) {
        hessianDeterminants(layer.filter,
                            image_.at(filterRow * step_, 0),
                            layer.existingCols,
                            window.row(l, row) + layer.margin);
      }
    }
  }

  void findMaxima(int row, Window& window, std::vector<cv::KeyPoint>& keypoints) const {
    for (std::size_t l = 1; l + 1 < layers_.size(); ++l) {
      const int first = border(l);
      if (row < first || row >= gridRows_ - first) {
        continue;
      }
      Neighbourhood rows{};
      for (std::size_t dl = 0; dl < 3; ++dl) {
        for (int dy = 0; dy < 3; ++dy) {
          rows[dl][static_cast<std::size_t>(dy)] = window.row(l + dl - 1, row + dy - 1);
        }
      }
      const float* const centre = rows[1][1];
      for (int col = first; col < gridCols_ - first; ++col) {
        if (centre[col] > threshold_ && isMaximum(rows, col)) {
          if (const auto offset = interpolate(rows, col)) {
            keypoints.push_back(makeKeypoint(l, row, col, centre[col], *offset));
          }
        }
      }
    }
  }

  [[nodiscard]] cv::KeyPoint makeKeypoint(
      std::size_t l, int row, int col, float response, const cv::Vec3f& offset) const {
    const Layer& layer = layers_[l];
    const int top = step_ * (row - layer.margin);
    const int left = step_ * (col - layer.margin);
    const auto step = static_cast<float>(step_);
    const float halfSide = static_cast<float>(layer.size - 1) * 0.5F;
    const auto sizeStep = static_cast<float>(layer.size - layers_[l - 1].size);
    const float x = static_cast<float>(left) + halfSide + offset[0] * step;
    const float y = static_cast<float>(top) + halfSide + offset[1] * step;
    const int size = cvRound(static_cast<float>(layer.size) + offset[2] * sizeStep);
    constexpr float kNoAngle = -1.0F;
    return {x,
            y,
            static_cast<float>(size),
            kNoAngle,
            response,
            octave_,
            layer.filter.laplacianSign(image_.at(top, left))};
  }

  const IntegralImage& image_;
  int octave_;
  int step_;
  int gridRows_;
  int gridCols_;
  float threshold_;
  std::vector<Layer> layers_;
};

/// How many of the wanted layers can hold a keypoint on a grid whose shorter side has `gridSide`
/// samples: the filter of the next layer must fit around a sample's neighbours on both sides.
int fittingLayers(int gridSide, int wanted) {
  int layers = 0;
  while (layers < wanted && gridSide >= sideInSteps(layers + 2) + 2) {
    ++layers;
  }
  return layers;
}

bool strongerFirst(const cv::KeyPoint& a, const cv::KeyPoint& b) {
  return std::make_tuple(-a.response, -a.size, -a.octave, -a.pt.y, a.pt.x) <
         std::make_tuple(-b.response, -b.size, -b.octave, -b.pt.y, b.pt.x);
}

}  // namespace

std::vector<cv::KeyPoint> detectSurfKeypoints(const IntegralImage& integral,
                                              SurfScaleSpace scaleSpace,
                                              float threshold) {
  std::vector<cv::KeyPoint> keypoints;
  const int shorterSide = std::min(integral.rows(), integral.cols());
  for (int octave = 0; octave < scaleSpace.octaves; ++octave) {
    const int layers = fittingLayers(shorterSide >> octave, scaleSpace.layers);
    if (layers == 0) {
      break;
    }
    const auto detected =
        octave == 0
            ? Octave(integral, octave, layers, threshold).detect()
            : Octave(integral.sortedByPhase(1 << octave), octave, layers, threshold).detect();
    keypoints.insert(keypoints.end(), detected.begin(), detected.end());
  }
  std::sort(keypoints.begin(), keypoints.end(), strongerFirst);
  return keypoints;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
