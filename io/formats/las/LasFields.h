/// LasFields: the attributes of a LAS point.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include <io/records/PointField.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// The attributes of a point format, 0 to 10, in the order of the record. `extraBytes` is the contents of the
/// record that describes the bytes after those of the format, or empty: an attribute for each description
/// that has a type and fits into the `recordLength` bytes of a point, three for a description of a triple.
/// Bytes without description are passed over. Angles: "ScanAngleRank" of formats 0 to 5 is in degrees,
/// "ScanAngle" of formats 6 to 10 in steps of 0.006 degrees.
TILEWRIGHT_API std::vector<PointField> lasFields(unsigned format, std::size_t recordLength,
                                                 std::span<const std::byte> extraBytes);

} // namespace Tilewright::Io
