#include <io/records/PointSource.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include <io/records/CoordinateStorage.h>
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
    record += format.coordinates[0].position;
    for (std::size_t i = 0; i < count; ++i, record += format.recordLength)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto raw = loadLittleEndian<std::int32_t>(record + 4 * axis);
            low[axis] = std::min(low[axis], raw);
            high[axis] = std::max(high[axis], raw);
        }
    PointBounds box;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const PointField& field = format.coordinates[axis];
        const double a = low[axis] * field.scale + field.offset;
        const double b = high[axis] * field.scale + field.offset;
        box.low[axis] = std::min(a, b);
        box.high[axis] = std::max(a, b);
    }
    return box;
}

/// The box of all others, decoded a few at a time.
PointBounds boundsOfDecoded(const RecordFormat& format, const std::byte* records, std::size_t count) {
    constexpr std::size_t atATime = 256;
    std::array<double, 3 * atATime> xyz;
    PointBounds box;
    for (std::size_t first = 0; first < count; first += atATime) {
        const std::size_t n = std::min(atATime, count - first);
        decodePositions(format, records + first * format.recordLength, n, xyz.data());
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t axis = 0; axis < 3; ++axis) {
                box.low[axis] = std::min(box.low[axis], xyz[3 * i + axis]);
                box.high[axis] = std::max(box.high[axis], xyz[3 * i + axis]);
            }
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
    return storageOf(format.coordinates) == CoordinateStorage::ScaledIntegers
               ? boundsOfIntegers(format, records, count)
               : boundsOfDecoded(format, records, count);
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
