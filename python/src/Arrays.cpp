// SPDX-License-Identifier: MIT
#include "Arrays.h"

#include "Call.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace montage_python {
namespace {

std::string textOf(const py::handle& object) {
  return py::str(object).cast<std::string>();
}

std::string typeNameOf(const py::handle& object) {
  return py::type::handle_of(object).attr("__name__").cast<std::string>();
}

[[noreturn]] void refuse(const std::string& name,
                         const std::string& expected,
                         const std::string& given) {
  throw std::invalid_argument(name + ": " + expected + " is expected, " + given + " given");
}

/// The object as an array of any kind.
py::array asArray(const py::object& object, const std::string& name) {
  if (py::isinstance<py::array>(object)) {
    return py::reinterpret_borrow<py::array>(object);
  }
  if (!py::hasattr(object, "__array__") && !py::hasattr(object, "__array_interface__")) {
    throw py::type_error(name + ": an array of uint8 is expected, " + typeNameOf(object) +
                         " given");
  }
  return py::array::ensure(object);
}

int channelsOf(const py::array& array) {
  return array.ndim() == 3 ? static_cast<int>(array.shape(2)) : 1;
}

void requirePicture(const py::array& array, const std::string& name, int mostChannels) {
  if (array.dtype().kind() != 'u' || array.itemsize() != 1) {
    refuse(name, "an array of uint8", textOf(array.dtype()));
  }
  const int channels = channelsOf(array);
  const bool isPicture = (array.ndim() == 2 || array.ndim() == 3) &&
                         (channels == 1 || channels == 3 || channels == mostChannels);
  if (!isPicture || array.size() == 0) {
    const std::string expected = mostChannels == 4 ? "1, 3 or 4" : "1 or 3";
    refuse(name,
           "an array of rows x columns, or of rows x columns x " + expected +
               " channels, with at least one pixel",
           "shape " + textOf(array.attr("shape")));
  }
  constexpr py::ssize_t kMostSide = 2147483647;
  if (array.shape(0) > kMostSide || array.shape(1) > kMostSide) {
    refuse(name, "an image below 2^31 pixels on a side", textOf(array.attr("shape")));
  }
}

/// Whether the pixels of a row lie side by side, and the rows one below the other.
bool hasImageLayout(const py::array& array) {
  const py::ssize_t channels = channelsOf(array);
  const py::ssize_t width = array.shape(1);
  const bool packedChannels = array.ndim() == 2 || channels == 1 || array.strides(2) == 1;
  const bool packedPixels = width == 1 || array.strides(1) == channels;
  const bool rowsApart = array.shape(0) == 1 || array.strides(0) >= width * channels;
  return packedChannels && packedPixels && rowsApart;
}

cv::Mat matOver(const py::array& array) {
  const int channels = channelsOf(array);
  const py::ssize_t packed = array.shape(1) * channels;
  const py::ssize_t step = array.shape(0) == 1 ? packed : array.strides(0);
  return {static_cast<int>(array.shape(0)),
          static_cast<int>(array.shape(1)),
          CV_8UC(channels),
          const_cast<void*>(array.data()),  // of an input, only read
          static_cast<std::size_t>(step)};
}

const char* dtypeNameOf(int depth) {
  switch (depth) {
    case CV_8U:
      return "u1";
    case CV_32F:
      return "f4";
    default:
      return "f8";
  }
}

py::array arrayOver(const cv::Mat& image, const py::object& owner) {
  std::vector<py::ssize_t> shape = {image.rows, image.cols};
  std::vector<py::ssize_t> strides = {static_cast<py::ssize_t>(image.step[0]),
                                      static_cast<py::ssize_t>(image.elemSize())};
  if (image.channels() > 1) {
    shape.push_back(image.channels());
    strides.push_back(static_cast<py::ssize_t>(image.elemSize1()));
  }
  return {py::dtype(dtypeNameOf(image.depth())), shape, strides, image.data, owner};
}

}  // namespace

Order orderOf(const std::string& name) {
  if (name != "rgb" && name != "bgr") {
    refuse("order", "'rgb' or 'bgr'", "'" + name + "'");
  }
  return name == "rgb" ? Order::rgb : Order::bgr;
}

