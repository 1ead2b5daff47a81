// SPDX-License-Identifier: MIT
/// @file
/// An options struct of the library as a Python class: keywords, properties, comparison, pickling.
#ifndef MONTAGE_PYTHON_OPTIONS_CLASS_H
#define MONTAGE_PYTHON_OPTIONS_CLASS_H

#include "Names.h"

#include <functional>
#include <memory>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace montage_python {

template <class Options>
class OptionsClass {
 public:
  OptionsClass(py::module_& module, const char* name, const char* doc)
      : class_(module, name, doc), name_(name), fields_(std::make_shared<Fields>()) {
    const std::shared_ptr<Fields> fields = fields_;
    class_
        .def(py::init([fields, prefix = name_](const py::kwargs& values) {
               return made(*fields, prefix, values);
             }),
             "All fields are keywords; what is not given keeps the library's default.")
        .def(
            "to_dict",
            [fields](const py::object& self) { return dictOf(*fields, self, true); },
            "The fields with their values; options within options become dicts too.")
        .def("__repr__",
             [fields, prefix = name_](const py::object& self) {
               return prefix + "(" + listOf(*fields, self) + ")";
             })
        .def("__eq__",
             [fields](const py::object& self, const py::object& other) {
               return py::isinstance<Options>(other) &&
                      dictOf(*fields, self, false).equal(dictOf(*fields, other, false));
             })
        .def(py::pickle([fields](const py::object& self) { return dictOf(*fields, self, false); },
                        [fields, prefix = name_](const py::dict& values) {
                          return made(*fields, prefix, values);
                        }));
    class_.attr("__hash__") = py::none();
  }

  /// A field that is a number, a truth value, a list, options, or an enumeration as a string.
  template <class Value>
  OptionsClass& field(const char* name, Value Options::*member, const char* doc) {
    const std::string label = name_ + "." + name;
    const auto set = [member, label](Options& options, const py::object& value) {
      if constexpr (std::is_enum_v<Value>) {
        options.*member = valueOf<Value>(value, label);
      } else {
        options.*member = castTo<Value>(value, label);
      }
    };
    const auto get = [member](Options& options) {
      if constexpr (std::is_enum_v<Value>) {
        return nameOf(options.*member);
      } else {
        return &(options.*member);
      }
    };
    class_.def_property(name, get, set, doc);
    fields_->emplace_back(name, set);
    return *this;
  }

  /// For what else the class has.
  py::class_<Options>& python() { return class_; }

 private:
  using Setter = std::function<void(Options&, const py::object&)>;
  using Fields = std::vector<std::pair<std::string, Setter>>;

  static std::string reprOf(const py::object& value) {
    return std::string(py::str(py::repr(value)));
  }

  template <class Value>
  static Value castTo(const py::object& value, const std::string& label) {
    try {
      // A float would otherwise be taken for a truth value, a truth value for a number.
      const bool isTruth = py::isinstance<py::bool_>(value);
      if (std::is_arithmetic_v<Value> && isTruth != std::is_same_v<Value, bool>) {
        throw py::cast_error();
      }
      return value.cast<Value>();
    } catch (const py::cast_error&) {
      const char* expected = std::is_same_v<Value, bool>       ? "True or False"
                             : std::is_integral_v<Value>       ? "an int"
                             : std::is_floating_point_v<Value> ? "a number"
                             : std::is_class_v<Value>          ? "a value of its kind"
                                                               : "";
      throw py::type_error(label + ": " + expected + " is expected, " + reprOf(value) + " given");
    }
  }

  static Options made(const Fields& fields, const std::string& prefix, const py::dict& values) {
    Options options;
    for (const auto& [key, value] : values) {
      const auto name = key.template cast<std::string>();
      bool known = false;
      for (const auto& [each, set] : fields) {
        if (each == name) {
          set(options, py::reinterpret_borrow<py::object>(value));
          known = true;
        }
      }
      if (!known) {
        throw py::type_error(prefix + " has no field '" + name + "'");
      }
    }
    return options;
  }

  static py::dict dictOf(const Fields& fields, const py::object& self, bool deep) {
    py::dict values;
    for (const auto& [name, set] : fields) {
      const py::object value = self.attr(name.c_str());
      values[name.c_str()] =
          deep && py::hasattr(value, "to_dict") ? value.attr("to_dict")() : value;
    }
    return values;
  }

  static std::string listOf(const Fields& fields, const py::object& self) {
    std::string list;
    for (const auto& [name, set] : fields) {
      list += (list.empty() ? "" : ", ") + name + "=" + reprOf(self.attr(name.c_str()));
    }
    return list;
  }

  py::class_<Options> class_;
  std::string name_;
  std::shared_ptr<Fields> fields_;
};

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_OPTIONS_CLASS_H
