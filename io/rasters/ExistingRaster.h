/// ExistingRaster: where a raster lies that is already there, so that another one can be laid upon it.
#pragma once

#include <filesystem>

#include <io/rasters/RasterDescription.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Of any raster that GDAL reads. Throws InputError if it is none, if it says not where it lies, or if it is
/// rotated.
TILEWRIGHT_API RasterGeometry geometryOf(const std::filesystem::path& raster);

} // namespace Tilewright::Io
