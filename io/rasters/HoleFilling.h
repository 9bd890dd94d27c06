/// HoleFilling: lets GDAL fill the pixels without data of a band. Private to the writer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

namespace Tilewright::Io {

/// A band as single-precision pixels. It is transferred `rowsAtATime` whole rows at a time, from row 0 on;
/// the last time may have fewer.
struct BandWithHoles {
    std::uint64_t width;
    std::uint64_t height;
    std::uint64_t rowsAtATime;
    /// Fills `rows` with the pixels from `row` on, NaN for holes.
    std::function<void(std::uint64_t row, float* rows)> read;
    /// Takes the same rows back. Holes that are still NaN were not filled.
    std::function<void(std::uint64_t row, const float* rows)> takeFilled;
};

/// Fills holes up to `distance` pixels from data. Makes its working file in `folder`. Throws
/// std::runtime_error with GDAL's reason if the disk is full.
void fillHoles(const BandWithHoles& band, double distance, const std::filesystem::path& folder);

} // namespace Tilewright::Io
