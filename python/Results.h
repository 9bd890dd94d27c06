/// Results: rasters and reports as Python has them.
#pragma once

#include <cstdint>

#include <pybind11/pybind11.h>

#include <io/runs/MemoryRun.h>
#include <io/runs/RasterRequest.h>

namespace Tilewright::Python {

/// A dictionary with the members of the report, in the words of Python.
pybind11::dict reportOf(const Io::RasterReport& report);

/// An array for each band, of rows of that width. They take over the pixels: nothing is copied.
pybind11::list arraysOf(Io::MemoryOutput&& output, std::uint64_t width);

/// A dictionary with "report", "geometry" and "outputs", these with "arrays" if they have pixels, as
/// arraysOf() gives them.
pybind11::dict rasterOf(Io::MemoryRaster&& raster);

} // namespace Tilewright::Python
