#include <io/records/PointSource.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include <io/system/Bytes.h>

namespace Tilewright::Io {

namespace {

/// The box of scaled integers, worked out on the integers: rounding never changes the order of two
/// coordinates, so the ends of the integers are the ends of the coordinates. A negative scale only swaps
/// them.
PointBounds boundsOfIntegers(const RecordFormat& format, const std::byte* record, std::size_t count) {
    using Limits = std::numeric_limits<std::int32_t>;
    std::array<std::int32_t, 3> low = {Limits::max(), Limits::max(), Limits::max()};
    std::array<std::int32_t, 3> high = {Limits::min(), Limits::min(), Limits::min()};
    for (std::size_t i = 0; i < count; ++i, record += format.recordLength)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto raw = loadLittleEndian<std::int32_t>(record + 4 * axis);
            low[axis] = std::min(low[axis], raw);
            high[axis] = std::max(high[axis], raw);
        }
    PointBounds box;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double a = low[axis] * format.scale[axis] + format.offset[axis];
        const double b = high[axis] * format.scale[axis] + format.offset[axis];
        box.low[axis] = std::min(a, b);
        box.high[axis] = std::max(a, b);
    }
    return box;
}

PointBounds boundsOfDoubles(const RecordFormat& format, const std::byte* record, std::size_t count) {
    PointBounds box;
    for (std::size_t i = 0; i < count; ++i, record += format.recordLength)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto value = loadLittleEndian<double>(record + 8 * axis);
            box.low[axis] = std::min(box.low[axis], value);
            box.high[axis] = std::max(box.high[axis], value);
        }
    return box;
}

} // namespace

void PointBounds::add(const PointBounds& other) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        low[axis] = std::min(low[axis], other.low[axis]);
        high[axis] = std::max(high[axis], other.high[axis]);
    }
}

void PointSource::checkStretch(std::uint64_t first, std::uint64_t count) const {
    if (first > pointCount() || count > pointCount() - first)
        throw std::out_of_range("a read past the last point of " + name());
}

void PointSource::visit(std::uint64_t first, std::uint64_t count, const RecordVisitor& visitor) const {
    checkStretch(first, count);
    if (count != 0)
        visitRecords(first, count, visitor);
}

void PointSource::visit(std::uint64_t first, std::uint64_t count, const ByteSelection& wanted,
                        const RecordVisitor& visitor) const {
    checkStretch(first, count);
    if (count != 0)
        visitWanted(first, count, wanted, visitor);
}

void PointSource::visitWanted(std::uint64_t first, std::uint64_t count, const ByteSelection&,
                              const RecordVisitor& visitor) const {
    visitRecords(first, count, visitor);
}

PointBounds boundsOf(const RecordFormat& format, const std::byte* records, std::size_t count) {
    return format.position == RecordFormat::Position::ScaledIntegers
               ? boundsOfIntegers(format, records, count)
               : boundsOfDoubles(format, records, count);
}

PointBounds PointSource::bounds(std::uint64_t first, std::uint64_t count) const {
    PointBounds all;
    visit(first, count, ByteSelection::positions(format()),
          [&](const std::byte* records, std::size_t n) { all.add(boundsOf(format(), records, n)); });
    return all;
}

void PointSource::read(std::uint64_t first, std::uint64_t count, double* xyz,
                       std::span<const FieldColumn> columns) const {
    for (const FieldColumn& column : columns)
        if (std::visit([](const auto& room) { return room.size(); }, column.values) != count)
            throw std::invalid_argument("room of the wrong size for " + column.field->name);
    ByteSelection wanted = xyz ? ByteSelection::positions(format()) : ByteSelection(format().recordLength);
    for (const FieldColumn& column : columns)
        wanted.add(*column.field);
    std::size_t done = 0;
    visit(first, count, wanted, [&](const std::byte* records, std::size_t n) {
        if (xyz)
            decodePositions(format(), records, n, xyz + 3 * done);
        for (const FieldColumn& column : columns)
            std::visit(
                [&](auto room) { decodeField(format(), *column.field, records, room.subspan(done, n)); },
                column.values);
        done += n;
    });
}

} // namespace Tilewright::Io
