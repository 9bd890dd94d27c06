#include <io/RecordStore.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include <io/Errors.h>

namespace Tilewright::Io {

namespace {

// Records are decoded as little-endian numbers.
static_assert(std::endian::native == std::endian::little);

constexpr std::size_t bufferBytes = std::size_t{1} << 22;
/// Read at a time, to stay in the processor's cache.
constexpr std::size_t pieceBytes = std::size_t{1} << 17;

PointField::Storage storageOf(FieldType type) {
    using Storage = PointField::Storage;
    switch (type) {
    case FieldType::Float:
        return Storage::Float;
    case FieldType::Double:
        return Storage::Double;
    case FieldType::UnsignedChar:
        return Storage::Bits;
    case FieldType::UnsignedShort:
        return Storage::UInt16;
    case FieldType::UnsignedInt:
        return Storage::UInt32;
    case FieldType::UnsignedLongLong:
        return Storage::UInt64;
    case FieldType::Int:
        return Storage::Int32;
    }
    return Storage::Double;
}

} // namespace

PointField storedField(std::string name, FieldType type) {
    PointField field;
    field.name = std::move(name);
    field.type = type;
    field.storage = storageOf(type);
    field.size = visitFieldType(type, []<class T>() { return sizeof(T); });
    return field;
}

RecordStore::RecordStore(std::string name, RecordFormat format, std::string coordinateSystem,
                         std::filesystem::path scratch)
    : label(std::move(name)), records(std::move(format)), wkt(std::move(coordinateSystem)),
      scratch(std::move(scratch)) {
    records.position = RecordFormat::Position::Doubles;
    records.recordLength = 3 * sizeof(double);
    for (PointField& field : records.fields) {
        field.position = records.recordLength;
        records.recordLength += field.size;
    }
}

std::byte* RecordStore::append(const std::array<double, 3>& position) {
    ++count;
    if (!std::ranges::all_of(position, [](double c) { return std::isfinite(c); }))
        throw InputError(label + ": point " + std::to_string(count) +
                         " has a coordinate that is not a finite number");
    if (buffer.size() + records.recordLength > bufferBytes)
        flush();
    buffer.resize(buffer.size() + records.recordLength);
    std::byte* const record = buffer.data() + buffer.size() - records.recordLength;
    std::memcpy(record, position.data(), sizeof position);
    return record;
}

void RecordStore::flush() {
    if (!file)
        file = std::make_unique<ScratchFile>(scratch);
    file->write(flushed, buffer);
    flushed += buffer.size();
    buffer.clear();
}

void RecordStore::finish() {
    if (file && !buffer.empty())
        flush();
    buffer.shrink_to_fit();
}

void RecordStore::visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const {
    const std::size_t length = records.recordLength;
    if (!file) {
        visitor(buffer.data() + first * length, static_cast<std::size_t>(n));
        return;
    }
    const std::uint64_t recordsAtATime = std::max<std::uint64_t>(pieceBytes / length, 1);
    std::vector<std::byte> piece(std::min(n, recordsAtATime) * length);
    while (n != 0) {
        const std::uint64_t now = std::min(n, recordsAtATime);
        const std::span bytes(piece.data(), now * length);
        file->read(first * length, bytes);
        visitor(bytes.data(), static_cast<std::size_t>(now));
        first += now;
        n -= now;
    }
}

} // namespace Tilewright::Io
