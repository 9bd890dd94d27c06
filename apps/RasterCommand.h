/// RasterCommand: `tilewright raster`, point files to raster files.
#pragma once

#include "Progress.h"
#include "RasterOptions.h"

namespace Tilewright::App {

/// Reads, rasters and writes. Throws Io::UsageError for options that make no sense, and Io::Error otherwise,
/// with nothing written.
RasterReport runRaster(const RasterOptions& options, ProgressBar& bar);

} // namespace Tilewright::App
