#include <io/records/RecordFormat.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include <io/records/CoordinateStorage.h>
#include <io/system/Bytes.h>
#include <io/system/FetchAhead.h>

namespace Tilewright::Io {

namespace {

constexpr std::array axisNames = {"X", "Y", "Z"};

/// The stored integers that can stand for coordinates from low to high, and a few on either side: where the
/// digits of a coordinate run out many integers stand for the same one.
struct StoredRange {
    std::int32_t first;
    std::uint32_t span;

    StoredRange(double low, double high, double scale, double offset) {
        constexpr double lowest = std::numeric_limits<std::int32_t>::min();
        constexpr double highest = std::numeric_limits<std::int32_t>::max();
        const auto slack = [&](double coordinate) {
            constexpr double roundings = 4.0 * std::numeric_limits<double>::epsilon();
            return 1.0 + roundings * (std::abs(coordinate) + std::abs(offset)) / std::abs(scale);
        };
        if (scale < 0)
            std::swap(low, high);
        const double least = std::floor((low - offset) / scale - slack(low));
        const double greatest = std::ceil((high - offset) / scale + slack(high));
        // What overflows to no number leaves the range open.
        first = static_cast<std::int32_t>(least > lowest ? std::min(least, highest) : lowest);
        const auto last =
            static_cast<std::int32_t>(greatest < highest ? std::max(greatest, lowest) : highest);
        span = static_cast<std::uint32_t>(last) - static_cast<std::uint32_t>(first);
    }

