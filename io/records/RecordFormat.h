/// RecordFormat: how points lie in records of one length, and how they are taken out of them.
///
/// All point sources come down to such records, whether they are mapped from a LAS file or were put together
/// while a text was read. What works on records works on every source.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <io/records/PointField.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

struct TILEWRIGHT_API RecordFormat {
    /// A position stands at the start of its record: three 32-bit integers, each to be multiplied by a scale
    /// and added to an offset, or three doubles as they are. Numbers are little-endian and unaligned.
    enum class Position { ScaledIntegers, Doubles };

    std::size_t recordLength = 0;
    Position position = Position::Doubles;
    std::array<double, 3> scale = {1.0, 1.0, 1.0};
    std::array<double, 3> offset = {};
    std::vector<PointField> fields;

    /// Null if the points have no attribute of that name. Letter case counts.
    const PointField* findField(std::string_view name) const noexcept;
};

/// Decodes the positions of `count` records that lie one behind the other: x, y, z of each to `xyz`. A scaled
/// coordinate is the stored integer * scale + offset in double precision, with both roundings.
TILEWRIGHT_API void decodePositions(const RecordFormat& format, const std::byte* records, std::size_t count,
                                    double* xyz);

/// A rectangle of coordinates, its borders included.
struct CoordinateBox {
    std::array<double, 2> low;
    std::array<double, 2> high;
};

/// Finds the records whose x and y lie in `box`, and perhaps a few close to it: their ordinals, ascending, go
/// to `ordinals`, which has room for `count`. Gives their number. Far quicker than to decode all positions.
TILEWRIGHT_API std::size_t findInBox(const RecordFormat& format, const std::byte* records, std::size_t count,
                                     const CoordinateBox& box, std::uint32_t* ordinals);

/// Decodes the positions of the records with the given ordinals.
TILEWRIGHT_API void decodePositionsAt(const RecordFormat& format, const std::byte* records,
                                      std::span<const std::uint32_t> ordinals, double* xyz);

/// Decodes an attribute of the first `out.size()` records. T is the type of the field, or any other one of
/// the seven that its values are to be converted to.
template <class T>
TILEWRIGHT_API void decodeField(const RecordFormat& format, const PointField& field, const std::byte* records,
                                std::span<T> out);

/// Decodes an attribute of the records with the given ordinals, as many as `out` has room for.
template <class T>
TILEWRIGHT_API void decodeFieldAt(const RecordFormat& format, const PointField& field,
                                  const std::byte* records, std::span<const std::uint32_t> ordinals,
                                  std::span<T> out);

} // namespace Tilewright::Io
