#include <io/LasFile.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

#include <io/CoordinateSystem.h>
#include <io/LasBytes.h>

namespace Tilewright::Io {

namespace {

/// Bytes of points that are worked on at a time: they stay in the cache from one attribute to the next.
constexpr std::uint64_t blockBytes = std::uint64_t{1} << 17;

/// Bytes after which pages are given back: enough to make the calls to the system cheap, and little beside
/// what the caller keeps.
constexpr std::uint64_t stretchBytes = std::uint64_t{1} << 22;

std::span<const std::byte> slice(const MappedFile& file, ByteRange range) {
    return file.bytes().subspan(static_cast<std::size_t>(range.offset),
                                static_cast<std::size_t>(range.length));
}

void decodePositions(const LasHeader& header, const std::byte* record, std::size_t records, double* xyz) {
    const auto [scaleX, scaleY, scaleZ] = header.scale;
    const auto [offsetX, offsetY, offsetZ] = header.offset;
    const std::size_t recordLength = header.recordLength;
    for (const double* end = xyz + 3 * records; xyz != end; xyz += 3) {
        xyz[0] = loadLittleEndian<std::int32_t>(record) * scaleX + offsetX;
        xyz[1] = loadLittleEndian<std::int32_t>(record + 4) * scaleY + offsetY;
        xyz[2] = loadLittleEndian<std::int32_t>(record + 8) * scaleZ + offsetZ;
        record += recordLength;
    }
}

template <class Stored, class T, class Convert>
void decode(const std::byte* record, std::size_t recordLength, std::span<T> out, Convert convert) {
    for (T& value : out) {
        value = convert(loadLittleEndian<Stored>(record));
        record += recordLength;
    }
}

/// Decodes a field whose stored type is known by now. T has been checked against the type of the field.
template <class Stored, class T>
void decodeStored(const LasField& field, const std::byte* record, std::size_t recordLength,
                  std::span<T> out) {
    if constexpr (std::is_same_v<T, double>) {
        if (field.scaled) {
            decode<Stored>(record, recordLength, out,
                           [scale = field.scale, offset = field.offset](Stored value) {
                               return static_cast<double>(value) * scale + offset;
                           });
            return;
        }
    }
    decode<Stored>(record, recordLength, out, [](Stored value) { return static_cast<T>(value); });
}

template <class T>
void decodeField(const LasField& field, const std::byte* record, std::size_t recordLength, std::span<T> out) {
    using Storage = LasField::Storage;
    record += field.position;
    switch (field.storage) {
    case Storage::Bits:
        if (field.scaled || field.bitCount == 8) {
            return decodeStored<std::uint8_t>(field, record, recordLength, out);
        }
        return decode<std::uint8_t>(record, recordLength, out,
                                    [shift = field.firstBit, mask = (1U << field.bitCount) - 1](
                                        unsigned value) { return static_cast<T>((value >> shift) & mask); });
    case Storage::Int8:
        return decodeStored<std::int8_t>(field, record, recordLength, out);
    case Storage::UInt16:
        return decodeStored<std::uint16_t>(field, record, recordLength, out);
    case Storage::Int16:
        return decodeStored<std::int16_t>(field, record, recordLength, out);
    case Storage::UInt32:
        return decodeStored<std::uint32_t>(field, record, recordLength, out);
    case Storage::Int32:
        return decodeStored<std::int32_t>(field, record, recordLength, out);
    case Storage::UInt64:
        return decodeStored<std::uint64_t>(field, record, recordLength, out);
    case Storage::Int64:
        return decodeStored<std::int64_t>(field, record, recordLength, out);
    case Storage::Float:
        return decodeStored<float>(field, record, recordLength, out);
    case Storage::Double:
        return decodeStored<double>(field, record, recordLength, out);
    }
}

} // namespace

LasFile::LasFile(const std::filesystem::path& path)
    : file(path), head(readLasHeader(file.bytes(), path.string())),
      attributes(lasFields(head.pointFormat, head.recordLength, slice(file, head.extraBytes))) {}

const LasField* LasFile::findField(std::string_view name) const noexcept {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [name](const LasField& field) { return field.name == name; });
    return found != attributes.end() ? &*found : nullptr;
}

std::string LasFile::coordinateSystem() const {
    const auto fromWkt = [this] {
        const auto text = slice(file, head.wkt);
        return coordinateSystemFromWkt({reinterpret_cast<const char*>(text.data()), text.size()});
    };
    const auto fromKeys = [this] {
        return coordinateSystemFromGeoKeys({slice(file, head.geoKeyDirectory),
                                            slice(file, head.geoKeyNumbers), slice(file, head.geoKeyTexts)});
    };
    std::string system = head.prefersWkt() ? fromWkt() : fromKeys();
    if (system.empty()) {
        system = head.prefersWkt() ? fromKeys() : fromWkt();
    }
    return system;
}

template <class Visitor> void LasFile::walk(std::uint64_t first, std::uint64_t count, Visitor&& visit) const {
    if (first > head.pointCount || count > head.pointCount - first) {
        throw std::out_of_range("a read past the last point of a LAS file");
    }
    const std::uint64_t recordsAtATime = blockBytes / head.recordLength;
    std::uint64_t position = head.pointOffset + first * head.recordLength;
    std::uint64_t kept = position;
    while (count != 0) {
        const std::uint64_t records = std::min(count, recordsAtATime);
        visit(file.bytes().data() + position, static_cast<std::size_t>(records));
        position += records * head.recordLength;
        count -= records;
        if (position - kept >= stretchBytes || count == 0) {
            file.release(kept, position - kept);
            kept = position;
        }
    }
}

std::optional<LasBounds> LasFile::bounds(std::uint64_t first, std::uint64_t count) const {
    using Limits = std::numeric_limits<std::int32_t>;
    std::array<std::int32_t, 3> low = {Limits::max(), Limits::max(), Limits::max()};
    std::array<std::int32_t, 3> high = {Limits::min(), Limits::min(), Limits::min()};
    walk(first, count, [&](const std::byte* record, std::size_t records) {
        for (std::size_t i = 0; i < records; ++i, record += head.recordLength) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const auto raw = loadLittleEndian<std::int32_t>(record + 4 * axis);
                low[axis] = std::min(low[axis], raw);
                high[axis] = std::max(high[axis], raw);
            }
        }
    });
    if (count == 0) {
        return std::nullopt;
    }
    // Rounding never changes the order of two coordinates, so the ends of the integers are the ends of the
    // coordinates; a negative scale only swaps them.
    LasBounds box = {};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double a = low[axis] * head.scale[axis] + head.offset[axis];
        const double b = high[axis] * head.scale[axis] + head.offset[axis];
        box.low[axis] = std::min(a, b);
        box.high[axis] = std::max(a, b);
    }
    return box;
}

void LasFile::read(std::uint64_t first, std::uint64_t count, double* xyz,
                   std::span<const LasColumn> columns) const {
    for (const LasColumn& column : columns) {
        std::visit(
            [&]<class T>(std::span<T> out) {
                if (!isFieldType<T>(column.field->type) || out.size() != count) {
                    throw std::invalid_argument("room of the wrong type or size for " + column.field->name);
                }
            },
            column.values);
    }
    std::size_t done = 0;
    walk(first, count, [&](const std::byte* record, std::size_t records) {
        if (xyz) {
            decodePositions(head, record, records, xyz + 3 * done);
        }
        for (const LasColumn& column : columns) {
            std::visit(
                [&](auto out) {
                    decodeField(*column.field, record, head.recordLength, out.subspan(done, records));
                },
                column.values);
        }
        done += records;
    });
}

} // namespace Tilewright::Io
