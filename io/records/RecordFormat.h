/// RecordFormat: how points lie in records of one length, and how they are taken out of them.
///
/// All point sources come down to such records, whether they lie in a LAS file or were put together while a
/// text was read. What works on records works on every source.
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

/// X, Y and Z as doubles, one after the other from byte `position` of the record on.
TILEWRIGHT_API std::array<PointField, 3> plainCoordinates(std::size_t position = 0);

/// X, Y and Z as 32-bit integers, each to be multiplied by a scale and added to an offset, one after the
/// other from the start of the record on.
TILEWRIGHT_API std::array<PointField, 3> scaledCoordinates(const std::array<double, 3>& scale,
                                                           const std::array<double, 3>& offset);

/// Fields lie anywhere in a record, little-endian and unaligned.
struct TILEWRIGHT_API RecordFormat {
    std::size_t recordLength = 0;
    /// X, Y and Z, which as positions are doubles however they are stored. Quickest are those that
    /// plainCoordinates() and scaledCoordinates() give.
    std::array<PointField, 3> coordinates = plainCoordinates();
    /// The attributes.
    std::vector<PointField> fields;

    /// A coordinate, or else an attribute; null if the points have nothing of that name. Letter case counts.
    const PointField* findField(std::string_view name) const noexcept;
};

/// Decodes the positions of `count` records that lie one after the other: x, y, z of each to `xyz`. A scaled
/// coordinate is the stored number * scale + offset in double precision, with both roundings.
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

/// Decodes a field of the first `out.size()` records. T is the type of the field, or any other one of the
/// seven that its values are to be converted to. Meanwhile it has `next` fetched, which
/// will be read soon.
template <class T>
TILEWRIGHT_API void decodeField(const RecordFormat& format, const PointField& field, const std::byte* records,
                                std::span<T> out, std::span<const std::byte> next = {});

/// Decodes a field of the records with the given ordinals, as many as `out` has room for.
template <class T>
TILEWRIGHT_API void decodeFieldAt(const RecordFormat& format, const PointField& field,
                                  const std::byte* records, std::span<const std::uint32_t> ordinals,
                                  std::span<T> out);

} // namespace Tilewright::Io
