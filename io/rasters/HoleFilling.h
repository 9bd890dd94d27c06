/// HoleFilling: has GDAL fill the pixels without data of a band. Private to the writer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

namespace Tilewright::Io {

/// A band as single-precision pixels, `rowsAtATime` whole rows from a multiple of that number on; fewer at
/// the end.
struct BandWithHoles {
    std::uint64_t width;
    std::uint64_t height;
    std::uint64_t rowsAtATime;
    /// Gives the rows from `row` on, with NaN for a hole.
    std::function<void(std::uint64_t row, float* rows)> read;
    /// Takes the same rows back, where holes that are still NaN were not filled.
    std::function<void(std::uint64_t row, const float* rows)> takeFilled;
};

/// Fills holes up to `distance` pixels from data. Makes its working file in `folder`. Throws
/// std::runtime_error with GDAL's reason if the disk takes no more.
void fillHoles(const BandWithHoles& band, double distance, const std::filesystem::path& folder);

} // namespace Tilewright::Io
