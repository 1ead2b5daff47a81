// SPDX-License-Identifier: MIT
/// @file
/// The parts of the module; those that others build upon come first.
#ifndef MONTAGE_PYTHON_MODULE_H
#define MONTAGE_PYTHON_MODULE_H

#include <pybind11/pybind11.h>

namespace montage_python {

void bindErrors();
void bindOptions(pybind11::module_& module);
void bindFeatures(pybind11::module_& module);
void bindRegistration(pybind11::module_& module);
void bindPlan(pybind11::module_& module);
void bindCompose(pybind11::module_& module);
void bindTiff(pybind11::module_& module);
void bindCorrection(pybind11::module_& module);

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_MODULE_H
