// SPDX-License-Identifier: MIT
/// @file
/// Values as the files that the library saves: save(), load(), bytes and pickling.
#ifndef MONTAGE_PYTHON_SAVED_VALUE_H
#define MONTAGE_PYTHON_SAVED_VALUE_H

#include "Arrays.h"
#include "Call.h"

#include <filesystem>
#include <functional>
#include <montage/Montage.h>
#include <pybind11/pybind11.h>
#include <string>

namespace montage_python {

/// What `write(file)` has written.
std::string bytesOf(const std::function<void(const std::filesystem::path&)>& write);

/// Calls `read(file)` for a file of these bytes.
void withFileOf(const std::string& bytes,
                const std::function<void(const std::filesystem::path&)>& read);

/// Adds save(), load(), to_bytes(), from_bytes() and pickling.
template <class Value>
void addSaving(py::class_<Value>& type, Value (*load)(const std::filesystem::path&)) {
  const auto toBytes = [](const Value& value) {
    std::string bytes;
    {
      const py::gil_scoped_release others;
      bytes = bytesOf([&](const std::filesystem::path& file) { montage::save(value, file); });
    }
    return py::bytes(bytes);
  };
  const auto fromBytes = [load](const py::bytes& given) {
    const std::string bytes = given;
    const py::gil_scoped_release others;
    Value value;
    withFileOf(bytes, [&](const std::filesystem::path& file) { value = load(file); });
    return value;
  };
  type.def(
          "save",
          [](const Value& value, const py::object& path) {
            const std::filesystem::path file = pathOf(path);
            unlocked([&] { montage::save(value, file); });
          },
          py::arg("path"),
          "Writes the value to a file; a failed save leaves no file. Raises FileError.")
      .def_static(
          "load",
          [load](const py::object& path) {
            const std::filesystem::path file = pathOf(path);
            return unlocked([&] { return load(file); });
          },
          py::arg("path"),
          "Reads a saved value, exactly as it was. Raises FileError.")
      .def("to_bytes", toBytes, "What save() writes.")
      .def_static("from_bytes", fromBytes, py::arg("data"), "The value of to_bytes().")
      .def(py::pickle(toBytes, fromBytes));
}

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_SAVED_VALUE_H
