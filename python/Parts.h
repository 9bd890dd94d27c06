/// Parts: rasters made in parts, as functions of Python.
#pragma once

#include <pybind11/pybind11.h>

namespace Tilewright::Python {

void addParts(pybind11::module_& module);

} // namespace Tilewright::Python
