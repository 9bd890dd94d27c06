#include <io/records/ArraySource.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include <io/records/FieldNames.h>
#include <io/system/Bytes.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

/// Handed out at a time, to stay in the processor's cache.
constexpr std::size_t pieceBytes = std::size_t{1} << 16;

constexpr std::array axisNames = {"X", "Y", "Z"};

void nameCoordinates(RecordFormat& format) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        format.coordinates[axis].name = axisNames[axis];
    makeNamesUnique(format.fields);
}

/// Readers of files see to that as they read; here nobody has looked at the numbers yet.
void requireFinitePositions(const PointSource& source) {
    std::vector<double> xyz;
    std::uint64_t before = 0;
    source.visit(0, source.pointCount(), [&](const std::byte* records, std::size_t n) {
        xyz.resize(3 * n);
        decodePositions(source.format(), records, n, xyz.data());
        const auto found = std::ranges::find_if_not(xyz, [](double c) { return std::isfinite(c); });
        if (found != xyz.end())
            throw InputError(
                source.name() + ": point " +
                std::to_string(before + static_cast<std::uint64_t>(found - xyz.begin()) / 3 + 1) +
                " has a coordinate that is not a finite number");
        before += n;
    });
}

/// Puts numbers of `size` bytes into records that are `length` bytes apart.
template <std::size_t size>
void scatter(const ArrayColumn& column, std::uint64_t first, std::size_t n, std::byte* to,
             std::size_t length) {
    const std::byte* from = column.first + static_cast<std::ptrdiff_t>(first) * column.stride;
    for (std::size_t i = 0; i < n; ++i, from += column.stride, to += length)
        copyAsLittleEndian<size>(from, to);
}

void scatter(const ArrayColumn& column, std::uint64_t first, std::size_t n, std::byte* to,
             std::size_t length) {
    switch (column.field.size) {
    case 1:
        return scatter<1>(column, first, n, to, length);
    case 2:
        return scatter<2>(column, first, n, to, length);
    case 4:
        return scatter<4>(column, first, n, to, length);
    default:
        return scatter<8>(column, first, n, to, length);
    }
}

/// The ends of a column of coordinates.
struct Ends {
    double low = PointBounds::infinity;
    double high = -PointBounds::infinity;
    bool areFinite = true;

    void add(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
        // Neither NaN nor an infinity is itself then.
        areFinite &= value - value == 0.0;
    }
};

/// Of doubles, which need no decoding.
Ends endsOfDoubles(const ArrayColumn& column) {
    Ends ends;
    const std::byte* from = column.first;
    for (std::size_t i = 0; i < column.count; ++i, from += column.stride) {
        double value;
        std::memcpy(&value, from, sizeof value);
        ends.add(value);
    }
    return ends;
}

bool areDoubles(const ArrayColumn& column) {
    return column.field.storage == PointField::Storage::Double && !column.field.scaled;
}

} // namespace

ArraySource::ArraySource(std::string name, const std::array<ArrayColumn, 3>& coordinates,
                         std::vector<ArrayColumn> attributes, std::string coordinateSystem)
    : label(std::move(name)), wkt(std::move(coordinateSystem)),
      columns(coordinates.begin(), coordinates.end()) {
    std::ranges::move(attributes, std::back_inserter(columns));
    for (ArrayColumn& column : columns) {
        if (column.count != columns.front().count)
            throw std::invalid_argument(label + ": " + column.field.name + " has " +
                                        std::to_string(column.count) + " numbers for " +
                                        std::to_string(columns.front().count) + " points");
        column.field.position = records.recordLength;
        records.recordLength += column.field.size;
    }
    for (std::size_t axis = 0; axis < 3; ++axis)
        records.coordinates[axis] = columns[axis].field;
    for (const ArrayColumn& column : std::span(columns).subspan(3))
        records.fields.push_back(column.field);
    nameCoordinates(records);
    measure();
}

void ArraySource::measure() {
    if (!std::all_of(columns.begin(), columns.begin() + 3, areDoubles)) {
        requireFinitePositions(*this);
        box = bounds(0, pointCount());
        return;
    }
    bool areFinite = true;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const Ends ends = endsOfDoubles(columns[axis]);
        box.low[axis] = ends.low;
        box.high[axis] = ends.high;
        areFinite &= ends.areFinite;
    }
    if (!areFinite)
        requireFinitePositions(*this);
}

void ArraySource::visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const {
    visitWanted(first, n, ByteSelection::all(records.recordLength), visitor);
}

void ArraySource::visitWanted(std::uint64_t first, std::uint64_t n, const ByteSelection& wanted,
                              const RecordVisitor& visitor) const {
    const std::size_t length = records.recordLength;
    const std::uint64_t most = std::max<std::size_t>(pieceBytes / length, 1);
    std::vector<std::byte> piece(static_cast<std::size_t>(std::min(n, most)) * length);
    while (n != 0) {
        const auto now = static_cast<std::size_t>(std::min(n, most));
        for (const ArrayColumn& column : columns)
            if (wanted.has(column.field.position, column.field.size))
                scatter(column, first, now, piece.data() + column.field.position, length);
        visitor(piece.data(), now);
        first += now;
        n -= now;
    }
}

RecordSpan::RecordSpan(std::string name, RecordFormat format, std::span<const std::byte> bytes,
                       std::string coordinateSystem)
    : label(std::move(name)), records(std::move(format)), bytes(bytes), wkt(std::move(coordinateSystem)) {
    if (records.recordLength == 0 || bytes.size() % records.recordLength != 0)
        throw std::invalid_argument(label + ": " + std::to_string(bytes.size()) +
                                    " bytes are no whole number of records of " +
                                    std::to_string(records.recordLength) + " bytes");
    nameCoordinates(records);
    const auto check = [this](const PointField& field) {
        if (field.position > records.recordLength || field.size > records.recordLength - field.position)
            throw std::invalid_argument(label + ": " + field.name + " lies outside its record");
    };
    std::ranges::for_each(records.coordinates, check);
    std::ranges::for_each(records.fields, check);
    requireFinitePositions(*this);
}

void RecordSpan::visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const {
    const std::uint64_t most = std::max<std::size_t>(pieceBytes / records.recordLength, 1);
    while (n != 0) {
        const std::uint64_t now = std::min(n, most);
        visitor(bytes.data() + first * records.recordLength, static_cast<std::size_t>(now));
        first += now;
        n -= now;
    }
}

} // namespace Tilewright::Io
