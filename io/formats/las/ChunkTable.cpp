#include <io/formats/las/ChunkTable.h>

#include <algorithm>
#include <memory>
#include <string>

#include <io/formats/las/ArithmeticDecoder.h>
#include <io/formats/las/CodingError.h>
#include <io/formats/las/IntegerDecoder.h>
#include <io/system/Bytes.h>

namespace Tilewright::Io {

namespace {

constexpr std::size_t prefixLength = 8;

[[noreturn]] void fail(const std::string& what) { throw CodingError("its chunk table " + what); }

std::string chunkName(std::uint64_t i, std::uint64_t count) {
    return "chunk " + std::to_string(i + 1) + " of " + std::to_string(count);
}

/// Of an entry.
enum Context : unsigned { PointCount = 0, ByteCount = 1 };

std::uint64_t readChunkCount(std::span<const std::byte> table) {
    if (table.size() < prefixLength)
        fail("is cut off");
    if (const auto version = loadLittleEndian<std::uint32_t>(table.data()); version != 0)
        fail("is of version " + std::to_string(version) + "; only 0 can be read");
    return loadLittleEndian<std::uint32_t>(table.data() + 4);
}

void checkChunkCount(std::uint64_t count, std::uint64_t room, std::uint64_t pointCount,
                     const CompressionRecord& record) {
    if (count > room / record.leastChunkBytes(1))
        fail("has " + std::to_string(count) + " chunks, more than fit the " + std::to_string(room) +
             " bytes before it");
    if (record.hasVariableChunks()) {
        if (count == 0)
            fail("has no chunks");
        return;
    }
    const std::uint64_t needed = pointCount / record.chunkSize + (pointCount % record.chunkSize != 0 ? 1 : 0);
    if (count != needed)
        fail("has " + std::to_string(count) + " chunks, but " + std::to_string(pointCount) +
             " points in chunks of " + std::to_string(record.chunkSize) + " are " + std::to_string(needed));
}

} // namespace

std::optional<std::uint64_t> chunkTableOffset(std::int64_t pointer, const ChunkTablePlace& place) {
    const auto offset = static_cast<std::uint64_t>(pointer);
    if (offset == 0 || offset == place.pointOffset)
        return std::nullopt;
    if (pointer < 0 || offset < place.pointOffset + ChunkTablePlace::pointerLength)
        throw CodingError("its chunk table lies at byte " + std::to_string(pointer) +
                          ", which is before its points at byte " + std::to_string(place.pointOffset));
    if (place.fileSize < prefixLength || offset > place.fileSize - prefixLength)
        return std::nullopt;
    return offset;
}

std::vector<Chunk> readChunkTable(std::span<const std::byte> table, std::uint64_t tableOffset,
                                  std::uint64_t pointOffset, std::uint64_t pointCount,
                                  const CompressionRecord& record) {
    std::uint64_t offset = pointOffset + ChunkTablePlace::pointerLength;
    if (offset > tableOffset)
        fail("lies before the points");
    const std::uint64_t count = readChunkCount(table);
    std::vector<Chunk> chunks;
    if (pointCount == 0)
        return chunks;
    checkChunkCount(count, tableOffset - offset, pointCount, record);
    chunks.reserve(static_cast<std::size_t>(count));

    ArithmeticDecoder coder(table.subspan(prefixLength));
    const auto numbers = std::make_unique_for_overwrite<IntegerDecoder<32, 2>>();
    numbers->create();
    std::uint32_t points = 0, bytes = 0;
    const auto next = [&](std::uint32_t& number, Context context) {
        number = static_cast<std::uint32_t>(
            numbers->decode(coder, static_cast<std::int32_t>(number), context).value);
    };
    std::uint64_t firstPoint = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (record.hasVariableChunks())
            next(points, PointCount);
        else
            points = static_cast<std::uint32_t>(
                std::min<std::uint64_t>(record.chunkSize, pointCount - firstPoint));
        next(bytes, ByteCount);
        if (bytes > tableOffset - offset)
            fail("says that " + chunkName(i, count) + " ends inside it");
        // Writers may leave chunks without points; these have nothing to decode.
        if (points != 0) {
            if (bytes < record.leastChunkBytes(points))
                fail("says that " + chunkName(i, count) + " has " + std::to_string(bytes) + " bytes for " +
                     std::to_string(points) + " points");
            chunks.push_back({offset, bytes, firstPoint, points});
        }
        offset += bytes;
        firstPoint += points;
    }
    return chunks;
}

} // namespace Tilewright::Io
