/// GroundSurface: the height of the ground at any position, from a raster of it.
///
/// It is interpolated between the centres of the four nearest cells. A cell without data has no ground; next
/// to one, what is interpolated comes from the others. Of a file only the tiles are read that somebody asks
/// for, and then they stay in memory.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <vector>

#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

/// Several threads may ask one object at once.
class GroundSurface {
public:
    /// Of the first band of a file, with no more than `mostBytes` of it in memory at a time. Throws
    /// InputError for a file that is no raster in north-up cells.
    GroundSurface(const std::filesystem::path& raster, std::uint64_t mostBytes);
    /// Of heights row by row from the north, NaN where there is none.
    GroundSurface(const RasterGeometry& geometry, std::vector<double> heights);
    ~GroundSurface();

    const RasterGeometry& geometry() const { return Geometry; }

    /// Stores the heights of points above the ground in `above`, NaN where there is no ground. Gives the
    /// number of points without ground. Throws InputError where the file can't be read, or for more than may
    /// be in memory.
    std::size_t subtract(const double* x, const double* y, const double* z, std::size_t count,
                         double* above) const;

private:
    static constexpr std::uint64_t tileSide = 256;
    using Tile = std::vector<double>;
    class File;

    struct Places;

    void subtractHeights(const Places& places, const double* z, std::size_t count, double* above) const;
    void subtractTiles(const Places& places, const double* z, std::size_t count, double* above) const;
    double heightAt(double x, double y) const;
    double pixel(std::uint64_t column, std::uint64_t row) const;
    const Tile& tile(std::size_t number) const;
    const Tile& load(std::size_t number) const;

    RasterGeometry Geometry;
    std::uint64_t TilesAcross;
    /// Row by row from the north, where there is no file.
    std::vector<double> Heights;
    std::unique_ptr<File> Source;
    std::uint64_t MostBytes = std::numeric_limits<std::uint64_t>::max();
    /// Null for those that nobody asked for.
    mutable std::vector<std::atomic<const Tile*>> Tiles;
    mutable std::mutex Lock;
    mutable std::uint64_t Bytes = 0;
};

} // namespace Tilewright::Io
