/// Results: rasters and reports as Python has them.
#pragma once

#include <pybind11/pybind11.h>

#include <io/runs/MemoryRun.h>
#include <io/runs/RasterRequest.h>

namespace Tilewright::Python {

/// A dictionary with the members of the report, in the words of Python.
pybind11::dict reportOf(const Io::RasterReport& report);

/// A dictionary with "report", "geometry", "units" and "outputs". The arrays take over the pixels: nothing is
/// copied.
pybind11::dict rasterOf(Io::MemoryRaster&& raster);

} // namespace Tilewright::Python
