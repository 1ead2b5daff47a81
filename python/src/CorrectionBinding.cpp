// SPDX-License-Identifier: MIT
#include "Arrays.h"
#include "Call.h"
#include "DistortCorrect.h"
#include "Module.h"

#include <array>
#include <pybind11/stl.h>
#include <tuple>

namespace montage_python {
namespace {

using ORV::Common::Algorithms::DistortCorrect::SterProject;

/// The lens and where it looks, as the stereographic operations take them.
struct Lens {
  double halfFieldAngle;
  double cubic;
  double linear;
  double yaw;
  double pitch;
  double roll;
};

using Bounds = std::array<double, 4>;  ///< left, top, right, bottom, plane coordinates
using Centre = std::pair<double, double>;

/// Status, image (None unless 0), bounds, centre.
using Corrected = std::tuple<int, py::object, Bounds, Centre>;

/// Runs an operation on a copy of the image; `operation(lens, bounds, image)` returns the status.
template <class Operation>
Corrected corrected(const py::object& image,
                    const std::string& orderName,
                    Lens lens,
                    const Operation& operation) {
  const Order order = orderOf(orderName);
  cv::Mat pixels = readImage(image, "image", order, true).pixels;
  Bounds bounds{};
  const int status = unlocked([&] {
    const int result = operation(lens, bounds, pixels);
    if (result == 0) {
      swapInPlace(pixels, order);
    }
    return result;
  });
  return {status,
          status == 0 ? py::object(arrayOf(pixels)) : py::object(py::none()),
          bounds,
          {lens.yaw, lens.pitch}};
}

Corrected correctSquare(const py::object& image, const std::string& order, const Lens& lens) {
  return corrected(image, order, lens, [](Lens& l, Bounds& b, cv::Mat& pixels) {
    return SterProject()(l.halfFieldAngle,
                         l.cubic,
                         l.linear,
                         l.yaw,
                         l.pitch,
                         l.roll,
                         b[0],
                         b[1],
                         b[2],
                         b[3],
                         pixels);
  });
}

Corrected correctRange(const py::object& image,
                       const std::string& order,
                       const Lens& lens,
                       int marginDeg,
                       double minAngleDeg,
                       double maxAngleDeg,
                       double pixelsPerUnit) {
  return corrected(image, order, lens, [&](Lens& l, Bounds& b, cv::Mat& pixels) {
    return SterProject()(l.halfFieldAngle,
                         l.cubic,
                         l.linear,
                         l.yaw,
                         l.pitch,
                         l.roll,
                         marginDeg,
                         minAngleDeg,
                         maxAngleDeg,
                         pixelsPerUnit,
                         b[0],
                         b[1],
                         b[2],
                         b[3],
                         pixels);
  });
}

Corrected correctFov(const py::object& image,
                     const std::string& order,
                     const Lens& lens,
                     int marginPercent,
                     double coneAngleDeg,
                     double pixelsPerUnit) {
  return corrected(image, order, lens, [&](Lens& l, Bounds& b, cv::Mat& pixels) {
    return SterProject()(l.halfFieldAngle,
                         l.cubic,
                         l.linear,
                         l.yaw,
                         l.pitch,
                         l.roll,
                         marginPercent,
                         coneAngleDeg,
                         pixelsPerUnit,
                         b[0],
                         b[1],
                         b[2],
                         b[3],
                         pixels);
  });
}

Corrected correctRect(const py::object& image,
                      const std::string& order,
                      const Lens& lens,
                      int outputSize,
                      double planeHalfExtent) {
  return corrected(image, order, lens, [&](Lens& l, Bounds& /*none*/, cv::Mat& pixels) {
    return SterProject().RectProject(l.halfFieldAngle,
                                     l.cubic,
                                     l.linear,
                                     l.yaw,
                                     l.pitch,
                                     l.roll,
                                     outputSize,
                                     planeHalfExtent,
                                     pixels);
  });
}

Corrected correctPinhole(const py::object& image,
                         const std::string& order,
                         const std::vector<double>& parameters) {
  return corrected(image, order, Lens(), [&](Lens& /*none*/, Bounds& /*none*/, cv::Mat& pixels) {
    return SterProject()(parameters, pixels);
  });
}

Corrected correctView(const py::object& image,
                      const std::string& order,
                      const std::vector<double>& viewDeg,
                      const std::vector<double>& fieldDeg,
                      double angleScale,
                      double radial) {
  return corrected(image, order, Lens(), [&](Lens& /*none*/, Bounds& /*none*/, cv::Mat& pixels) {
    return SterProject()({}, viewDeg, fieldDeg, angleScale, radial, pixels);
  });
}

/// Pointers to the rows of a map, as the library takes them.
std::vector<float*> rowsOf(cv::Mat& map) {
  std::vector<float*> rows;
  for (int row = 0; row < map.rows; ++row) {
    rows.push_back(map.ptr<float>(row));
  }
  return rows;
}

py::tuple samplingMaps(Lens lens, int outputSize, double planeHalfExtent, Centre shape) {
  cv::Mat columns(outputSize, outputSize, CV_32F);
  cv::Mat rows(outputSize, outputSize, CV_32F);
  unlocked([&] {
    SterProject()(lens.halfFieldAngle,
                  lens.cubic,
                  lens.linear,
                  lens.yaw,
                  lens.pitch,
                  lens.roll,
                  outputSize,
                  planeHalfExtent,
                  1,
                  static_cast<int>(shape.second),
                  static_cast<int>(shape.first),
                  rowsOf(columns).data(),
                  rowsOf(rows).data());
  });
  return py::make_tuple(arrayOf(columns), arrayOf(rows));
}

}  // namespace

void bindCorrection(py::module_& module) {
  py::class_<Lens>(module, "Lens")
      .def(py::init<double, double, double, double, double, double>(),
           py::arg("half_field_angle"),
           py::arg("cubic"),
           py::arg("linear"),
           py::arg("yaw"),
           py::arg("pitch"),
           py::arg("roll"));
  module.def("correct_square", &correctSquare);
  module.def("correct_range", &correctRange);
  module.def("correct_fov", &correctFov);
  module.def("correct_rect", &correctRect);
  module.def("correct_pinhole", &correctPinhole);
  module.def("correct_view", &correctView);
  module.def("sampling_maps", &samplingMaps);
}

}  // namespace montage_python