    /// 1 or 0.
    std::size_t has(std::int32_t value) const {
        return static_cast<std::uint32_t>(value) - static_cast<std::uint32_t>(first) <= span;
    }
};

/// Gives `visit` a function that takes the stored value of `field` out of a record.
template <class T, class Visitor> void withReader(const PointField& field, Visitor&& visit) {
    const auto plain = [&]<class Stored>(std::type_identity<Stored>) {
        if (field.scaled)
            visit([scale = field.scale, offset = field.offset](const std::byte* at) {
                return static_cast<T>(static_cast<double>(loadLittleEndian<Stored>(at)) * scale + offset);
            });
        else
            visit([](const std::byte* at) { return static_cast<T>(loadLittleEndian<Stored>(at)); });
    };
    using Storage = PointField::Storage;
    switch (field.storage) {
    case Storage::Bits:
        if (field.scaled || field.bitCount == 8)
            return plain(std::type_identity<std::uint8_t>());
        return visit([shift = field.firstBit, mask = (1U << field.bitCount) - 1](const std::byte* at) {
            return static_cast<T>((loadLittleEndian<std::uint8_t>(at) >> shift) & mask);
        });
    case Storage::Int8:
        return plain(std::type_identity<std::int8_t>());
    case Storage::UInt16:
        return plain(std::type_identity<std::uint16_t>());
    case Storage::Int16:
        return plain(std::type_identity<std::int16_t>());
    case Storage::UInt32:
        return plain(std::type_identity<std::uint32_t>());
    case Storage::Int32:
        return plain(std::type_identity<std::int32_t>());
    case Storage::UInt64:
        return plain(std::type_identity<std::uint64_t>());
    case Storage::Int64:
        return plain(std::type_identity<std::int64_t>());
    case Storage::Float:
        return plain(std::type_identity<float>());
    case Storage::Double:
        return plain(std::type_identity<double>());
    }
}

/// Takes positions out of one record after the other, wherever `recordOf(i)` says that it lies.
template <class RecordOf>
void decodeTriples(const RecordFormat& format, std::size_t count, double* xyz, const RecordOf& recordOf) {
    // Copies, since the compiler can't know that the output leaves the format alone.
    const auto& [x, y, z] = format.coordinates;
    const double scaleX = x.scale, scaleY = y.scale, scaleZ = z.scale;
    const double offsetX = x.offset, offsetY = y.offset, offsetZ = z.offset;
    const std::size_t first = x.position;
    switch (storageOf(format.coordinates)) {
    case CoordinateStorage::ScaledIntegers:
        for (std::size_t i = 0; i < count; ++i, xyz += 3) {
            const std::byte* const at = recordOf(i) + first;
            xyz[0] = loadLittleEndian<std::int32_t>(at) * scaleX + offsetX;
            xyz[1] = loadLittleEndian<std::int32_t>(at + 4) * scaleY + offsetY;
            xyz[2] = loadLittleEndian<std::int32_t>(at + 8) * scaleZ + offsetZ;
        }
        return;
    case CoordinateStorage::Doubles:
        for (std::size_t i = 0; i < count; ++i, xyz += 3)
            for (std::size_t axis = 0; axis < 3; ++axis)
                xyz[axis] = loadLittleEndian<double>(recordOf(i) + first + axis * sizeof(double));
        return;
    case CoordinateStorage::Other:
        for (std::size_t axis = 0; axis < 3; ++axis)
            withReader<double>(format.coordinates[axis],
                               [&, at = format.coordinates[axis].position](const auto& read) {
                                   for (std::size_t i = 0; i < count; ++i)
                                       xyz[3 * i + axis] = read(recordOf(i) + at);
                               });
    }
}

/// Without a branch for each record: in a strip across a window there is no guessing which lie inside.
template <class Stored, class IsInside>
std::size_t findRecords(const RecordFormat& format, const std::byte* records, std::size_t count,
                        std::uint32_t* ordinals, const IsInside& isInside) {
    const std::byte* at = records + format.coordinates[0].position;
    std::size_t found = 0;
    for (std::size_t i = 0; i < count; ++i, at += format.recordLength) {
        ordinals[found] = static_cast<std::uint32_t>(i);
        found += isInside(loadLittleEndian<Stored>(at), loadLittleEndian<Stored>(at + sizeof(Stored)));
    }
    return found;
}

/// The same for coordinates that have to be decoded first, a few at a time.
template <class IsInside>
std::size_t findDecoded(const RecordFormat& format, const std::byte* records, std::size_t count,
                        std::uint32_t* ordinals, const IsInside& isInside) {
    std::array<double, 256> x;
    std::array<double, x.size()> y;
    std::size_t found = 0;
    for (std::size_t first = 0; first < count; first += x.size()) {
        const std::size_t n = std::min(x.size(), count - first);
        const std::byte* const from = records + first * format.recordLength;
        decodeField(format, format.coordinates[0], from, std::span(x).first(n));
        decodeField(format, format.coordinates[1], from, std::span(y).first(n));
        for (std::size_t i = 0; i < n; ++i) {
            ordinals[found] = static_cast<std::uint32_t>(first + i);
            found += isInside(x[i], y[i]);
        }
    }
    return found;
}

} // namespace

std::array<PointField, 3> plainCoordinates(std::size_t position) {
    std::array<PointField, 3> coordinates;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        coordinates[axis] = plainField(axisNames[axis], PointField::Storage::Double);
        coordinates[axis].position = position + axis * sizeof(double);
    }
    return coordinates;
}

std::array<PointField, 3> scaledCoordinates(const std::array<double, 3>& scale,
                                            const std::array<double, 3>& offset) {
    std::array<PointField, 3> coordinates;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        coordinates[axis] =
            scaledField(axisNames[axis], PointField::Storage::Int32, scale[axis], offset[axis]);
        coordinates[axis].position = axis * sizeof(std::int32_t);
    }
    return coordinates;
}

const PointField* RecordFormat::findField(std::string_view name) const noexcept {
    const auto coordinate = std::ranges::find(coordinates, name, &PointField::name);
    if (coordinate != coordinates.end())
        return &*coordinate;
    const auto found = std::ranges::find(fields, name, &PointField::name);
    return found != fields.end() ? &*found : nullptr;
}

