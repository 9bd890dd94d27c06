#include <io/formats/las/CompressionRecord.h>

#include <algorithm>
#include <string>

#include <io/formats/las/CodingError.h>
#include <io/system/Bytes.h>

namespace Tilewright::Io {

namespace {

using Type = LazItem::Type;

constexpr std::size_t prefixLength = 34;
constexpr std::size_t itemLength = 6;
constexpr std::size_t coderBytes = 4; ///< that every coded string begins with

struct ItemKind {
    Type type;
    std::string_view name;
    std::uint16_t size; ///< 0 for extra bytes, of which there may be any number
    std::uint16_t leastVersion, greatestVersion;
    std::size_t layers; ///< of all but extra bytes
};

constexpr ItemKind itemKinds[] = {
    {Type::Byte, "BYTE", 0, 1, 2, 0},
    {Type::Point10, "POINT10", 20, 1, 2, 0},
    {Type::GpsTime11, "GPSTIME11", 8, 1, 2, 0},
    {Type::Rgb12, "RGB12", 6, 1, 2, 0},
    {Type::WavePacket13, "WAVEPACKET13", 29, 1, 1, 0},
    {Type::Point14, "POINT14", 30, 2, 4, 9},
    {Type::Rgb14, "RGB14", 6, 2, 4, 1},
    {Type::RgbNir14, "RGBNIR14", 8, 2, 4, 2},
    {Type::WavePacket14, "WAVEPACKET14", 29, 3, 4, 1},
    {Type::Byte14, "BYTE14", 0, 2, 4, 0},
};

const ItemKind* findKind(Type type) {
    const auto* found = std::find_if(std::begin(itemKinds), std::end(itemKinds),
                                     [&](const ItemKind& kind) { return kind.type == type; });
    return found == std::end(itemKinds) ? nullptr : found;
}

/// The items of a point format without extra bytes.
std::vector<Type> itemTypes(unsigned pointFormat) {
    switch (pointFormat) {
    case 0:
        return {Type::Point10};
    case 1:
        return {Type::Point10, Type::GpsTime11};
    case 2:
        return {Type::Point10, Type::Rgb12};
    case 3:
        return {Type::Point10, Type::GpsTime11, Type::Rgb12};
    case 4:
        return {Type::Point10, Type::GpsTime11, Type::WavePacket13};
    case 5:
        return {Type::Point10, Type::GpsTime11, Type::Rgb12, Type::WavePacket13};
    case 6:
        return {Type::Point14};
    case 7:
        return {Type::Point14, Type::Rgb14};
    case 8:
        return {Type::Point14, Type::RgbNir14};
    case 9:
        return {Type::Point14, Type::WavePacket14};
    case 10:
        return {Type::Point14, Type::RgbNir14, Type::WavePacket14};
    default:
        throw CodingError("it has points of format " + std::to_string(pointFormat) +
                          "; formats 0 to 10 can be read");
    }
}

[[noreturn]] void fail(const std::string& what) { throw CodingError("its compression record " + what); }

CompressionRecord readPrefix(std::span<const std::byte> contents) {
    if (contents.size() < prefixLength)
        fail("is cut off: it has " + std::to_string(contents.size()) + " of at least " +
             std::to_string(prefixLength) + " bytes");
    const auto number = [&](std::size_t place) { return loadLittleEndian<std::uint16_t>(&contents[place]); };
    const unsigned compressor = number(0);
    if (compressor < 1 || compressor > 3)
        fail("names compressor " + std::to_string(compressor) + "; 1, 2 and 3 can be read");
    if (number(2) != 0)
        fail("names coder " + std::to_string(number(2)) + "; only 0, the arithmetic one, can be read");
    CompressionRecord record;
    record.compressor = static_cast<CompressionRecord::Compressor>(compressor);
    record.versionMajor = std::to_integer<unsigned>(contents[4]);
    record.versionMinor = std::to_integer<unsigned>(contents[5]);
    record.versionRevision = number(6);
    record.isCompatibilityMode = (loadLittleEndian<std::uint32_t>(&contents[8]) & 1U) != 0;
    record.chunkSize = loadLittleEndian<std::uint32_t>(&contents[12]);
    if (record.isChunked() && record.chunkSize == 0)
        fail("has chunks of no points");
    return record;
}

LazItem readItem(const std::byte* from) {
    const LazItem item = {static_cast<Type>(loadLittleEndian<std::uint16_t>(from)),
                          loadLittleEndian<std::uint16_t>(from + 2),
                          loadLittleEndian<std::uint16_t>(from + 4)};
    const ItemKind* kind = findKind(item.type);
    if (kind == nullptr)
        fail("has an item of type " + std::to_string(static_cast<unsigned>(item.type)) +
             ", which is not known");
    const std::string name(kind->name);
    if (item.size == 0 || (kind->size != 0 && item.size != kind->size))
        fail("has an item " + name + " of " + std::to_string(item.size) + " bytes");
    if (item.version < kind->leastVersion || item.version > kind->greatestVersion)
        fail("has an item " + name + " of version " + std::to_string(item.version) + "; versions " +
             std::to_string(kind->leastVersion) + " to " + std::to_string(kind->greatestVersion) +
             " can be read");
    return item;
}

void checkItems(const CompressionRecord& record, unsigned pointFormat, std::size_t recordLength) {
    const bool isLayered = pointFormat >= 6;
    if (isLayered != record.isLayered())
        fail("names compressor " + std::to_string(static_cast<unsigned>(record.compressor)) +
             ", which points of format " + std::to_string(pointFormat) + " do not go with");
    std::vector<Type> expected = itemTypes(pointFormat);
    std::size_t formatLength = 0;
    for (const Type type : expected)
        formatLength += findKind(type)->size;
    if (recordLength > formatLength)
        expected.push_back(isLayered ? Type::Byte14 : Type::Byte);
    if (!std::equal(expected.begin(), expected.end(), record.items.begin(), record.items.end(),
                    [](Type type, const LazItem& item) { return type == item.type; }))
        fail("does not have the items of points of format " + std::to_string(pointFormat) + " with " +
             std::to_string(recordLength) + " bytes");
    if (record.recordLength != recordLength)
        fail("has items of " + std::to_string(record.recordLength) + " bytes together, but points take " +
             std::to_string(recordLength));
}

} // namespace

std::size_t CompressionRecord::layerCount() const noexcept {
    std::size_t layers = 0;
    for (const LazItem& item : items)
        layers += item.type == Type::Byte14 ? item.size : findKind(item.type)->layers;
    return layers;
}

std::uint64_t CompressionRecord::leastChunkBytes(std::uint64_t points) const noexcept {
    const std::uint64_t head = recordLength + coderBytes;
    if (!isLayered())
        return head;
    // The count of points takes as much as what a coded string begins with. Of the layers only the first has
    // to be there.
    return head + 4 * std::uint64_t{layerCount()} + (points > 1 ? coderBytes : 0);
}

CompressionRecord readCompressionRecord(std::span<const std::byte> contents, unsigned pointFormat,
                                        std::size_t recordLength) {
    CompressionRecord record = readPrefix(contents);
    const auto count = loadLittleEndian<std::uint16_t>(&contents[prefixLength - 2]);
    if ((contents.size() - prefixLength) / itemLength < count)
        fail("is cut off: it has " + std::to_string(contents.size()) + " bytes, too few for " +
             std::to_string(count) + " items");
    for (std::size_t i = 0; i < count; ++i) {
        record.items.push_back(readItem(&contents[prefixLength] + itemLength * i));
        record.recordLength += record.items.back().size;
    }
    checkItems(record, pointFormat, recordLength);
    return record;
}

} // namespace Tilewright::Io
