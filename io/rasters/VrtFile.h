/// VrtFile: a raster that is put together from the pixels of others, in GDAL's format VRT.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

/// A file of so many pixels, and where in the raster they begin.
struct VrtTile {
    std::filesystem::path file;
    std::uint64_t column;
    std::uint64_t row;
    std::uint64_t columns;
    std::uint64_t rows;
};

/// Adds the statistics of other pixels of a band. The last digits depend on the order.
void addStatistics(BandStatistics& all, const BandStatistics& others);

/// Writes a raster of these tiles, of which there is one at least. Their files have the bands and the type of
/// the description, and give theirs to the raster: names, units, colours and metadata. Files in the folder in
/// which the raster will be, or below, are named as seen from there. Throws OutputError.
void writeVrt(const std::filesystem::path& path, const std::filesystem::path& folder,
              const RasterDescription& description, std::span<const BandStatistics> statistics,
              const std::vector<VrtTile>& tiles);

} // namespace Tilewright::Io
