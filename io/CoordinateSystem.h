/// CoordinateSystem: the two ways in which point files name their coordinate system, as WKT2.
///
/// The functions take the records as they stand in the file. Their contents are not trusted: whatever cannot
/// be understood gives an empty text, never an exception. They may be called from several threads at once.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace Tilewright::Io {

/// The coordinate system of a WKT text of either generation, as WKT2 in one line. The text ends at its first
/// zero byte.
std::string coordinateSystemFromWkt(std::string_view wkt);

/// The three records of GeoTIFF keys, little-endian as in the file: the directory of 16-bit entries, and the
/// numbers and texts to which it points. The last two may be empty.
struct GeoKeys {
    std::span<const std::byte> directory;
    std::span<const std::byte> numbers;
    std::span<const std::byte> texts;
};

/// The coordinate system of GeoTIFF keys, as WKT2 in one line: compound where the keys have a vertical part.
/// Keys that point outside their records are left out of account.
std::string coordinateSystemFromGeoKeys(const GeoKeys& keys);

/// Whether two systems in WKT give a position the same coordinates, whatever they are called and in whichever
/// order their axes are named.
bool isSameCoordinateSystem(std::string_view a, std::string_view b);

/// What a system in WKT is called; empty if it has no name.
std::string coordinateSystemName(std::string_view wkt);
/// The unit of its x and y, such as "metre" or "degree"; empty if it has none.
std::string coordinateSystemUnit(std::string_view wkt);

} // namespace Tilewright::Io
