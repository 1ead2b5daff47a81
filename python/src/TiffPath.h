// SPDX-License-Identifier: MIT
/// @file
/// Names of TIFF files.
#ifndef MONTAGE_PYTHON_TIFF_PATH_H
#define MONTAGE_PYTHON_TIFF_PATH_H

#include "Arrays.h"

#include <filesystem>
#include <stdexcept>
#include <string>

namespace montage_python {

/// @throw std::invalid_argument unless the name ends in .tif or .tiff
inline std::filesystem::path tiffPathOf(const py::handle& object, const std::string& argument) {
  std::filesystem::path path = pathOf(object);
  const std::string extension = path.extension().string();
  if (extension != ".tif" && extension != ".tiff") {
    throw std::invalid_argument(argument + ": a name that ends in .tif or .tiff is expected, '" +
                                path.string() + "' given");
  }
  return path;
}

}  // namespace montage_python

#endif  // MONTAGE_PYTHON_TIFF_PATH_H
