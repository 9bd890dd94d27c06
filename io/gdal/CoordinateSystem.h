/// CoordinateSystem: converts the ways in which files and people name a coordinate system to WKT2, and
/// describes systems for people.
///
/// Functions that take records of a file take their bytes unchanged and do not trust them: what cannot be
/// understood gives an empty text, never an exception. Several threads may call all functions at once. The
/// first call in a process takes about 10 ms, because PROJ opens its database.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// The coordinate system of a WKT1 or WKT2 text, as WKT2 in one line. The text ends at its first zero byte.
TILEWRIGHT_API std::string coordinateSystemFromWkt(std::string_view wkt);

/// The three records of GeoTIFF keys, little-endian as in the file: the directory of 16-bit entries, and the
/// numbers and texts to which it points. The last two may be empty.
struct GeoKeys {
    std::span<const std::byte> directory;
    std::span<const std::byte> numbers;
    std::span<const std::byte> texts;
};

/// The coordinate system of GeoTIFF keys, as WKT2 in one line: compound where the keys have a vertical part.
/// Keys that point outside their records are ignored.
TILEWRIGHT_API std::string coordinateSystemFromGeoKeys(const GeoKeys& keys);

/// Whether two systems in WKT give a position the same coordinates, whatever their names and the order of
/// their axes.
TILEWRIGHT_API bool isSameCoordinateSystem(std::string_view a, std::string_view b);

/// Whether both are the same apart from heights.
TILEWRIGHT_API bool isSameWithoutHeights(std::string_view a, std::string_view b);

/// Converts what a person writes: EPSG:25832, EPSG:25832+5783 or the numbers alone, WKT1, WKT2, a PROJ
/// string, or the name of a file with one of them, such as a .prj. Returns WKT2 in one line. Throws
/// UsageError if it cannot be understood, or if it names a system of heights alone.
TILEWRIGHT_API std::string coordinateSystemFromUser(const std::string& text);

/// The unit of the coordinates of a projected or local system: "metre", "foot", "US survey foot", or the
/// given name of a rarer one. Empty for angles, and for no or an unknown system.
TILEWRIGHT_API std::string linearUnitOf(const std::string& wkt);

/// The unit of the heights, with the same names. Empty if the system does not define heights; they are then
/// usually in the unit of the coordinates.
TILEWRIGHT_API std::string verticalUnitOf(const std::string& wkt);

/// The unit of x and y, angles included: "metre", "degree". Empty for no or an unknown system.
TILEWRIGHT_API std::string coordinateUnitOf(const std::string& wkt);

/// The name for people: "ETRS89 / UTM zone 32N + DHHN92 height". Empty for no or an unknown system.
TILEWRIGHT_API std::string systemName(const std::string& wkt);

} // namespace Tilewright::Io
