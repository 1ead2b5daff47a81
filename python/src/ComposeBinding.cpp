// SPDX-License-Identifier: MIT
#include "Arrays.h"
#include "Call.h"
#include "Module.h"
#include "TiffPath.h"

#include <array>
#include <memory>
#include <montage/Compose.h>
#include <montage/TiffSink.h>
#include <mutex>
#include <optional>
#include <pybind11/stl.h>

namespace montage_python {
namespace {

using montage::ComposeOptions;
using montage::MontagePlan;
using montage::Progress;
using montage::TiffOptions;

using Box = std::array<int, 4>;

/// A montage in an array of the caller's.
class ArraySink : public montage::MontageSink {
 public:
  ArraySink(cv::Mat target, Order order) : target_(std::move(target)), order_(order) {}

  void begin(cv::Size size, int type) override {
    if (target_.size() != size || target_.type() != type) {
      throw std::invalid_argument("out: " + shapeText(size, CV_MAT_CN(type)) + " is expected, " +
                                  shapeText(target_.size(), target_.channels()) + " given");
    }
  }
  void write(const cv::Rect& area, const cv::Mat& pixels) override {
    swapped(pixels, order_).copyTo(target_(area));
  }
  [[nodiscard]] bool takesAnyOrder() const override { return true; }

 private:
  static std::string shapeText(cv::Size size, int channels) {
    return "an array of " + std::to_string(size.height) + " x " + std::to_string(size.width) +
           (channels > 1 ? " x " + std::to_string(channels) : "");
  }

  cv::Mat target_;
  Order order_;
};

/// A composer that several threads may share: one works at a time.
class PythonComposer {
 public:
  PythonComposer(const MontagePlan& plan, const ComposeOptions& options)
      : composer_(plan, options) {}

  [[nodiscard]] const MontagePlan& plan() const { return composer_.plan(); }

  cv::Mat pixels(const montage::ImageSource& images,
                 const cv::Rect& window,
                 const Progress& progress) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return composer_.compose(images, window, progress);
  }

  /// @param[in] isWhole  the window is the whole montage, which needs not be in memory.
  void write(const montage::ImageSource& images,
             const cv::Rect& window,
             bool isWhole,
             montage::MontageSink& sink,
             const Progress& progress) {
    if (isWhole) {
      const std::lock_guard<std::mutex> lock(mutex_);
      composer_.compose(images, sink, progress);
      return;
    }
    const cv::Mat part = pixels(images, window, progress);
    sink.begin(part.size(), part.type());
    sink.write(cv::Rect(cv::Point(), part.size()), part);
    sink.finish();
  }

 private:
  montage::Composer composer_;
  std::mutex mutex_;
};

ComposeOptions optionsOf(std::uint64_t memoryBytes, int channels) {
  ComposeOptions options;
  options.memoryBytes = memoryBytes;
  options.channels = channels;
  return options;
}

py::object compose(PythonComposer& composer,
                   const py::object& images,
                   const std::optional<Box>& window,
                   const py::object& out,
                   const TiffOptions& tiff,
                   const py::object& progress,
                   const std::string& orderName) {
  const Order order = orderOf(orderName);
  const PythonImages source(images, order);
  const cv::Rect all(cv::Point(), composer.plan().size);
  const cv::Rect area =
      window ? cv::Rect((*window)[0], (*window)[1], (*window)[2], (*window)[3]) : all;
  const auto write = [&](montage::MontageSink& sink) {
    watched(progress,
            [&](const Progress& watch) { composer.write(source, area, area == all, sink, watch); });
  };
  if (out.is_none()) {
    return arrayOf(watched(progress, [&](const Progress& watch) {
      cv::Mat pixels = composer.pixels(source, area, watch);
      swapInPlace(pixels, order);
      return pixels;
    }));
  }
  if (isPath(out)) {
    montage::TiffSink sink(tiffPathOf(out, "out"), tiff);
    write(sink);
    return py::none();
  }
  ArraySink sink(writableImageOf(out, "out"), order);
  write(sink);
  return out;
}

}  // namespace

void bindCompose(py::module_& module) {
  py::class_<PythonComposer>(
      module,
      "Composer",
      "Composes slabs and windows that share a plan, and keeps what they share.\n\n"
      "memory_bytes: that composing may take besides the plan and the images given; 0: 60 % of\n"
      "what is free. channels: of the montage, 1 or 3; 0: as the slab's first image.\n"
      "Raises ArgumentError if the plan's status is not 'ok'. Threads may share a composer; one\n"
      "composes at a time.")
      .def(py::init([](const MontagePlan& plan, std::uint64_t memoryBytes, int channels) {
             return std::make_unique<PythonComposer>(plan, optionsOf(memoryBytes, channels));
           }),
           py::arg("plan"),
           py::kw_only(),
           py::arg("memory_bytes") = 0,
           py::arg("channels") = 0)
      .def_property_readonly("plan", &PythonComposer::plan)
      .def("compose",
           &compose,
           py::arg("images"),
           py::arg("window") = py::none(),
           py::arg("out") = py::none(),
           py::kw_only(),
           py::arg("tiff") = TiffOptions(),
           py::arg("progress") = py::none(),
           py::arg("order") = "rgb",
           "As the function compose().");
  module.def(
      "compose",
      [](const MontagePlan& plan,
         const py::object& images,
         const std::optional<Box>& window,
         const py::object& out,
         std::uint64_t memoryBytes,
         int channels,
         const TiffOptions& tiff,
         const py::object& progress,
         const std::string& order) {
        PythonComposer composer(plan, optionsOf(memoryBytes, channels));
        return compose(composer, images, window, out, tiff, progress, order);
      },
      py::arg("plan"),
      py::arg("images"),
      py::arg("window") = py::none(),
      py::arg("out") = py::none(),
      py::kw_only(),
      py::arg("memory_bytes") = 0,
      py::arg("channels") = 0,
      py::arg("tiff") = TiffOptions(),
      py::arg("progress") = py::none(),
      py::arg("order") = "rgb",
      "A montage, or the part of it in window = (x, y, width, height), in montage pixels.\n\n"
      "images: as many as the registration had, of the plan's sizes, arrays or paths. A window "
      "has\n"
      "exactly the pixels that the whole montage has there, and reads only what bears on it.\n"
      "out: None returns a new array, rows x columns [x 3, or x 4 with transparency]; an array is\n"
      "filled and returned; a path that ends in .tif or .tiff is written as tiff says, without "
      "the\n"
      "montage being in memory, and None is returned.\n"
      "Raises ArgumentError, FileError, MemoryLimitError, Cancelled.");
}

}  // namespace montage_python
