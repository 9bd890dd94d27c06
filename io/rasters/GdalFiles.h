/// GdalFiles: makes raster files of any format through GDAL. Private to the writer.
///
/// All functions throw std::runtime_error with the reason alone; callers that know the path add it.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include <gdal_priv.h>

#include <io/rasters/RasterCheck.h>
#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

class GdalMessages;

/// Red, green and blue, with or without alpha.
bool isColourPicture(const RasterDescription& description);

/// Its first alpha band.
std::optional<std::size_t> alphaBandOf(const RasterDescription& description);

/// An empty tiled GeoTIFF as described, with the creation options if the driver is GTiff.
GDALDatasetUniquePtr createGeoTiff(const std::filesystem::path& path, const RasterDescription& description);

/// Writes the same raster in the format of the description.
void copyRaster(GDALDataset& source, const std::filesystem::path& target,
                const RasterDescription& description);

/// Tries on a small raster whether the format can hold such a raster at all, before much work is done. Leaves
/// its files at `target`, with the names that those of the raster will have. Returns what the format
/// preserves.
Fidelity tryFormat(const std::filesystem::path& target, const RasterDescription& description);

/// Adds overviews, each half the size of the one before, down to less than 256 pixels.
void addOverviews(const std::filesystem::path& path, const RasterDescription& description);

/// Throws with `what` and the reason if the outcome or the messages report that a transfer failed.
void expect(CPLErr outcome, const GdalMessages& messages, const char* what);

} // namespace Tilewright::Io
