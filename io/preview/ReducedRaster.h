/// ReducedRaster: a raster as it is painted, small enough for a picture. Private to Preview.
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
    double middleNorth = 0; ///< second coordinate of the centre
    bool isColoured = false;
    /// Whether all values of the band are whole numbers, before they are reduced.
    bool isWhole = false;
    /// Row by row from the north, NaN where there are no data: the band, or red, green and blue from 0 to
    /// 255.
    std::vector<std::vector<float>> planes;
    std::string wkt;
    std::string name;
    std::string unit;
};

enum class Reduction { Average, MostFrequent };

/// Reduces by as many pixels as it takes for the longer side to have no more than `longest`. Only whole
/// numbers from 0 to 255 can be most frequent; others count as no data. Throws InputError if the file is no
/// raster or has no such band.
ReducedRaster readReduced(const std::filesystem::path& path, std::size_t band, int longest,
                          Reduction reduction);

/// Gives pixels without data the mean of those around them where most of these have data, a few times over.
void closeSpecks(std::vector<float>& plane, int width, int height);

} // namespace Tilewright::Io
