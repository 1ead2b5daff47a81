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

/// What save() writes.
template <class Value>
py::bytes toBytes(const Value& value) {
  std::string bytes;
  {
    const py::gil_scoped_release others;
    bytes = bytesOf([&](const std::filesystem::path& file) { montage::save(value, file); });
  }
  return bytes;
}

/// The value of such bytes.
template <class Value>
Value fromBytes(const std::string& bytes, Value (*load)(const std::filesystem::path&)) {
  const py::gil_scoped_release others;
  Value value;
  withFileOf(bytes, [&](const std::filesystem::path& file) { value = load(file); });
  return value;
}

/// Adds save(), load(), to_bytes() and from_bytes().
template <class Value>
void addSaving(py::class_<Value>& type, Value (*load)(const std::filesystem::path&)) {
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
      .def("to_bytes", &toBytes<Value>, "What save() writes.")
      .def_static(
          "from_bytes",
          [load](const py::bytes& data) { return fromBytes<Value>(data, load); },
          py::arg("data"),
          "The value of to_bytes().");
}

/// Adds pickling as to_bytes() and from_bytes().
template <class Value>
void addPickling(py::class_<Value>& type, Value (*load)(const std::filesystem::path&)) {
  type.def(py::pickle([](const Value& value) { return toBytes(value); },
                      [load](const py::bytes& data) { return fromBytes<Value>(data, load); }));
}

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_SAVED_VALUE_H
