// SPDX-License-Identifier: MIT
#include "Module.h"

#include <opencv2/core.hpp>

#include <cctype>
#include <exception>
#include <montage/Compose.h>
#include <montage/Images.h>
#include <montage/Progress.h>
#include <stdexcept>
#include <string>

namespace montage_python {
namespace {

namespace py = pybind11;

py::object classOf(const char* name) {
  return py::module_::import("montage_native.errors").attr(name);
}

void raise(const char* name, const py::tuple& arguments) {
  const py::object type = classOf(name);
  PyErr_SetObject(type.ptr(), type(*arguments).ptr());
}

/// The message with the field that it begins with in Python's spelling: seamMegapixels becomes
/// seam_megapixels.
std::string inPythonSpelling(const std::string& message) {
  if (message.empty()) {
    return message;
  }
  const bool isField = std::islower(static_cast<unsigned char>(message.front())) != 0;
  const std::size_t end = isField ? message.find(':') : std::string::npos;
  std::string result;
  for (std::size_t i = 0; i < message.size(); ++i) {
    const char letter = message[i];
    const auto code = static_cast<unsigned char>(letter);
    if (end != std::string::npos && i < end && i > 0 && std::isupper(code) != 0 &&
        std::islower(static_cast<unsigned char>(message[i - 1])) != 0) {
      result += '_';
      result += static_cast<char>(std::tolower(code));
    } else {
      result += letter;
    }
  }
  return result;
}

void translate(std::exception_ptr exception) {
  try {
    std::rethrow_exception(exception);
  } catch (const montage::FileError& error) {
    const py::object path =
        py::module_::import("os").attr("fsdecode")(py::bytes(error.path().string()));
    raise("FileError", py::make_tuple(path, error.reason()));
  } catch (const montage::MemoryLimitError& error) {
    raise("MemoryLimitError", py::make_tuple(error.what(), error.needed(), error.allowed()));
  } catch (const montage::Cancelled& error) {
    raise("Cancelled", py::make_tuple(error.what()));
  } catch (const std::invalid_argument& error) {
    raise("ArgumentError", py::make_tuple(inPythonSpelling(error.what())));
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) {
      PyErr_SetString(PyExc_MemoryError, error.what());
    } else {
      raise("Error", py::make_tuple(error.what()));
    }
  }
}

}  // namespace

void bindErrors() {
  py::register_exception_translator(translate);
}

}  // namespace montage_python
