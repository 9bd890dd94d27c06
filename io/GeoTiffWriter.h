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

struct BandDescription {
    std::string name; ///< the description of the band
    PixelType type = PixelType::Float32;
    std::optional<NoData> nodata;                              ///< has to be a value of the pixel type
    std::string unit;                                          ///< unit of the values; empty for none
    std::vector<std::pair<std::string, std::string>> metadata; ///< keys and texts of the file
};

/// Writes one GeoTIFF with one band, window by window and in any order.
///
/// The file is tiled in blocks of 256 x 256 pixels, uncompressed, and sparse: a block that receives nothing
/// but the nodata value (zero, where there is none) takes no space and reads back as that value. It becomes a
/// BigTIFF where it could outgrow 4 GB.
///
/// 1. Everything goes into a hidden file in the folder of the output. The output appears by one rename,
///    complete, or not at all; until then a file that already has this name stays as it is.
/// 2. A writer that goes away before publish() takes its hidden file along.
/// 3. The output is one file: none is written beside it, and side files (.aux.xml, .ovr) which describe an
///    older output of that name are removed when it is replaced.
/// 4. GDAL prints nothing. What it has to say comes as the one line of an OutputError that starts with the
///    path.
///
/// For several files that belong together, close() all of them before the first publish(), or call
/// finishAll(): then a full disk leaves none of them behind.
///
/// One writer belongs to one thread at a time; different writers may work on different threads.
class GeoTiffWriter {
public:
    static constexpr int blockSize = 256;

    /// Creates the hidden file. Throws OutputError if the folder cannot be written, if an axis has no pixel
    /// or more than 2^31-1, if the pixel size is not positive, if the nodata value is none of the pixel type,
    /// or if GDAL does not understand the coordinate system.
    GeoTiffWriter(const std::filesystem::path& path, const RasterGeometry& geometry,
                  const BandDescription& band);
    GeoTiffWriter(GeoTiffWriter&&) noexcept;
    GeoTiffWriter& operator=(GeoTiffWriter&&) noexcept;
    ~GeoTiffWriter();

    /// Writes `columns` x `rows` pixels with their upper left corner at (column, row). Row 0 is the
    /// northernmost; `values` holds the rows from north to south, each from west to east. T is the type of
    /// the band: another type, a window that leaves the raster, or a span of another length is an
    /// std::invalid_argument. Throws OutputError if the file takes no more; the writer is of no use after
    /// that.
    ///
    /// Windows made of whole blocks are the fast ones. A block may be written in several windows.
    template <PixelValue T>
    void write(std::uint64_t column, std::uint64_t row, std::uint64_t columns, std::uint64_t rows,
               std::span<const T> values);

    /// Writes out what is still in memory and closes the hidden file. Throws OutputError if any of it did not
    /// reach the file. May be repeated.
    void close();

    /// Gives the closed file its name, replacing an older one. Throws OutputError if the system refuses.
    /// Calling it before close() is an std::logic_error; repeating it does nothing.
    void publish();

    /// close() and publish().
    void finish();

    const std::filesystem::path& path() const;

private:
    class Output;
    std::unique_ptr<Output> output_;
};

/// Finishes files that belong together: nothing is published before all are closed without an error.
void finishAll(std::span<GeoTiffWriter> writers);

/// The file of one band of a run: OUT.tif if it is the only one, else OUT-NAME.tif. `out` may have the
/// extension .tif or .tiff already and keeps it. Only letters, digits, and `_`, `-`, `+`, `.` of the name
/// (and all of UTF-8 beyond ASCII) survive, other characters become `_`; two names may thus come out alike.
std::string bandFileName(const std::string& out, const std::string& bandName, std::size_t bandCount);

} // namespace Tilewright::Io
