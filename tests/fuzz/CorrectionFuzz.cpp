// SPDX-License-Identifier: MIT
/// @file
/// Every operation of the distortion correction, with any numbers and small images. Buffers are as
/// long as the interface wants them and not a byte longer.
#include "DistortCorrect.h"
#include "DistortCorrect/PlaneFrame.h"
#include "fuzz/Input.h"
#include "support/ThreadLimit.h"

#include <array>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

namespace {

using namespace ORV::Common::Algorithms::DistortCorrect;
using ORV::Fuzz::Input;

constexpr int kLongestSide = 64;
constexpr int kLargestOutput = 120;

/// A picture for an operation that replaces it or writes it in place: a part of a larger one, of
/// which nothing else may change.
class FramedImage {
 public:
  explicit FramedImage(Input& input) {
    constexpr int kFrame = 3;
    const cv::Mat pixels = input.image(kLongestSide);
    cv::copyMakeBorder(pixels, whole_, kFrame, kFrame, kFrame, kFrame, cv::BORDER_CONSTANT, kMark);
    place_ = {kFrame, kFrame, pixels.cols, pixels.rows};
    image = whole_(place_);
  }
  ~FramedImage() {
    whole_(place_) = kMark;
    if (cv::countNonZero(whole_.reshape(1) != kMark[0]) > 0) {
      std::abort();
    }
  }
  FramedImage(const FramedImage&) = delete;
  FramedImage& operator=(const FramedImage&) = delete;

  cv::Mat image;

