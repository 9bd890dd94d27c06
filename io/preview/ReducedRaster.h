/// ReducedRaster: a raster reduced to the size of a picture. Private to Preview.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Tilewright::Io {

struct ReducedRaster {
    int width = 0;
    int height = 0;
    double pixelWidth = 1; ///< on the ground
    double pixelHeight = 1;
    double middleNorth = 0; ///< y of the centre
    bool isColoured = false;
    /// Whether all values of the band are whole numbers before the reduction.
    bool isWhole = false;
    /// Row by row from the north, NaN for no data: the band, or red, green and blue from 0 to 255.
    std::vector<std::vector<float>> planes;
    std::string wkt;
    std::string name;
    std::string unit;
};

enum class Reduction { Average, MostFrequent };

/// Reduces the raster until its longer side has at most `longest` pixels. Only whole numbers from 0 to 255
/// can be most frequent; others count as no data. Throws InputError if the file is not a raster or has no
/// such band.
ReducedRaster readReduced(const std::filesystem::path& path, std::size_t band, int longest,
                          Reduction reduction);

/// Fills pixels without data with the mean of their neighbours if most of these have data. Repeats this a few
/// times.
void closeSpecks(std::vector<float>& plane, int width, int height);

} // namespace Tilewright::Io
