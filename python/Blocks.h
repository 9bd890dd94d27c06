/// Blocks: rasters whose blocks are made when they are asked for, as a class of Python.
#pragma once

#include <pybind11/pybind11.h>

namespace Tilewright::Python {

void addBlocks(pybind11::module_& module);

} // namespace Tilewright::Python
