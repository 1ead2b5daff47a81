// SPDX-License-Identifier: MIT
#include "correct/Correction.h"

#include "DistortCorrect.h"

#include <cmath>

namespace orv2d {
namespace {

using ORV::Common::Algorithms::DistortCorrect::SterProject;

int integer(const LensValues& values, const char* name) {
  return static_cast<int>(values.at(name));
}

/// The variables that the stereographic entry points read and write.
struct Projection {
  double yaw;
  double pitch;
  PlaneBounds bounds;

  explicit Projection(const LensValues& values)
      : yaw(values.at("yaw")), pitch(values.at("pitch")) {}
};

Correction finished(int status, const cv::Mat& image, const Projection& projection) {
  if (status != 0) {
    return {status, {}, {}, {}};
  }
  return {status, image, projection.bounds, cv::Point2d(projection.yaw, projection.pitch)};
}

Correction correctSquare(const LensValues& values, cv::Mat image) {
  Projection p(values);
  const int status = SterProject()(values.at("half-field-angle"),
                                   values.at("cubic"),
                                   values.at("linear"),
                                   p.yaw,
                                   p.pitch,
                                   values.at("roll"),
                                   p.bounds.left,
                                   p.bounds.top,
                                   p.bounds.right,
                                   p.bounds.bottom,
                                   image);
  return finished(status, image, p);
}

Correction correctRange(const LensValues& values, cv::Mat image) {
  Projection p(values);
  const int status = SterProject()(values.at("half-field-angle"),
                                   values.at("cubic"),
                                   values.at("linear"),
                                   p.yaw,
                                   p.pitch,
                                   values.at("roll"),
                                   integer(values, "margin-deg"),
                                   values.at("min-angle-deg"),
                                   values.at("max-angle-deg"),
                                   values.at("pixels-per-unit"),
                                   p.bounds.left,
                                   p.bounds.top,
                                   p.bounds.right,
                                   p.bounds.bottom,
                                   image);
  return finished(status, image, p);
}

Correction correctFov(const LensValues& values, cv::Mat image) {
  Projection p(values);
  const int status = SterProject()(values.at("half-field-angle"),
                                   values.at("cubic"),
                                   values.at("linear"),
                                   p.yaw,
                                   p.pitch,
                                   values.at("roll"),
                                   integer(values, "margin-percent"),
                                   values.at("cone-angle-deg"),
                                   values.at("pixels-per-unit"),
                                   p.bounds.left,
                                   p.bounds.top,
                                   p.bounds.right,
                                   p.bounds.bottom,
                                   image);
  return finished(status, image, p);
}

Correction correctRect(const LensValues& values, cv::Mat image) {
  Projection p(values);
  const int status = SterProject().RectProject(values.at("half-field-angle"),
                                               values.at("cubic"),
                                               values.at("linear"),
                                               p.yaw,
                                               p.pitch,
                                               values.at("roll"),
                                               integer(values, "output-size"),
                                               values.at("plane-half-extent"),
                                               image);
  return {status, image, {}, cv::Point2d(p.yaw, p.pitch)};
}

Correction correctPinhole(const LensValues& values, cv::Mat image) {
  std::vector<double> params;
  for (const char* name : {"k1",
                           "k2",
                           "k3",
                           "p1",
                           "p2",
                           "centre-x",
                           "centre-y",
                           "scale",
                           "focal-x",
                           "focal-y",
                           "angle-deg"}) {
    params.push_back(values.at(name));
  }
  const int status = SterProject()(params, image);
  return {status, status == 0 ? image : cv::Mat(), {}, {}};
}

Correction correctView(const LensValues& values, cv::Mat image) {
  const int status = SterProject()({},
                                   {values.at("view-x-deg"), values.at("view-y-deg")},
                                   {values.at("fov-x-deg"), values.at("fov-y-deg")},
                                   values.at("angle-scale"),
                                   values.at("radial"),
                                   image);
  return {status, image, {}, {}};
}

/// A position on a cropped axis of `size` samples from -1 (first edge) to 1 (last edge).
double centreOnCrop(int size, int first, int length) {
  return ((size * 0.5 - first) * 2.0 - length) / length;
}

}  // namespace

bool Correction::hasContent() const {
  if (image.empty() || cv::countNonZero(image.reshape(1)) == 0) {
    return false;
  }
  return !centre || (std::isfinite(centre->x) && std::isfinite(centre->y));
}

Correction correctImage(CorrectMode mode, const LensValues& values, const cv::Mat& source) {
  switch (mode) {
    case CorrectMode::kSquare:
      return correctSquare(values, source);
    case CorrectMode::kRange:
      return correctRange(values, source);
    case CorrectMode::kFov:
      return correctFov(values, source);
    case CorrectMode::kRect:
      return correctRect(values, source);
    case CorrectMode::kPinhole:
      return correctPinhole(values, source);
    case CorrectMode::kView:
      return correctView(values, source);
  }
  return {};
}

Correction correctThroughMaps(const SamplingMaps& maps, const cv::Mat& source) {
  const int size = maps.size;
  const int channels = source.channels();
  cv::Mat sampled = cv::Mat::zeros(size, size, source.type());
  std::vector<float*> columns = maps.rowPointers(maps.columns());
  std::vector<float*> rows = maps.rowPointers(maps.rows());
  SterProject project;
  project.Interpolate(source.data,
                      columns.data(),
                      rows.data(),
                      channels,
                      source.cols,
                      source.rows,
                      size,
                      sampled.data);
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  const int status =
      project.DetermineBoundaries(sampled.data, channels, size, left, top, right, bottom);
  if (status != 0 || right <= left || bottom <= top) {
    return {status, {}, {}, {}};
  }
  cv::Mat cropped(bottom - top, right - left, source.type());
  project.Crop(sampled.data, channels, size, top, left, cropped.cols, cropped.rows, cropped.data);

  const double unitsPerPixel = 2.0 * maps.halfExtent / size;
  const PlaneBounds bounds = {unitsPerPixel * left - maps.halfExtent,
                              maps.halfExtent - unitsPerPixel * top,
                              unitsPerPixel * right - maps.halfExtent,
                              maps.halfExtent - unitsPerPixel * bottom};
  const cv::Point2d centre(centreOnCrop(size, left, cropped.cols),
                           centreOnCrop(size, top, cropped.rows));
  return {status, cropped, bounds, centre};
}

}  // namespace orv2d
