/// RasterFiles: makes raster files of one format or another through GDAL. Private to the writer.
///
/// All functions throw std::runtime_error with the reason alone, for who knows the path to add it.
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

/// The first of its bands that is alpha.
std::optional<std::size_t> alphaBandOf(const RasterDescription& description);

/// An empty tiled GeoTIFF with all that the description says, by its creation options if its driver is GTiff.
GDALDatasetUniquePtr createGeoTiff(const std::filesystem::path& path, const RasterDescription& description);

/// The same raster in the format of the description.
void copyRaster(GDALDataset& source, const std::filesystem::path& target,
                const RasterDescription& description);

/// Tries whether the format takes such a raster at all, on a small one, before there is much to lose. Its
/// files stay at `target`: they have the names that those of the raster will have. Gives what comes through.
Fidelity tryFormat(const std::filesystem::path& target, const RasterDescription& description);

/// Halves the raster again and again, until nothing of 256 pixels is left.
void addOverviews(const std::filesystem::path& path, const RasterDescription& description);

/// Throws with `what` and the reason if an outcome or the messages say that a transfer has failed.
void expect(CPLErr outcome, const GdalMessages& messages, const char* what);

} // namespace Tilewright::Io
