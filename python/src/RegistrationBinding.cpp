// SPDX-License-Identifier: MIT
#include "Arrays.h"
#include "Call.h"
#include "Module.h"
#include "Names.h"
#include "SavedValue.h"

#include <montage/Registration.h>
#include <pybind11/stl.h>

namespace montage_python {
namespace {

using montage::Camera;
using montage::Features;
using montage::Figures;
using montage::PairMatches;
using montage::RegisteredImage;
using montage::RegisteredPair;
using montage::RegisterOptions;
using montage::Registration;

void bindParts(py::module_& module) {
  py::class_<Camera>(
      module, "Camera", "A pinhole camera that only turns; pixels of one resolution.")
      .def_readonly("focal", &Camera::focal, "focal length, pixels")
      .def_readonly("aspect", &Camera::aspect, "vertical / horizontal focal length")
      .def_readonly("ppx", &Camera::ppx, "principal point, pixel centres at integers")
      .def_readonly("ppy", &Camera::ppy)
      .def_property_readonly(
          "world_from_camera",
          [](const Camera& camera) { return arrayOf(cv::Mat(camera.worldFromCamera).clone()); },
          "3 x 3 float64: rays of the camera (x right, y down, z forward) to the common frame");
  py::class_<RegisteredImage>(module, "RegisteredImage", "What became of an image.")
      .def_readwrite("name", &RegisteredImage::name)
      .def_property_readonly(
          "shape",
          [](const RegisteredImage& image) { return shapeOf(image.size); },
          "(height, width), full resolution; (0, 0) if unreadable")
      .def_readonly("hash", &RegisteredImage::hash, "of size, channels and pixels; 0: unknown")
      .def_property_readonly(
          "verdict",
          [](const RegisteredImage& image) { return nameOf(image.verdict); },
          "'used', 'unreadable', 'too_few_corners', 'no_partner', 'another_group', "
          "'contradictory' or 'too_alike'")
      .def_readonly("reason", &RegisteredImage::reason, "one sentence")
      .def_property_readonly(
          "advice",
          [](const RegisteredImage& image) { return montage::adviceOn(image.verdict); },
          "what may be tried")
      .def_readonly("keypoints", &RegisteredImage::keypoints)
      .def_readonly("group", &RegisteredImage::group, "0: the largest; -1: none")
      .def_readonly("best_pair", &RegisteredImage::bestPair, "an index into pairs; -1: none")
      .def_readonly("alike_to", &RegisteredImage::alikeTo, "an image; -1: none")
      .def_readonly("camera", &RegisteredImage::camera, "registration resolution, if used")
      .def_readonly("rms", &RegisteredImage::rms, "of its errors, registration pixels")
      .def("__repr__", [](const RegisteredImage& image) {
        return "RegisteredImage(" + image.name + ": " + image.reason + ")";
      });
  py::class_<RegisteredPair>(module, "RegisteredPair", "What became of a pair of images.")
      .def_readonly("first", &RegisteredPair::first)
      .def_readonly("second", &RegisteredPair::second)
      .def_readonly("matches", &RegisteredPair::matches)
      .def_readonly("inliers", &RegisteredPair::inliers)
      .def_readonly("confidence", &RegisteredPair::confidence)
      .def_property_readonly(
          "verdict",
          [](const RegisteredPair& pair) { return nameOf(pair.verdict); },
          "'used', 'too_weak', 'outside', 'open_loop', 'large_residual' or 'diverging'")
      .def_readonly("rms", &RegisteredPair::rms, "registration pixels; -1 unless both are used")
      .def("__repr__", [](const RegisteredPair& pair) {
        return "RegisteredPair(" + std::to_string(pair.first) + ", " + std::to_string(pair.second) +
               ": " + nameOf(pair.verdict) + ")";
      });
  py::class_<Figures>(
      module, "Figures", "Figures about a registration; pixels of the registration resolution.")
      .def_readonly("rms", &Figures::rms)
      .def_readonly("focal_mean", &Figures::focalMean)
      .def_readonly("focal_range", &Figures::focalRange)
      .def_readonly("rotation_max", &Figures::rotationMax, "radians");
}

std::string textOf(const Registration& registration) {
  return "Registration(" + nameOf(registration.status) + ": " +
         std::to_string(registration.used.size()) + " of " +
         std::to_string(registration.images.size()) + " images used, " +
         std::to_string(registration.pairs.size()) + " pairs)";
}

void markUnreadable(Registration& registration, int index, const std::string& reason) {
  if (index < 0 || index >= static_cast<int>(registration.images.size())) {
    throw std::invalid_argument("index: the number of an image is expected");
  }
  RegisteredImage& image = registration.images[static_cast<std::size_t>(index)];
  image.verdict = montage::Verdict::unreadable;
  image.reason = reason;
}

Camera fullResolution(const Registration& registration, int index) {
  if (index < 0 || index >= static_cast<int>(registration.images.size())) {
    throw std::invalid_argument("index: the number of an image is expected");
  }
  return registration.fullResolution(index);
}

void bindClass(py::module_& module) {
  py::class_<Registration> type(
      module, "Registration", "Which images belong together, and the camera of each.");
  type.def_property_readonly(
          "status",
          [](const Registration& r) { return nameOf(r.status); },
          "'ok', 'not_connected' or 'not_finite'")
      .def_property_readonly(
          "sentence",
          [](const Registration& r) { return montage::sentenceOf(r.status); },
          "the status as a sentence")
      .def_readonly("images", &Registration::images, "RegisteredImage of each, in your order")
      .def_readonly("pairs", &Registration::pairs, "RegisteredPair of all compared, ascending")
      .def_readonly("used", &Registration::used, "numbers of the images used")
      .def_readonly("scale", &Registration::scale, "registration / full resolution")
      .def_readonly("figures", &Registration::figures)
      .def_readwrite("options", &Registration::options, "RegisterOptions that it was made with")
      .def_readonly("version", &Registration::version, "of the library that made it")
      .def_readonly("matches", &Registration::matches, "PairMatches, one per pair; if kept")
      .def("full_resolution",
           &fullResolution,
           py::arg("index"),
           "The camera of a used image in pixels of its full resolution.")
      .def("mark_unreadable",
           &markUnreadable,
           py::arg("index"),
           py::arg("reason"),
           "Gives the verdict on an image that could not be read, which adjust() cannot know.")
      .def("__repr__", &textOf);
  addSaving<Registration>(type, &montage::loadRegistration);
  addPickling<Registration>(type, &montage::loadRegistration);
}

}  // namespace

void bindRegistration(py::module_& module) {
  bindParts(module);
  bindClass(module);
  module.def(
      "register",
      [](const py::object& images,
         const RegisterOptions& options,
         const py::object& progress,
         const std::string& order) {
        const PythonImages source(images, orderOf(order));
        return watched(progress, [&](const montage::Progress& watch) {
          return montage::registerImages(source, options, watch);
        });
      },
      py::arg("images"),
      py::arg("options") = RegisterOptions(),
      py::arg("progress") = py::none(),
      py::kw_only(),
      py::arg("order") = "rgb",
      "Finds the largest group of images that belong together and their cameras.\n\n"
      "images: uint8 arrays, rows x columns [x 3], or paths, each read when it is needed.\n"
      "progress: called with (stage, done, total); False or an exception ends the call.\n"
      "Also if too few images connect: status and verdicts say so.\n"
      "Raises ArgumentError, Cancelled.");
  module.def(
      "adjust",
      [](const std::vector<Features>& features,
         const std::vector<PairMatches>& pairs,
         const montage::AdjustOptions& options,
         const py::object& progress) {
        return watched(progress, [&](const montage::Progress& watch) {
          return montage::adjust(features, pairs, options, watch);
        });
      },
      py::arg("features"),
      py::arg("pairs"),
      py::arg("options") = montage::AdjustOptions(),
      py::kw_only(),
      py::arg("progress") = py::none(),
      "The cameras of images that have been described and compared.\n\n"
      "features: one per image, all at one scale. pairs: with first < second set; pairs that are\n"
      "missing count as not matching. Raises ArgumentError, Cancelled.");
}

}  // namespace montage_python
