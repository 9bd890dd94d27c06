#include <io/records/RecordStore.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 20;
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
                         std::shared_ptr<ScratchSpace> scratch)
    : label(std::move(name)), records(std::move(format)), wkt(std::move(coordinateSystem)),
      scratch(std::move(scratch)) {
    records.coordinates = plainCoordinates();
    records.recordLength = 3 * sizeof(double);
    for (PointField& field : records.fields) {
        field.position = records.recordLength;
        records.recordLength += field.size;
    }
    recordsInBlock = std::max<std::size_t>(blockBytes / records.recordLength, 1);
}

std::byte* RecordStore::append(const std::array<double, 3>& position) {
    ++count;
    if (!std::ranges::all_of(position, [](double c) { return std::isfinite(c); }))
        throw InputError(label + ": point " + std::to_string(count) +
                         " has a coordinate that is not a finite number");
    if (buffer.size() == recordsInBlock * records.recordLength)
        flush();
    buffer.resize(buffer.size() + records.recordLength);
    std::byte* const record = buffer.data() + buffer.size() - records.recordLength;
    for (std::size_t axis = 0; axis < position.size(); ++axis)
        copyAsLittleEndian<sizeof(double)>(reinterpret_cast<const std::byte*>(&position[axis]),
                                           record + axis * sizeof(double));
    return record;
}

void RecordStore::flush() {
    blocks.push_back(scratch->keep(buffer));
    buffer.clear();
}

void RecordStore::finish() {
    if (!buffer.empty())
        flush();
    buffer.shrink_to_fit();
}

void RecordStore::visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const {
    const std::size_t length = records.recordLength;
    const std::size_t recordsInPiece = std::max<std::size_t>(pieceBytes / length, 1);
    std::vector<std::byte> piece(static_cast<std::size_t>(std::min<std::uint64_t>(n, recordsInPiece)) *
                                 length);
    while (n != 0) {
        const std::uint64_t skipped = first % recordsInBlock;
        const std::uint64_t now = std::min({n, recordsInBlock - skipped, std::uint64_t{recordsInPiece}});
        const std::span room(piece.data(), static_cast<std::size_t>(now) * length);
        const ScratchStretch& block = blocks[static_cast<std::size_t>(first / recordsInBlock)];
        visitor(scratch->read(block, skipped * length, room), static_cast<std::size_t>(now));
        first += now;
        n -= now;
    }
}

} // namespace Tilewright::Io
