#include <io/RecordFormat.h>

#include <algorithm>

#include <io/LasBytes.h>

namespace Tilewright::Io {

namespace {

template <class Stored>
void decodeTriples(const std::byte* record, std::size_t recordLength, std::size_t count, double* xyz,
                   const std::array<double, 3>& scale, const std::array<double, 3>& offset) {
    // Copies, since the compiler can't know that the output leaves scale and offset alone.
    const auto [scaleX, scaleY, scaleZ] = scale;
    const auto [offsetX, offsetY, offsetZ] = offset;
    for (const double* end = xyz + 3 * count; xyz != end; xyz += 3) {
        xyz[0] = loadLittleEndian<Stored>(record) * scaleX + offsetX;
        xyz[1] = loadLittleEndian<Stored>(record + sizeof(Stored)) * scaleY + offsetY;
        xyz[2] = loadLittleEndian<Stored>(record + 2 * sizeof(Stored)) * scaleZ + offsetZ;
        record += recordLength;
    }
}

void copyTriples(const std::byte* record, std::size_t recordLength, std::size_t count, double* xyz) {
    for (const double* end = xyz + 3 * count; xyz != end; xyz += 3, record += recordLength)
        for (std::size_t axis = 0; axis < 3; ++axis)
            xyz[axis] = loadLittleEndian<double>(record + axis * sizeof(double));
}

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

} // namespace

const PointField* RecordFormat::findField(std::string_view name) const noexcept {
    const auto found = std::ranges::find(fields, name, &PointField::name);
    return found != fields.end() ? &*found : nullptr;
}

void decodePositions(const RecordFormat& format, const std::byte* records, std::size_t count, double* xyz) {
    if (format.position == RecordFormat::Position::ScaledIntegers)
        decodeTriples<std::int32_t>(records, format.recordLength, count, xyz, format.scale, format.offset);
    else
        copyTriples(records, format.recordLength, count, xyz);
}

template <class T>
void decodeField(const RecordFormat& format, const PointField& field, const std::byte* records,
                 std::span<T> out) {
    withReader<T>(field, [&, length = format.recordLength](const auto& read) {
        const std::byte* at = records + field.position;
        for (T& value : out) {
            value = read(at);
            at += length;
        }
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
    template void decodeField(const RecordFormat&, const PointField&, const std::byte*, std::span<T>);       \
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
