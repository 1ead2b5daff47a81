// SPDX-License-Identifier: MIT
#include "Arrays.h"
#include "Call.h"
#include "Module.h"
#include "Names.h"
#include "PickledFeatures.h"
#include "SavedValue.h"

#include <cstddef>
#include <montage/Features.h>
#include <optional>
#include <pybind11/stl.h>

namespace montage_python {
namespace {

using montage::FeatureOptions;
using montage::Features;
using montage::MatchOptions;
using montage::PairingOptions;
using montage::PairMatches;

struct Column {
  const char* name;
  const char* type;
  std::size_t offset;
};

/// The type of a structured array over records with these members.
py::dtype recordType(const std::vector<Column>& columns, std::size_t size) {
  py::list names;
  py::list formats;
  py::list offsets;
  for (const Column& column : columns) {
    names.append(column.name);
    formats.append(column.type);
    offsets.append(column.offset);
  }
  return {names, formats, offsets, static_cast<py::ssize_t>(size)};
}

py::dtype keypointType() {
  using Point = cv::KeyPoint;
  return recordType({{"x", "f4", offsetof(Point, pt)},
                     {"y", "f4", offsetof(Point, pt) + sizeof(float)},
                     {"size", "f4", offsetof(Point, size)},
                     {"angle", "f4", offsetof(Point, angle)},
                     {"response", "f4", offsetof(Point, response)},
                     {"octave", "i4", offsetof(Point, octave)}},
                    sizeof(Point));
}

py::dtype matchType() {
  using Match = cv::DMatch;
  return recordType({{"first", "i4", offsetof(Match, queryIdx)},
                     {"second", "i4", offsetof(Match, trainIdx)},
                     {"distance", "f4", offsetof(Match, distance)}},
                    sizeof(Match));
}

py::dtype shiftType() {
  return recordType({{"x", "f4", 0}, {"y", "f4", sizeof(float)}}, sizeof(cv::Point2f));
}

Features withoutImage(const Features& features) {
  Features slim = features;
  slim.image.release();
  return slim;
}

template <class Value>
void addPickling(py::class_<Value>& type, Value (*from)(const py::tuple&)) {
  type.def(py::pickle(
      [](const py::object& self) { return stateOf(self.cast<const Value&>(), self); }, from));
}

void bindFeaturesClass(py::module_& module) {
  py::class_<Features> type(module, "Features", "What describe() found in one image.");
  type.def(py::init<>(), "Of an image of which nothing is known.")
      .def_property_readonly(
          "kind", [](const Features& f) { return nameOf(f.kind); }, "'corners' or 'surf'")
      .def_property_readonly(
          "shape",
          [](const Features& f) { return shapeOf(f.imageSize); },
          "(height, width) of the image, pixels")
      .def_readonly("scale", &Features::scale, "registration / full resolution, (0, 1]")
      .def_property_readonly(
          "scaled_shape",
          [](const Features& f) { return shapeOf(f.scaledSize); },
          "(height, width) at registration resolution")
      .def_readonly("hash", &Features::hash, "of the image's size, channels and pixels; 0: unknown")
      .def_property_readonly(
          "keypoints",
          [](const py::object& self) {
            return viewOf(self.cast<const Features&>().keypoints, keypointType(), self);
          },
          "Structured array with x, y (pixels of the registration resolution, centres at "
          "integers), "
          "size, angle, response, octave; strongest first. A read-only view.")
      .def_property_readonly(
          "descriptors",
          [](const py::object& self) {
            return viewOf(self.cast<const Features&>().descriptors, self);
          },
          "One row per keypoint: 128 uint8 (corners) or 64 float32 (SURF). A read-only view; None "
          "without keypoints.")
      .def_property_readonly(
          "image",
          [](const py::object& self) { return viewOf(self.cast<const Features&>().image, self); },
          "The grey image at registration resolution, uint8; None unless kept. A read-only view.")
      .def("slim",
           &withoutImage,
           "A copy without its image: all that select_pairs() and adjust() look at.")
      .def("__len__", [](const Features& f) { return f.keypoints.size(); })
      .def("__repr__", [](const Features& f) {
        return "Features(" + std::to_string(f.keypoints.size()) + " " + nameOf(f.kind) + " in " +
               std::to_string(f.imageSize.width) + " x " + std::to_string(f.imageSize.height) +
               " pixels)";
      });
  addPickling<Features>(type, &featuresFrom);
  addSaving<Features>(type, &montage::loadFeatures);
}

void bindMatchesClass(py::module_& module) {
  py::class_<PairMatches> type(module, "PairMatches", "What match() found between two images.");
  type.def_readwrite("first", &PairMatches::first, "number of the first image; -1 from match()")
      .def_readwrite("second", &PairMatches::second, "number of the second image, > first")
      .def_property_readonly(
          "matches",
          [](const py::object& self) {
            return viewOf(self.cast<const PairMatches&>().matches, matchType(), self);
          },
          "Structured array with first, second (numbers of keypoints) and distance. A read-only "
          "view.")
      .def_property_readonly(
          "inliers",
          [](const py::object& self) {
            return viewOf(self.cast<const PairMatches&>().inliers, py::dtype("?"), self);
          },
          "Per match, whether it fits the homography; empty without one. A read-only view.")
      .def_property_readonly(
          "shifts",
          [](const py::object& self) {
            return viewOf(self.cast<const PairMatches&>().shifts, shiftType(), self);
          },
          "Per match, structured x and y to be added to the second keypoint; NaN: unknown; empty: "
          "not looked for. A read-only view.")
      .def_readonly("inlier_count", &PairMatches::inlierCount)
      .def_property_readonly(
          "homography",
          [](const PairMatches& pair) -> py::object {
            return pair.hasHomography ? py::object(arrayOf(cv::Mat(pair.secondFromFirst).clone()))
                                      : py::object(py::none());
          },
          "3 x 3 float64, from pixels of the first image to pixels of the second, registration "
          "resolution, origin at the images' centres; or None.")
      .def_readonly("confidence", &PairMatches::confidence, "inliers / (8 + 0.3 matches)")
      .def("__len__", [](const PairMatches& pair) { return pair.matches.size(); })
      .def("__repr__", [](const PairMatches& pair) {
        return "PairMatches(" + std::to_string(pair.first) + ", " + std::to_string(pair.second) +
               ": " + std::to_string(pair.inlierCount) + " of " +
               std::to_string(pair.matches.size()) + " matches agree)";
      });
  addPickling<PairMatches>(type, &pairMatchesFrom);
  addSaving<PairMatches>(type, &montage::loadPairMatches);
}

Features describe(const py::object& image,
                  const FeatureOptions& options,
                  std::optional<double> scale,
                  const std::string& order) {
  const ArrayImage given = readImage(image, "image", orderOf(order));
  return unlocked([&] {
    return scale ? montage::describe(given.pixels, options, *scale)
                 : montage::describe(given.pixels, options);
  });
}

double featureScale(const std::vector<std::pair<int, int>>& shapes, const FeatureOptions& options) {
  std::vector<cv::Size> sizes;
  for (const auto& [height, width] : shapes) {
    sizes.emplace_back(width, height);
  }
  return montage::featureScale(sizes, options);
}

}  // namespace

void bindFeatures(py::module_& module) {
  bindFeaturesClass(module);
  bindMatchesClass(module);
  module.def("describe",
             &describe,
             py::arg("image"),
             py::arg("options") = FeatureOptions(),
             py::kw_only(),
             py::arg("scale") = py::none(),
             py::arg("order") = "rgb",
             "Finds and describes what can be recognised in another image.\n\n"
             "image: uint8 array, rows x columns [x 3], or a path. scale: registration / full\n"
             "resolution, (0, 1]; None: from options.megapixels. For several images that belong\n"
             "together take one scale, that of feature_scale().\n"
             "Raises ArgumentError, FileError.");
  module.def("feature_scale",
             &featureScale,
             py::arg("shapes"),
             py::arg("options") = FeatureOptions(),
             "The scale that brings the largest of the images to options.megapixels, at most 1.\n\n"
             "shapes: (height, width) of each image.");
  module.def(
      "match",
      [](const Features& first, const Features& second, const MatchOptions& options) {
        return unlocked([&] { return montage::match(first, second, options); });
      },
      py::arg("first"),
      py::arg("second"),
      py::arg("options") = MatchOptions(),
      "Compares two images. Set first and second of the result before adjust().\n\n"
      "Raises ArgumentError for features of different kinds.");
  module.def(
      "match_pairs",
      [](const std::vector<Features>& features,
         const std::vector<std::pair<int, int>>& pairs,
         const MatchOptions& options,
         const py::object& progress) {
        return watched(progress, [&](const montage::Progress& watch) {
          return montage::matchPairs(features, pairs, options, watch);
        });
      },
      py::arg("features"),
      py::arg("pairs"),
      py::arg("options") = MatchOptions(),
      py::kw_only(),
      py::arg("progress") = py::none(),
      "match() of many pairs of a set, with less work per image than one by one.\n\n"
      "features: one per image. pairs: (first, second) numbers of images. Gives one PairMatches "
      "per\n"
      "pair, with their first and second set. Raises ArgumentError, Cancelled.");
  module.def(
      "select_pairs",
      [](const std::vector<Features>& features,
         const PairingOptions& options,
         const py::object& progress) {
        return watched(progress, [&](const montage::Progress& watch) {
          return montage::selectPairs(features, options, watch);
        });
      },
      py::arg("features"),
      py::arg("options") = PairingOptions(),
      py::kw_only(),
      py::arg("progress") = py::none(),
      "The pairs of images that are worth comparing: a list of (first, second), first < second.\n\n"
      "features: one per image. Raises ArgumentError, Cancelled.");
}

}  // namespace montage_python
