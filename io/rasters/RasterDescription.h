/// RasterDescription: what a raster file will contain and how, and the statistics of its bands.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace Tilewright::Io {

/// The location of a raster. Edges are the outer edges of the outermost pixels, not pixel centres.
struct RasterGeometry {
    std::uint64_t width = 0;  ///< pixels from west to east, 1 to 2^31-1
    std::uint64_t height = 0; ///< pixels from north to south, 1 to 2^31-1
    double west = 0;          ///< western edge, in units of the coordinate system
    double north = 0;         ///< northern edge
    double pixelWidth = 1;    ///< positive
    double pixelHeight = 1;   ///< positive, although rows run southwards
    std::string wkt;          ///< coordinate system with its vertical part; empty for none
};

enum class PixelType { Float32, Float64, Byte, UInt16, UInt32, UInt64, Int32 };

template <class T> struct PixelTypeOf;
template <> struct PixelTypeOf<float> : std::integral_constant<PixelType, PixelType::Float32> {};
template <> struct PixelTypeOf<double> : std::integral_constant<PixelType, PixelType::Float64> {};
template <> struct PixelTypeOf<unsigned char> : std::integral_constant<PixelType, PixelType::Byte> {};
template <> struct PixelTypeOf<unsigned short> : std::integral_constant<PixelType, PixelType::UInt16> {};
template <> struct PixelTypeOf<unsigned int> : std::integral_constant<PixelType, PixelType::UInt32> {};
template <> struct PixelTypeOf<unsigned long long> : std::integral_constant<PixelType, PixelType::UInt64> {};
template <> struct PixelTypeOf<int> : std::integral_constant<PixelType, PixelType::Int32> {};

/// The seven plain value types, each of which has a pixel type that holds it without conversion.
template <class T>
concept PixelValue = requires {
    PixelTypeOf<T>::value;
};

template <PixelValue T> inline constexpr PixelType pixelTypeOf = PixelTypeOf<T>::value;

/// The integer alternative exists because a double cannot represent every 64-bit value.
using NoData = std::variant<double, unsigned long long>;

/// How several pixels become one in an overview.
enum class Resampling {
    ByType, ///< mode for bytes without colour, which are mostly class numbers; average for others
    Average,
    Mode
};

/// What pixels without data are filled with.
enum class Filling {
    InverseDistance, ///< a mean of their surroundings, weighted by distance, in single precision
    Nearest,         ///< the value of the nearest pixel
    Triangles        ///< the plane through the corners of their triangle (Delaunay) of pixels with data
};

enum class BandColour { Undefined, Gray, Red, Green, Blue, Alpha };

struct BandDescription {
    std::string name; ///< the description of the band
    std::string unit; ///< unit of the values; empty for none
    BandColour colour = BandColour::Undefined;
    std::vector<std::pair<std::string, std::string>> metadata; ///< keys and texts of the band
    /// Values between two others mean nothing, so that holes are filled by the nearest alone.
    bool isCategory = false;
};

struct RasterDescription {
    RasterGeometry geometry;
    PixelType type = PixelType::Float32;
    /// For all bands except alpha. Must be a value of the pixel type.
    std::optional<NoData> nodata;
    std::vector<BandDescription> bands;                        ///< at least one
    std::vector<std::pair<std::string, std::string>> metadata; ///< keys and texts of the file
    int blockSize = 256;                                       ///< side of a tile, a multiple of 16
    std::string driver = "GTiff";                              ///< GDAL's name of the format; see driverOf()
    /// KEY=VALUE, as the format's driver expects them; they override everything else here. A compressed
    /// GeoTIFF gets the predictor of its type unless they name one.
    std::vector<std::string> creationOptions;
    bool overviews = false; ///< a Cloud Optimized GeoTIFF always has them
    Resampling resampling = Resampling::ByType;
    /// Fills pixels without data up to this many pixels from data, or inside of triangles with no longer
    /// edges; 0 fills none. In a file without nodata, pixels whose alpha is 0 have
    /// no data, and filled ones become opaque.
    double fillDistance = 0;
    Filling filling = Filling::InverseDistance;
};

/// Statistics of the finite pixels with data, all zero if there are none. Filled holes count. In a file
/// without nodata, pixels whose alpha is not 0 have data, or all pixels if there is no alpha.
struct BandStatistics {
    std::uint64_t count = 0;
    double least = 0;
    double greatest = 0;
    double mean = 0;
    double deviation = 0; ///< of the population, not of a sample
    /// Pixels that had no data until they were filled; includes those that are not finite.
    std::uint64_t filledHoles = 0;
};

} // namespace Tilewright::Io
