/// CoordinateSystem: the ways in which point files and people name a coordinate system, as WKT2, and what to
/// tell people about it.
///
/// The functions that take the records of a file take them as they stand there. Their contents are not
/// trusted: whatever cannot be understood gives an empty text, never an exception. All may be called from
/// several threads at once. The first call in a process takes some 10 ms, for which PROJ opens its database.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// The coordinate system of a WKT text of either generation, as WKT2 in one line. The text ends at its first
/// zero byte.
TILEWRIGHT_API std::string coordinateSystemFromWkt(std::string_view wkt);

/// The three records of GeoTIFF keys, little-endian as in the file: the directory of 16-bit entries, and the
/// numbers and texts to which it points. The last two may be empty.
struct GeoKeys {
    std::span<const std::byte> directory;
    std::span<const std::byte> numbers;
    std::span<const std::byte> texts;
};

/// The coordinate system of GeoTIFF keys, as WKT2 in one line: compound where the keys have a vertical part.
/// Keys that point outside their records are left out of account.
TILEWRIGHT_API std::string coordinateSystemFromGeoKeys(const GeoKeys& keys);

/// Whether two systems in WKT give a position the same coordinates, whatever they are called and in whichever
/// order their axes are named.
TILEWRIGHT_API bool isSameCoordinateSystem(std::string_view a, std::string_view b);

/// Whether both are the same, heights left out of account.
TILEWRIGHT_API bool isSameWithoutHeights(std::string_view a, std::string_view b);

/// What a person writes: EPSG:25832, EPSG:25832+5783 or the numbers alone, WKT of either generation, a PROJ
/// string, or the name of a file that holds one of them, such as a .prj. Gives WKT2 in one line. Throws
/// UsageError if it isn't understood, or if it names a system of heights alone.
TILEWRIGHT_API std::string coordinateSystemFromUser(const std::string& text);

/// The unit of the coordinates of a projected or local system: "metre", "foot", "US survey foot", or its own
/// name for a rarer one. Empty where it is an angle, and for no or an unknown system.
TILEWRIGHT_API std::string linearUnitOf(const std::string& wkt);

/// The unit of the heights, named like that. Empty if the system says nothing about heights; then they are
/// mostly in the unit of the coordinates.
TILEWRIGHT_API std::string verticalUnitOf(const std::string& wkt);

/// The unit of x and y, angles included: "metre", "degree". Empty for no or an unknown system.
TILEWRIGHT_API std::string coordinateUnitOf(const std::string& wkt);

/// The name for people: "ETRS89 / UTM zone 32N + DHHN92 height". Empty for no or an unknown system.
TILEWRIGHT_API std::string systemName(const std::string& wkt);

} // namespace Tilewright::Io
