// SPDX-License-Identifier: MIT
/// @file
/// Pickling of what goes between processes often, as arrays that need no file and can be handed over
/// without copies (pickle protocol 5).
#ifndef MONTAGE_PYTHON_PICKLED_FEATURES_H
#define MONTAGE_PYTHON_PICKLED_FEATURES_H

#include <montage/Features.h>
#include <pybind11/pybind11.h>

namespace montage_python {

namespace py = pybind11;

/// The state of a value that `owner` holds: a tuple of numbers and views of its memory.
py::tuple stateOf(const montage::Features& features, const py::object& owner);
py::tuple stateOf(const montage::PairMatches& pair, const py::object& owner);

/// The value of a state. @throw py::error_already_set, py::cast_error for another tuple
montage::Features featuresFrom(const py::tuple& state);
montage::PairMatches pairMatchesFrom(const py::tuple& state);

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_PICKLED_FEATURES_H
