/// HoleFilling: lets GDAL fill the pixels without data of a band. Private to the writer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

/// A band as double-precision pixels. It is transferred `rowsAtATime` whole rows at a time, from row 0 on;
/// the last time may have fewer.
struct BandWithHoles {
    std::uint64_t width;
    std::uint64_t height;
    std::uint64_t rowsAtATime;
    /// Fills `rows` with the pixels from `row` on, NaN for holes.
    std::function<void(std::uint64_t row, double* rows)> read;
    /// Takes the same rows back. Holes that are still NaN were not filled.
    std::function<void(std::uint64_t row, const double* rows)> takeFilled;
};

/// Fills holes up to `distance` pixels from data, or in triangles with no longer edges. Makes its working
/// files in `folder`. Throws std::runtime_error with GDAL's reason if the disk is full.
void fillHoles(const BandWithHoles& band, Filling filling, double distance,
               const std::filesystem::path& folder);

} // namespace Tilewright::Io
