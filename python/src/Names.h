// SPDX-License-Identifier: MIT
/// @file
/// The library's enumerations as Python strings.
#ifndef MONTAGE_PYTHON_NAMES_H
#define MONTAGE_PYTHON_NAMES_H

#include <cstddef>
#include <montage/Montage.h>
#include <pybind11/pybind11.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace montage_python {

namespace py = pybind11;

/// The names of an enumeration's values, in their order.
template <class Value>
const std::vector<std::string>& names();

template <class Value>
std::string nameOf(Value value) {
  return names<Value>().at(static_cast<std::size_t>(value));
}

/// @param[in] field  for errors. @throw std::invalid_argument, py::type_error
template <class Value>
Value valueOf(const py::handle& name, const std::string& field) {
  if (!py::isinstance<py::str>(name)) {
    throw py::type_error(field + ": a str is expected");
  }
  const auto given = name.cast<std::string>();
  std::string all;
  for (std::size_t i = 0; i < names<Value>().size(); ++i) {
    const std::string& each = names<Value>()[i];
    if (each == given) {
      return static_cast<Value>(i);
    }
    all += (i == 0 ? "'" : ", '") + each + "'";
  }
  throw std::invalid_argument(field + ": one of " + all + " is expected, '" + given + "' given");
}

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_NAMES_H
