// SPDX-License-Identifier: MIT
#include "Arrays.h"
#include "Call.h"
#include "Module.h"
#include "TiffPath.h"

#include <memory>
#include <montage/TiffSink.h>
#include <optional>
#include <pybind11/stl.h>

namespace montage_python {
namespace {

/// A picture of known size that is written in rectangles.
class TiffWriter {
 public:
  TiffWriter(std::filesystem::path path,
             const std::vector<int>& shape,
             const montage::TiffOptions& options,
             Order order)
      : order_(order) {
    const int channels = shape.size() == 3 ? shape[2] : 1;
    if (shape.size() < 2 || shape.size() > 3 || shape[0] < 1 || shape[1] < 1 ||
        (channels != 1 && channels != 3 && channels != 4)) {
      throw std::invalid_argument(
          "shape: (rows, columns) or (rows, columns, 1, 3 or 4) is expected");
    }
    sink_.emplace(std::move(path), options);
    sink_->begin({shape[1], shape[0]}, CV_8UC(channels));
  }

  void write(int x, int y, const py::object& pixels) {
    montage::TiffSink& sink = open();
    const ArrayImage image = imageOf(pixels, "pixels", 4);
    unlocked([&] {
      sink.write(cv::Rect(cv::Point(x, y), image.pixels.size()), swapped(image.pixels, order_));
    });
  }

  void close() {
    montage::TiffSink& sink = open();
    unlocked([&] { sink.finish(); });
    sink_.reset();
  }

  void abandon() { sink_.reset(); }

 private:
  montage::TiffSink& open() {
    if (!sink_) {
      throw std::invalid_argument("the file is closed");
    }
    return *sink_;
  }

  std::optional<montage::TiffSink> sink_;
  Order order_;
};

}  // namespace

void bindTiff(py::module_& module) {
  py::class_<TiffWriter>(
      module,
      "TiffWriter",
      "A tiled TIFF file of any size, written in rectangles in any order.\n\n"
      "shape: (rows, columns) or (rows, columns, 1, 3 or 4). A with block closes the file, which\n"
      "must be complete; after an exception nothing is left behind. Not for two threads at once.\n"
      "Raises ArgumentError, FileError.")
      .def(py::init([](const py::object& path,
                       const std::vector<int>& shape,
                       const montage::TiffOptions& options,
                       const std::string& order) {
             return std::make_unique<TiffWriter>(
                 tiffPathOf(path, "path"), shape, options, orderOf(order));
           }),
           py::arg("path"),
           py::arg("shape"),
           py::arg("options") = montage::TiffOptions(),
           py::kw_only(),
           py::arg("order") = "rgb")
      .def("write",
           &TiffWriter::write,
           py::arg("x"),
           py::arg("y"),
           py::arg("pixels"),
           "Writes a rectangle with its top-left pixel at (x, y); none twice.")
      .def("close", &TiffWriter::close, "Completes the file and gives it its name.")
      .def("__enter__", [](const py::object& self) { return self; })
      .def("__exit__", [](TiffWriter& self, const py::object& type, const py::args& /*rest*/) {
        if (type.is_none()) {
          self.close();
        } else {
          self.abandon();
        }
      });
}

}  // namespace montage_python
