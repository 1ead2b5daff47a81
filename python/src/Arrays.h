// SPDX-License-Identifier: MIT
/// @file
/// NumPy arrays as the library's images and back.
#ifndef MONTAGE_PYTHON_ARRAYS_H
#define MONTAGE_PYTHON_ARRAYS_H

#include <opencv2/core.hpp>

#include <filesystem>
#include <montage/Images.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <string>
#include <utility>
#include <vector>

namespace montage_python {

namespace py = pybind11;

/// How the channels of colour arrays follow each other; the library's own order is bgr.
enum class Order { rgb, bgr };

/// @throw std::invalid_argument unless the name is "rgb" or "bgr"
Order orderOf(const std::string& name);

/// An image that may lie in the memory of an array, which is kept alive. With the interpreter's lock
/// to be copied and destroyed.
struct ArrayImage {
  py::object owner;
  cv::Mat pixels;  ///< channels in the array's order
};

/// The array without a copy if its pixels lie side by side and its rows one below the other, in any
/// distance; else a packed copy.
///
/// @param[in] array  uint8, rows x columns or rows x columns x channels; or what NumPy makes one of.
/// @param[in] name  of the argument, for errors.
/// @param[in] mostChannels  3, or 4 where transparency is possible.
/// @throw std::invalid_argument, py::type_error
ArrayImage imageOf(const py::object& array, const std::string& name, int mostChannels = 3);

/// The same for an array that is to be written; never a copy.
cv::Mat writableImageOf(const py::object& array, const std::string& name);

/// Copies an image while it exchanges its first and third channel, if the order is rgb.
cv::Mat swapped(const cv::Mat& image, Order order);

/// Exchanges the first and third channel of an image in place, if the order is rgb.
void swapInPlace(cv::Mat& image, Order order);

/// An array that owns the image's memory: rows x columns, or rows x columns x channels.
py::array arrayOf(const cv::Mat& image);

/// A read-only array over memory of the value that `owner` holds; None if it is empty.
py::object viewOf(const cv::Mat& image, const py::object& owner);

/// A read-only array of the elements of a vector that `owner` holds.
template <class Value>
py::array viewOf(const std::vector<Value>& values, const py::dtype& type, const py::object& owner) {
  py::array view(type, {values.size()}, {sizeof(Value)}, values.data(), owner);
  view.attr("setflags")(py::arg("write") = false);
  return view;
}

/// Whether the object names a file: str or os.PathLike.
bool isPath(const py::handle& object);
std::filesystem::path pathOf(const py::handle& object);

/// Height and width, as arrays have them.
inline std::pair<int, int> shapeOf(cv::Size size) {
  return {size.height, size.width};
}

/// The images of one slab, arrays and paths in any mixture.
class PythonImages : public montage::ImageSource {
 public:
  /// With the interpreter's lock held; the members need none.
  PythonImages(const py::object& images, Order order);

  [[nodiscard]] int count() const override { return static_cast<int>(arrays_.size()); }
  [[nodiscard]] cv::Size size(int index) const override;
  [[nodiscard]] cv::Mat read(int index) const override;
  [[nodiscard]] std::string name(int index) const override;

 private:
  [[nodiscard]] const cv::Mat& array(int index) const {
    return arrays_.at(static_cast<std::size_t>(index)).pixels;
  }

  std::vector<ArrayImage> arrays_;  ///< without pixels for files
  montage::FileSource files_;       ///< with an empty path for arrays
  Order order_;
};

/// One image, an array or a path, in the library's order of channels.
/// @param[in] own  in memory that may be written.
ArrayImage readImage(const py::object& image,
                     const std::string& name,
                     Order order,
                     bool own = false);

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_ARRAYS_H
