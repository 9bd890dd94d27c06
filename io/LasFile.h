/// LasFile: an uncompressed LAS file, versions 1.0 to 1.4 and point formats 0 to 10, read straight from its
/// map.
///
/// Nothing is loaded when a file is opened. Positions and attributes are decoded into memory of the caller,
/// for any stretch of points at a time, so that files far larger than memory can be worked through.
///
/// 1. An open file has been checked: no read of points that it has leaves its bytes.
/// 2. The pages that a read has been through are given back as it goes; memory use does not grow with the
/// file.
///
/// All const operations may run on several threads at once.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include <io/LasFields.h>
#include <io/LasHeader.h>
#include <io/MappedFile.h>

namespace Tilewright::Io {

/// The least and greatest coordinate on each axis, in the units of the coordinate system.
struct LasBounds {
    std::array<double, 3> low;
    std::array<double, 3> high;
};

/// Room for the values of an attribute, one for each point.
using FieldValues =
    std::variant<std::span<float>, std::span<double>, std::span<unsigned char>, std::span<unsigned short>,
                 std::span<unsigned int>, std::span<unsigned long long>, std::span<int>>;

/// An attribute to read, one of LasFile::fields(), and where to put it: room of the type of the attribute.
struct LasColumn {
    const LasField* field;
    FieldValues values;
};

class LasFile {
public:
    /// Throws InputError, with one line for the user, for whatever is not such a file from its first byte to
    /// its last point.
    explicit LasFile(const std::filesystem::path& path);

    const LasHeader& header() const noexcept { return head; }
    std::uint64_t pointCount() const noexcept { return head.pointCount; }

    /// The attributes of every point besides its position, in the order of the record.
    const std::vector<LasField>& fields() const noexcept { return attributes; }

    /// Null if the points have no attribute of that name. Letter case counts.
    const LasField* findField(std::string_view name) const noexcept;

    /// The coordinate system as WKT2 in one line, with its vertical part if the file has one. Empty if the
    /// file names none, or none that can be understood.
    std::string coordinateSystem() const;

    /// The box of the points' own coordinates, exactly as they are read; none without points. Walks over all
    /// points, or over `count` of them from `first` on. Throws std::out_of_range past the last point.
    std::optional<LasBounds> bounds() const { return bounds(0, pointCount()); }
    std::optional<LasBounds> bounds(std::uint64_t first, std::uint64_t count) const;

    /// Decodes `count` points from `first` on: their x, y, z to `xyz`, which has room for three times as many
    /// numbers or is null if positions are not wanted, and their attributes to `columns`. The file is gone
    /// through once, so that one call for many columns is several times as fast as a call for each.
    ///
    /// A coordinate is the stored integer * scale + offset in double precision, with both roundings. Throws
    /// std::out_of_range past the last point, and std::invalid_argument for a column that is of another type
    /// or number than the values to read; nothing is written then.
    void read(std::uint64_t first, std::uint64_t count, double* xyz,
              std::span<const LasColumn> columns) const;

    /// Positions alone, into points of the caller's own type, which is three doubles and nothing else.
    template <class Point> void readPositions(std::uint64_t first, std::span<Point> out) const {
        static_assert(std::is_standard_layout_v<Point> && sizeof(Point) == 3 * sizeof(double) &&
                          alignof(Point) == alignof(double),
                      "a point is three doubles");
        read(first, out.size(), reinterpret_cast<double*>(out.data()), {});
    }

    /// One attribute alone.
    template <class T> void read(const LasField& field, std::uint64_t first, std::span<T> out) const {
        const LasColumn column = {&field, out};
        read(first, out.size(), nullptr, {&column, 1});
    }

private:
    /// Calls `visit(record, count)` for blocks of the given points, in ascending order, and gives their pages
    /// back.
    template <class Visitor> void walk(std::uint64_t first, std::uint64_t count, Visitor&& visit) const;

    MappedFile file;
    LasHeader head;
    std::vector<LasField> attributes;
};

} // namespace Tilewright::Io
