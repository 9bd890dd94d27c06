/// HoleFilling: lets GDAL fill the pixels without data of a band. Private to the writer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

/// Pixels from (column, row) on.
struct PixelRectangle {
    std::uint64_t column, row, columns, rows;
};

/// A band, or a window of one, as double-precision pixels. It is transferred `rowsAtATime` whole rows at a
/// time, from row 0 on; the last time may have fewer.
struct BandWithHoles {
    std::uint64_t width;
    std::uint64_t height;
    std::uint64_t rowsAtATime;
    /// Fills `rows` with the pixels from `row` on, NaN for holes.
    std::function<void(std::uint64_t row, double* rows)> read;
    /// Takes the same rows back. Holes that are still NaN were not filled.
    std::function<void(std::uint64_t row, const double* rows)> takeFilled;
    /// What is to be filled, of a window; none for all. What is around it is there to be looked at, and may
    /// come back as anything. It begins at a multiple of tileOfFilling of the band, and ends at one or at the
    /// edge of the band.
    std::optional<PixelRectangle> wanted = {};
};

/// Triangles are made tile by tile.
inline constexpr std::uint64_t tileOfFilling = 256;

/// So many pixels around a hole, in rows and columns, decide what it is filled with: a window with as many
/// around what is wanted, or up to the edge of the band, gives the same pixels as the whole band.
std::uint64_t reachOfFilling(Filling filling, double distance);

/// Fills holes up to `distance` pixels from data, or in triangles with no longer edges. Makes its working
/// files in `folder`. Throws std::runtime_error with GDAL's reason if the disk is full.
void fillHoles(const BandWithHoles& band, Filling filling, double distance,
               const std::filesystem::path& folder);

} // namespace Tilewright::Io
