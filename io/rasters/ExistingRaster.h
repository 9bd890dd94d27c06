/// ExistingRaster: the location of an existing raster, so that another one can coincide with it.
#pragma once

#include <filesystem>

#include <io/rasters/RasterDescription.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Works for any raster that GDAL reads. Throws InputError if the file is not a raster, does not say where it
/// is, or is rotated.
TILEWRIGHT_API RasterGeometry geometryOf(const std::filesystem::path& raster);

} // namespace Tilewright::Io
