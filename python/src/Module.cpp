// SPDX-License-Identifier: MIT
#include "Module.h"

#include "Arrays.h"
#include "Call.h"

#include <opencv2/core.hpp>
#include <tbb/global_control.h>

#include <memory>

namespace montage_python {
namespace {

/// One process has one limit; setting it again replaces it.
void setThreads(int count) {
  static std::unique_ptr<tbb::global_control> limit;
  if (count < 0) {
    throw std::invalid_argument("count: 0 or more is expected");
  }
  limit.reset();
  if (count > 0) {
    limit = std::make_unique<tbb::global_control>(tbb::global_control::max_allowed_parallelism,
                                                  static_cast<std::size_t>(count));
  }
  cv::setNumThreads(count > 0 ? count : -1);
}

}  // namespace
}  // namespace montage_python

PYBIND11_MODULE(_core, module) {
  namespace py = pybind11;
  using namespace montage_python;  // NOLINT(google-build-using-namespace)
  module.doc() = "The library's functions and values; montage_native has them all.";
  module.attr("version") = MONTAGE_VERSION;
  bindErrors();
  bindOptions(module);
  bindFeatures(module);
  bindRegistration(module);
  bindPlan(module);
  bindTiff(module);
  bindCompose(module);
  bindCorrection(module);
  module.def(
      "read_image",
      [](const py::object& path, const std::string& order) {
        const std::filesystem::path file = pathOf(path);
        const Order channels = orderOf(order);
        return arrayOf(unlocked([&] {
          cv::Mat image = montage::readImageFile(file);
          swapInPlace(image, channels);
          return image;
        }));
      },
      py::arg("path"),
      py::kw_only(),
      py::arg("order") = "rgb",
      "Reads an image file upright, with the channels it has: uint8, rows x columns [x 3].\n\n"
      "Raises FileError for a file that is missing, damaged, cut off, of more than 8 bits per\n"
      "sample, or with other than 1 or 3 channels.");
  module.def(
      "hash_of",
      [](const py::object& image, const std::string& order) {
        const ArrayImage given = readImage(image, "image", orderOf(order));
        return unlocked([&] { return montage::hashOf(given.pixels); });
      },
      py::arg("image"),
      py::kw_only(),
      py::arg("order") = "rgb",
      "A number that tells images apart, of size, channels and pixels; the same everywhere.");
  module.def("set_threads",
             &setThreads,
             py::arg("count"),
             "How many threads the calls of this process may use together; 0: one per core.");
}