 private:
  const cv::Scalar kMark = cv::Scalar::all(77);
  cv::Mat whole_;
  cv::Rect place_;
};

/// The numbers that the projecting operations share.
struct Lens {
  explicit Lens(Input& input)
      : angle(input.number(-4, 4)),
        cubic(input.number(-2, 2)),
        linear(input.number(-2, 2)),
        yaw(input.number(-4, 4)),
        pitch(input.number(-4, 4)),
        roll(input.number(-4, 4)) {}
  double angle, cubic, linear, yaw, pitch, roll;
  std::array<double, 4> bounds = {};
};

/// Whether a plane would take long to search; it is the caller who asked for it.
bool isLarge(double width, double height) {
  constexpr double kMost = 1e5, kRefused = 6.9e10;
  return width > 0 && height > 0 && width * height > kMost && width * height < kRefused;
}

void range(Input& input) {
  FramedImage framed(input);
  Lens lens(input);
  const int margin = input.integer(-20, 20);
  const double low = input.number(-180, 180), high = input.number(-180, 180);
  const double density = input.number(0, 200);
  const PlaneFrame frame = frameOfRange(lens.yaw, lens.pitch, margin, low, high);
  if (!isLarge((frame.right - frame.left) * density, (frame.top - frame.bottom) * density)) {
    SterProject()(lens.angle,
                  lens.cubic,
                  lens.linear,
                  lens.yaw,
                  lens.pitch,
                  lens.roll,
                  margin,
                  low,
                  high,
                  density,
                  lens.bounds[0],
                  lens.bounds[1],
                  lens.bounds[2],
                  lens.bounds[3],
                  framed.image);
  }
}

void cone(Input& input) {
  FramedImage framed(input);
  Lens lens(input);
  const int margin = input.integer(-100, 100);
  const double angle = input.number(-180, 180);
  const double density = input.number(0, 100);
  if (!isLarge(2 * density, 2 * density)) {
    SterProject()(lens.angle,
                  lens.cubic,
                  lens.linear,
                  lens.yaw,
                  lens.pitch,
                  lens.roll,
                  margin,
                  angle,
                  density,
                  lens.bounds[0],
                  lens.bounds[1],
                  lens.bounds[2],
                  lens.bounds[3],
                  framed.image);
  }
}

void square(Input& input) {
  FramedImage framed(input);
  Lens lens(input);
  const int size = input.between(-2, kLargestOutput);
  SterProject().Process(lens.angle,
                        lens.cubic,
                        lens.linear,
                        lens.yaw,
                        lens.pitch,
                        lens.roll,
                        size,
                        input.number(0, 2),
                        lens.bounds[0],
                        lens.bounds[1],
                        lens.bounds[2],
                        lens.bounds[3],
                        framed.image);
}

void rect(Input& input) {
  FramedImage framed(input);
  Lens lens(input);
  const int size = input.between(-2, kLargestOutput);
  SterProject().RectProject(lens.angle,
                            lens.cubic,
                            lens.linear,
                            lens.yaw,
                            lens.pitch,
                            lens.roll,
                            size,
                            input.number(0, 2),
                            framed.image);
}

void pinhole(Input& input) {
  FramedImage framed(input);
  std::vector<double> params(input.between(0, 30) == 0 ? 10 : 11);
  for (double& value : params) {
    value = input.flag() ? input.number(-1, 1) : input.number(-100, 100);
  }
  SterProject()(params, framed.image);
}

void view(Input& input) {
  FramedImage framed(input);
  const std::vector<double> angles = {input.number(-180, 180), input.number(-180, 180)};
  const std::vector<double> field = {input.number(-180, 180), input.number(-180, 180)};
  const double scale = input.number(-2, 2);
  SterProject()({}, angles, field, scale, input.number(-2, 2), framed.image);
}

/// Maps, smoothing and sampling, bounds and crop of packed buffers.
void rawBuffers(Input& input) {
  Lens lens(input);
  const int size = input.between(1, kLargestOutput);
  const int channels = input.flag() ? 3 : 1;
  const cv::Mat given = input.image(kLongestSide);
  const auto samples = static_cast<std::size_t>(size) * static_cast<std::size_t>(size);
  std::vector<float> cols(samples), rows(samples);
  std::vector<float*> mapCols, mapRows;
  for (int i = 0; i < size; ++i) {
    mapCols.push_back(cols.data() + static_cast<std::ptrdiff_t>(i) * size);
    mapRows.push_back(rows.data() + static_cast<std::ptrdiff_t>(i) * size);
  }
  SterProject correct;
  correct(lens.angle,
          lens.cubic,
          lens.linear,
          lens.yaw,
          lens.pitch,
          lens.roll,
          size,
          input.number(0, 2),
          channels,
          input.flag() ? input.integer(0, 100) : given.cols,
          given.rows,
          mapCols.data(),
          mapRows.data());
  for (int i = input.between(0, 40); i > 0; --i) {
    cols[input.take<std::uint16_t>() % samples] = static_cast<float>(input.number(-1e10, 1e10));
    rows[input.take<std::uint16_t>() % samples] = static_cast<float>(input.number(-2, 60));
  }
  std::vector<unsigned char> source(given.total() * static_cast<std::size_t>(channels));
  for (std::size_t i = 0; i < source.size(); ++i) {
    source[i] = given.data[i % given.total()];
  }
  std::vector<unsigned char> output(samples * static_cast<std::size_t>(channels));
  correct.Interpolate(source.data(),
                      mapCols.data(),
                      mapRows.data(),
                      channels,
                      given.cols,
                      given.rows,
                      size,
                      output.data());
  int left = 0, top = 0, right = 0, bottom = 0;
  correct.DetermineBoundaries(output.data(), channels, size, left, top, right, bottom);
  const int width = std::max(right - left, 0), height = std::max(bottom - top, 0);
  std::vector<unsigned char> crop(static_cast<std::size_t>(width) *
                                  static_cast<std::size_t>(height * channels));
  correct.Crop(output.data(), channels, size, top, left, width, height, crop.data());
  const float sigma[] = {static_cast<float>(input.number(0, 5)),
                         static_cast<float>(input.number(0, 5))};
  const int kernelSize[] = {input.between(-9, 99), input.between(-9, 99)};
  correct.GaussianSmooth(source.data(), given.rows, given.cols, channels, sigma, kernelSize);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const ORV::TestSupport::ThreadLimit kOneThread(1);
  constexpr std::array kOperations = {range, cone, square, rect, pinhole, view, rawBuffers};
  Input input(bytes, count);
  try {
    kOperations[input.take<std::uint8_t>() % kOperations.size()](input);
  } catch (const cv::Exception&) {
  } catch (const std::bad_alloc&) {
  } catch (const std::string&) {
  }
  return 0;
}
