/// LasHeader: what a LAS file says about itself, checked against the file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <io/records/PointSource.h>
#include <io/system/ByteSource.h>
#include <io/system/Bytes.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Once read, these hold:
/// 1. All points lie inside the file, unless they are compressed: `pointOffset + pointCount * recordLength`
/// neither overflows nor exceeds it.
/// 2. `recordLength` is at least what `pointFormat`, 0 to 10, takes.
/// 3. Every ByteRange lies inside the file.
/// 4. Every coordinate that the scales and offsets can give is finite, and no scale is zero.
struct LasHeader {
    unsigned versionMajor = 0;
    unsigned versionMinor = 0;
    std::uint16_t globalEncoding = 0;
    unsigned pointFormat = 0;
    std::uint16_t recordLength = 0;
    std::uint64_t pointOffset = 0;
    std::uint64_t pointCount = 0;
    std::array<double, 3> scale = {};
    std::array<double, 3> offset = {};

    /// The corners as the writer of the file put them down. Often wrong: PointSource::bounds() has the truth.
    std::array<double, 3> claimedLow = {};
    std::array<double, 3> claimedHigh = {};

    /// Contents of the variable length records that matter here, the first of each kind.
    ByteRange wkt;
    ByteRange geoKeyDirectory;
    ByteRange geoKeyNumbers;
    ByteRange geoKeyTexts;
    ByteRange extraBytes;

    /// Whether its points are compressed, and the contents of the one record that says how.
    bool isCompressed = false;
    ByteRange compression;

    /// Whether the file says that its WKT is the record to go by, and not its GeoTIFF keys.
    bool prefersWkt() const noexcept { return (globalEncoding & 0x10U) != 0; }
};

/// Reads and checks the header and the records that follow it. Throws InputError for whatever is not LAS 1.0
/// to 1.4 with all its points, or not as many as its header promises; of compressed points it says nothing
/// but that there is one record of how they are compressed.
TILEWRIGHT_API LasHeader readLasHeader(const ByteSource& file);
/// The same for a file in memory. `name` stands for it in messages.
TILEWRIGHT_API LasHeader readLasHeader(std::span<const std::byte> file, const std::string& name);

/// The coordinate system that the records of the header name, as PointSource::coordinateSystem().
std::string coordinateSystemOf(const LasHeader& header, const ByteSource& file);

/// The contents of a record. Nothing where they are longer than any that makes sense.
std::vector<std::byte> readRecord(const ByteSource& file, ByteRange contents);

/// The box of the points as the header states it, with each side at the nearest coordinate that the points
/// can have. Nothing without points, or where a side is not finite, out of reach of the scaled integers, or
/// on the wrong side of the other.
TILEWRIGHT_API std::optional<PointBounds> statedBoundsOf(const LasHeader& header);

/// Whether a file that begins with LASF has compressed points (LAZ).
TILEWRIGHT_API bool isCompressedLas(std::span<const std::byte> file);

/// Bytes that a point of `format`, 0 to 10, takes without extra bytes.
TILEWRIGHT_API unsigned lasPointSize(unsigned format);

} // namespace Tilewright::Io