void decodePositions(const RecordFormat& format, const std::byte* records, std::size_t count, double* xyz) {
    decodeTriples(format, count, xyz,
                  [records, length = format.recordLength](std::size_t i) { return records + i * length; });
}

void decodePositionsAt(const RecordFormat& format, const std::byte* records,
                       std::span<const std::uint32_t> ordinals, double* xyz) {
    decodeTriples(format, ordinals.size(), xyz,
                  [records, length = format.recordLength, ordinal = ordinals.data()](std::size_t i) {
                      return records + ordinal[i] * length;
                  });
}

std::size_t findInBox(const RecordFormat& format, const std::byte* records, std::size_t count,
                      const CoordinateBox& box, std::uint32_t* ordinals) {
    const auto& [x, y, z] = format.coordinates;
    const CoordinateStorage storage = storageOf(format.coordinates);
    if (storage == CoordinateStorage::ScaledIntegers) {
        const StoredRange rangeX(box.low[0], box.high[0], x.scale, x.offset);
        const StoredRange rangeY(box.low[1], box.high[1], y.scale, y.offset);
        return findRecords<std::int32_t>(format, records, count, ordinals,
                                         [rangeX, rangeY](std::int32_t storedX, std::int32_t storedY) {
                                             return rangeX.has(storedX) & rangeY.has(storedY);
                                         });
    }
    const auto isInside = [box](double atX, double atY) {
        return std::size_t{atX >= box.low[0]} & std::size_t{atX <= box.high[0]} &
               std::size_t{atY >= box.low[1]} & std::size_t{atY <= box.high[1]};
    };
    return storage == CoordinateStorage::Doubles
               ? findRecords<double>(format, records, count, ordinals, isInside)
               : findDecoded(format, records, count, ordinals, isInside);
}

template <class T>
void decodeField(const RecordFormat& format, const PointField& field, const std::byte* records,
                 std::span<T> out, std::span<const std::byte> next) {
    withReader<T>(field, [&, length = format.recordLength](const auto& read) {
        constexpr std::size_t atATime = 8;
        const std::byte* at = records + field.position;
        FetchAhead ahead(next);
        const std::size_t fetched = ahead.share(out.size() / atATime);
        std::size_t i = 0;
        for (; i + atATime <= out.size(); i += atATime) {
            ahead.fetch(fetched);
            for (std::size_t k = i; k < i + atATime; ++k, at += length)
                out[k] = read(at);
        }
        for (; i < out.size(); ++i, at += length)
            out[i] = read(at);
    });
}

template <class T>
void decodeFieldAt(const RecordFormat& format, const PointField& field, const std::byte* records,
                   std::span<const std::uint32_t> ordinals, std::span<T> out) {
    withReader<T>(field, [&, length = format.recordLength](const auto& read) {
        const std::byte* const first = records + field.position;
        for (std::size_t i = 0; i < out.size(); ++i)
            out[i] = read(first + ordinals[i] * length);
    });
}

#define TILEWRIGHT_DECODE_FIELD(T)                                                                           \
    template void decodeField(const RecordFormat&, const PointField&, const std::byte*, std::span<T>,        \
                              std::span<const std::byte>);                                                   \
    template void decodeFieldAt(const RecordFormat&, const PointField&, const std::byte*,                    \
                                std::span<const std::uint32_t>, std::span<T>);
TILEWRIGHT_DECODE_FIELD(float)
TILEWRIGHT_DECODE_FIELD(double)
TILEWRIGHT_DECODE_FIELD(unsigned char)
TILEWRIGHT_DECODE_FIELD(unsigned short)
TILEWRIGHT_DECODE_FIELD(unsigned int)
TILEWRIGHT_DECODE_FIELD(unsigned long long)
TILEWRIGHT_DECODE_FIELD(int)
#undef TILEWRIGHT_DECODE_FIELD

} // namespace Tilewright::Io
