/// PointSource: points in records, wherever they come from.
///
/// A source is read by position: any stretch of its records, any number of times, on several threads at once.
/// Order is the order of the file, and stays the same for the life of the source.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include <io/records/ByteSelection.h>
#include <io/records/RecordFormat.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// The least and greatest coordinate on each axis, in the units of the coordinate system. Empty, with low
/// above high, until something was added.
struct TILEWRIGHT_API PointBounds {
    static constexpr double infinity = std::numeric_limits<double>::infinity();

    std::array<double, 3> low = {infinity, infinity, infinity};
    std::array<double, 3> high = {-infinity, -infinity, -infinity};

    void add(const PointBounds& other);
};

/// The box of records that lie one after the other, exactly as they are decoded.
PointBounds boundsOf(const RecordFormat& format, const std::byte* records, std::size_t count);

/// Consecutive records that are decoded together: to read any of them costs as much as to read all.
struct SourcePiece {
    std::uint64_t first = 0;
    std::uint64_t count = 0;
    /// The box of the points as the file states it, if it does. Never trusted, as
    /// PointSource::statedBounds().
    std::optional<PointBounds> statedBox;
};

/// Room for the values of an attribute, one for each point.
using FieldValues =
    std::variant<std::span<float>, std::span<double>, std::span<unsigned char>, std::span<unsigned short>,
                 std::span<unsigned int>, std::span<unsigned long long>, std::span<int>>;

/// An attribute to read and where to put it. Another type than the field's own converts the values.
struct FieldColumn {
    const PointField* field;
    FieldValues values;
};

class TILEWRIGHT_API PointSource {
public:
    /// Takes records that lie one after the other; they are there for the length of the call only.
    using RecordVisitor = std::function<void(const std::byte* records, std::size_t count)>;

    PointSource() = default;
    PointSource(const PointSource&) = delete;
    PointSource& operator=(const PointSource&) = delete;
    virtual ~PointSource() = default;

    /// What to call the source in a message: mostly the path of its file.
    virtual const std::string& name() const noexcept = 0;
    virtual const RecordFormat& format() const noexcept = 0;
    virtual std::uint64_t pointCount() const noexcept = 0;
    /// The coordinate system as WKT2 in one line, with its vertical part if there is one. Empty if none is
    /// named, or none that can be understood.
    virtual std::string coordinateSystem() const = 0;

    /// Where the source is cheap to cut, in ascending order and covering all records. Empty if it may be cut
    /// anywhere.
    virtual std::vector<SourcePiece> pieces() const { return {}; }

    /// The box of all points as the file states it, with each side at the nearest coordinate that a record
    /// can hold. Nothing where the file states none, or none that makes sense. Writers are often wrong:
    /// whoever uses it checks every point against it.
    virtual std::optional<PointBounds> statedBounds() const { return std::nullopt; }

    /// What the user should know of the source though it can be read, a line each.
    virtual std::vector<std::string> notes() const { return {}; }

    /// Calls `visitor` for the `count` records from `first` on, piece by piece in ascending order; a piece
    /// fits a processor's cache. Throws std::out_of_range past the last record, and InputError where the
    /// source can't be read any more.
    void visit(std::uint64_t first, std::uint64_t count, const RecordVisitor& visitor) const;

    /// The same for a visitor that looks at nothing of the records but the `wanted` bytes; the others may
    /// hold anything. Compressed sources decode, and read, less for it.
    void visit(std::uint64_t first, std::uint64_t count, const ByteSelection& wanted,
               const RecordVisitor& visitor) const;

    /// Gives back the memory that reading these records has left behind, if any. They can be read again.
    virtual void release(std::uint64_t /*first*/, std::uint64_t /*count*/) const {}

    /// The box of the points' own coordinates, exactly as they are read; empty without points.
    PointBounds bounds(std::uint64_t first, std::uint64_t count) const;

    /// Decodes `count` points from `first` on: their x, y, z to `xyz`, which has room for three times as many
    /// numbers or is null if positions are not wanted, and their attributes to `columns`, which have room for
    /// `count` each (else std::invalid_argument).
    void read(std::uint64_t first, std::uint64_t count, double* xyz,
              std::span<const FieldColumn> columns) const;

private:
    virtual void visitRecords(std::uint64_t first, std::uint64_t count,
                              const RecordVisitor& visitor) const = 0;
    /// For sources to which it makes a difference what is wanted.
    virtual void visitWanted(std::uint64_t first, std::uint64_t count, const ByteSelection& wanted,
                             const RecordVisitor& visitor) const;
    void checkStretch(std::uint64_t first, std::uint64_t count) const;
};

} // namespace Tilewright::Io
