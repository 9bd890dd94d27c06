/// RasterWriter: a raster file, written window by window, that appears complete or not at all.
///
/// The work goes into a hidden tiled GeoTIFF in the folder of the output. What is asked for beyond it,
/// another format, overviews, filled holes, is made of that file when it is closed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace Tilewright::Io {

/// Where a raster lies. Edges are the outer edges of the outermost pixels, not pixel centres.
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

/// The integer alternative exists because a double cannot name every 64-bit value.
using NoData = std::variant<double, unsigned long long>;

enum class BandColour { Undefined, Gray, Red, Green, Blue, Alpha };

struct BandDescription {
    std::string name; ///< the description of the band
    std::string unit; ///< unit of the values; empty for none
    BandColour colour = BandColour::Undefined;
    std::vector<std::pair<std::string, std::string>> metadata; ///< keys and texts of the band
};

struct RasterDescription {
    RasterGeometry geometry;
    PixelType type = PixelType::Float32;
    std::optional<NoData> nodata; ///< has to be a value of the pixel type
    std::vector<BandDescription> bands;
    std::vector<std::pair<std::string, std::string>> metadata; ///< keys and texts of the file
    int blockSize = 256;                                       ///< side of a tile, a multiple of 16
    std::string driver = "GTiff";                              ///< GDAL's name of the format
    std::vector<std::string> creationOptions;                  ///< KEY=VALUE, as for the format's driver
    bool overviews = false;
    double fillDistance = 0; ///< pixels without data up to so far from data are filled; 0 for none
};

/// Of the pixels with data that are numbers. Filled holes count.
struct BandStatistics {
    std::uint64_t count = 0;
    double least = 0;
    double greatest = 0;
    double mean = 0;
    double deviation = 0;
};

class RasterWriter {
public:
    RasterWriter(const std::filesystem::path& path, const RasterDescription& description);
    RasterWriter(RasterWriter&&) noexcept;
    RasterWriter& operator=(RasterWriter&&) noexcept;
    ~RasterWriter();

    /// Writes `columns` x `rows` pixels of band `band`, from 0, with their upper left corner at (column,
    /// row). Row 0 is the northernmost; `values` holds the rows from north to south, each from west to east.
    template <PixelValue T>
    void write(std::size_t band, std::uint64_t column, std::uint64_t row, std::uint64_t columns,
               std::uint64_t rows, std::span<const T> values);

    /// One more key and text of the file, before close().
    void addMetadata(const std::string& key, const std::string& text);

    /// Finishes the hidden file, with statistics, overviews and all.
    void close();
    /// Of a band of the closed file.
    BandStatistics statistics(std::size_t band) const;
    /// The closed file under its hidden name, to be read by GDAL until publish().
    const std::filesystem::path& hiddenPath() const;

    /// Gives the closed file its name, replacing an older one.
    void publish();

    const std::filesystem::path& path() const;

private:
    class Output;
    std::unique_ptr<Output> output;
};

/// Finishes files that belong together: nothing is published before all are closed without an error.
void finishAll(std::span<RasterWriter> writers);

} // namespace Tilewright::Io