ArrayImage imageOf(const py::object& array, const std::string& name, int mostChannels) {
  py::array given = asArray(array, name);
  requirePicture(given, name, mostChannels);
  if (!hasImageLayout(given)) {
    given = py::module_::import("numpy").attr("ascontiguousarray")(given);
  }
  return {given, matOver(given)};
}

cv::Mat writableImageOf(const py::object& array, const std::string& name) {
  if (!py::isinstance<py::array>(array)) {
    throw py::type_error(name + ": an array of uint8 or a path is expected, " + typeNameOf(array) +
                         " given");
  }
  const auto given = py::reinterpret_borrow<py::array>(array);
  requirePicture(given, name, 4);
  if (!given.writeable()) {
    refuse(name, "an array that may be written", "a read-only one");
  }
  if (!hasImageLayout(given)) {
    refuse(name, "an array whose pixels lie side by side", "one with other strides");
  }
  return matOver(given);
}

cv::Mat swapped(const cv::Mat& image, Order order) {
  if (order == Order::bgr || image.channels() < 3) {
    return image;
  }
  cv::Mat result;
  cv::cvtColor(image, result, image.channels() == 3 ? cv::COLOR_RGB2BGR : cv::COLOR_RGBA2BGRA);
  return result;
}

void swapInPlace(cv::Mat& image, Order order) {
  if (order == Order::bgr || image.channels() < 3) {
    return;
  }
  // In bands, as OpenCV copies what it converts in place.
  constexpr int kRows = 64;
  for (int row = 0; row < image.rows; row += kRows) {
    cv::Mat band = image.rowRange(row, std::min(row + kRows, image.rows));
    swapped(band, order).copyTo(band);
  }
}

py::array arrayOf(const cv::Mat& image) {
  auto held = std::make_unique<cv::Mat>(image);
  const py::capsule owner(held.get(), [](void* mat) { delete static_cast<cv::Mat*>(mat); });
  return arrayOver(*held.release(), owner);
}

py::object viewOf(const cv::Mat& image, const py::object& owner) {
  if (image.empty()) {
    return py::none();
  }
  py::array view = arrayOver(image, owner);
  view.attr("setflags")(py::arg("write") = false);
  return view;
}

bool isPath(const py::handle& object) {
  return py::isinstance<py::str>(object) || py::hasattr(object, "__fspath__");
}

std::filesystem::path pathOf(const py::handle& object) {
  const py::module_ os = py::module_::import("os");
  return os.attr("fsencode")(object).cast<std::string>();
}

PythonImages::PythonImages(const py::object& images, Order order)
    : files_(std::vector<std::filesystem::path>()), order_(order) {
  if (isPath(images) || !py::hasattr(images, "__iter__")) {
    throw py::type_error("images: a sequence of arrays or paths is expected, " +
                         typeNameOf(images) + " given");
  }
  std::vector<std::filesystem::path> files;
  for (const py::handle each : images) {
    const std::string name = "images[" + std::to_string(arrays_.size()) + "]";
    files.emplace_back(isPath(each) ? pathOf(each) : std::filesystem::path());
    arrays_.push_back(isPath(each) ? ArrayImage{py::none(), cv::Mat()}
                                   : imageOf(py::reinterpret_borrow<py::object>(each), name));
  }
  files_ = montage::FileSource(std::move(files));
}

cv::Size PythonImages::size(int index) const {
  return array(index).empty() ? files_.size(index) : array(index).size();
}

cv::Mat PythonImages::read(int index) const {
  return array(index).empty() ? files_.read(index) : swapped(array(index), order_);
}

std::string PythonImages::name(int index) const {
  return array(index).empty() ? files_.name(index) : ImageSource::name(index);
}

ArrayImage readImage(const py::object& image, const std::string& name, Order order, bool own) {
  if (isPath(image)) {
    const std::filesystem::path file = pathOf(image);
    return {py::none(), unlocked([&] { return montage::readImageFile(file); })};
  }
  ArrayImage given = imageOf(image, name);
  const unsigned char* data = given.pixels.data;
  given.pixels = swapped(given.pixels, order);
  if (own && given.pixels.data == data) {
    given.pixels = given.pixels.clone();
  }
  return given;
}

}  // namespace montage_python
