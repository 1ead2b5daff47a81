// SPDX-License-Identifier: MIT
#include "Arrays.h"
#include "Call.h"
#include "Module.h"
#include "Names.h"
#include "SavedValue.h"

#include <montage/MontagePlan.h>
#include <pybind11/stl.h>
#include <tuple>

namespace montage_python {
namespace {

using montage::Estimate;
using montage::LeftOutImage;
using montage::MontagePlan;
using montage::PlannedImage;

/// (x, y, width, height).
std::tuple<int, int, int, int> boxOf(const cv::Rect& rect) {
  return {rect.x, rect.y, rect.width, rect.height};
}

void bindParts(py::module_& module) {
  py::class_<PlannedImage>(module, "PlannedImage", "One image of a montage.")
      .def_readonly("index", &PlannedImage::index, "in the sequence of images")
      .def_readonly("name", &PlannedImage::name)
      .def_readonly("hash", &PlannedImage::hash, "of size, channels and pixels; 0: unknown")
      .def_property_readonly(
          "shape",
          [](const PlannedImage& image) { return shapeOf(image.sourceSize); },
          "(height, width), full resolution")
      .def_readonly("camera", &PlannedImage::camera, "composition resolution")
      .def_property_readonly(
          "footprint",
          [](const PlannedImage& image) { return boxOf(image.footprint); },
          "(x, y, width, height) on the plane, composition resolution")
      .def_property_readonly(
          "seam_footprint",
          [](const PlannedImage& image) { return boxOf(image.seamFootprint); },
          "the same at seam resolution")
      .def_property_readonly(
          "seam_mask",
          [](const py::object& self) {
            return viewOf(self.cast<const PlannedImage&>().seamMask, self);
          },
          "uint8 at seam resolution, 0 or 255; None without seams. A read-only view.")
      .def_property_readonly(
          "gains",
          [](const py::object& self) {
            return viewOf(self.cast<const PlannedImage&>().gains, self);
          },
          "float32, one per block of the warped image; None without seams. A read-only view.");
  py::class_<LeftOutImage>(module, "LeftOutImage", "An image that cannot be shown.")
      .def_readonly("index", &LeftOutImage::index)
      .def_readonly("reason", &LeftOutImage::reason, "one sentence");
  py::class_<Estimate>(module, "Estimate", "What composing will take.")
      .def_readonly("pixels", &Estimate::pixels, "of the montage")
      .def_readonly("montage_bytes", &Estimate::montageBytes, "its samples, uncompressed")
      .def_readonly("memory_bytes", &Estimate::memoryBytes, "at the peak, all held at once")
      .def_readonly("least_memory_bytes", &Estimate::leastMemoryBytes, "at the peak, in strips")
      .def_readonly("seconds", &Estimate::seconds, "on this machine, without files");
}

void bindClass(py::module_& module) {
  py::class_<MontagePlan> type(
      module, "MontagePlan", "What a montage will look like, before any of its pixels is made.");
  type.def_property_readonly(
          "status",
          [](const MontagePlan& plan) { return nameOf(plan.status); },
          "'ok', 'nothing_to_show' or 'too_large'")
      .def_readonly("reason", &MontagePlan::reason, "one sentence")
      .def_property_readonly(
          "shape",
          [](const MontagePlan& plan) { return shapeOf(plan.size); },
          "(height, width) of the montage, cropped")
      .def_property_readonly(
          "origin",
          [](const MontagePlan& plan) { return std::make_pair(plan.origin.x, plan.origin.y); },
          "(x, y) of the montage's top-left pixel on the plane")
      .def_property_readonly(
          "canvas",
          [](const MontagePlan& plan) { return boxOf(plan.canvas); },
          "(x, y, width, height) of all footprints on the plane, before cropping")
      .def_readonly("images", &MontagePlan::images, "PlannedImage, in the order of blending")
      .def_readonly("left_out", &MontagePlan::leftOut, "LeftOutImage of those not shown")
      .def_readonly("source_count", &MontagePlan::sourceCount, "images that a slab must have")
      .def_readonly("channels", &MontagePlan::channels, "of the slab planned; 0: not read")
      .def_readonly("seam_scale", &MontagePlan::seamScale, "seam / full resolution")
      .def_readonly("compose_scale", &MontagePlan::composeScale, "composition / full resolution")
      .def_readonly("plane_scale", &MontagePlan::planeScale, "montage pixels per plane unit")
      .def_readonly("bands", &MontagePlan::bands, "of multi-band blending")
      .def_readonly("options", &MontagePlan::options, "PlanOptions that it was made with")
      .def_readonly("estimate", &MontagePlan::estimate)
      .def(
          "montage_from_image",
          [](const MontagePlan& plan, int index, const std::pair<double, double>& pixel) {
            const cv::Point2d point = plan.montageFromImage(index, {pixel.first, pixel.second});
            return std::make_pair(point.x, point.y);
          },
          py::arg("index"),
          py::arg("pixel"),
          "Where pixel (x, y) of an image, full resolution, lies in the montage: (x, y).")
      .def(
          "footprint_centres",
          [](const MontagePlan& plan) {
            std::vector<std::pair<int, int>> centres;
            for (const cv::Point& centre : plan.footprintCentres()) {
              centres.emplace_back(centre.x, centre.y);
            }
            return centres;
          },
          "(x, y) of the centre of each warped image, in the order of images.")
      .def("__repr__", [](const MontagePlan& plan) {
        return "MontagePlan(" + nameOf(plan.status) + ": " + plan.reason + ")";
      });
  addSaving<MontagePlan>(type, &montage::loadPlan);
  addPickling<MontagePlan>(type, &montage::loadPlan);
}

}  // namespace

void bindPlan(py::module_& module) {
  bindParts(module);
  bindClass(module);
  module.def(
      "plan",
      [](const montage::Registration& registration,
         const py::object& images,
         const montage::PlanOptions& options,
         const py::object& progress,
         const std::string& order) {
        const PythonImages source(images, orderOf(order));
        return watched(progress, [&](const montage::Progress& watch) {
          return montage::planMontage(registration, source, options, watch);
        });
      },
      py::arg("registration"),
      py::arg("images"),
      py::arg("options") = montage::PlanOptions(),
      py::arg("progress") = py::none(),
      py::kw_only(),
      py::arg("order") = "rgb",
      "Lays the images out on a plane, equalises their exposures and cuts their overlaps.\n\n"
      "images: as many as the registration had, arrays or paths, in register with them.\n"
      "Also if there is nothing to show or too much: status and reason say so.\n"
      "Raises ArgumentError, FileError, Cancelled.");
}

}  // namespace montage_python
