#include <io/formats/las/LazChunks.h>

#include <algorithm>
#include <array>
#include <optional>

#include <io/formats/las/LayeredHead.h>
#include <io/system/Bytes.h>

namespace Tilewright::Io {

namespace {

constexpr std::uint64_t pointerLength = ChunkTablePlace::pointerLength;

std::int64_t pointerAt(const ByteSource& file, std::uint64_t offset) {
    std::array<std::byte, pointerLength> bytes;
    file.readAll(offset, bytes);
    return loadLittleEndian<std::int64_t>(bytes.data());
}

std::optional<std::uint64_t> findTable(const ByteSource& file, const LasHeader& header) {
    if (file.size() - header.pointOffset < pointerLength)
        throw CodingError("it is cut off before its first point");
    std::int64_t pointer = pointerAt(file, header.pointOffset);
    if (pointer == ChunkTablePlace::atEnd)
        pointer = pointerAt(file, file.size() - pointerLength);
    return chunkTableOffset(pointer, {header.pointOffset, file.size()});
}

/// Enough bytes for the table at `offset`, or all that there are.
std::vector<std::byte> readTable(const ByteSource& file, const LasHeader& header,
                                 const CompressionRecord& record, std::uint64_t offset) {
    constexpr std::uint64_t prefix = 8, coderStart = 4;
    // Two numbers of 32 bits.
    constexpr std::uint64_t mostBytesPerChunk = 16;
    std::array<std::byte, prefix> head;
    file.readAll(offset, head);
    // A number that no file of this size can have is an error, whatever follows it.
    const std::uint64_t mostChunks = (offset - header.pointOffset) / record.leastChunkBytes(1);
    const std::uint64_t chunks =
        std::min<std::uint64_t>(loadLittleEndian<std::uint32_t>(head.data() + 4), mostChunks);
    const std::uint64_t length =
        std::min(file.size() - offset, prefix + coderStart + chunks * mostBytesPerChunk);
    std::vector<std::byte> table(static_cast<std::size_t>(length));
    file.readAll(offset, table);
    return table;
}

/// Goes from chunk to chunk.
class ChunkWalk {
public:
    ChunkWalk(const ByteSource& file, const LasHeader& header, const CompressionRecord& record)
        : file(file), header(header), record(record), decoder(record),
          position(header.pointOffset + pointerLength) {}

    std::vector<Chunk> run() {
        std::vector<Chunk> chunks;
        std::uint64_t points = 0;
        while (points < header.pointCount) {
            try {
                chunks.push_back(record.isLayered() ? nextLayered(points) : nextPointwise(points));
            } catch (const CodingError& error) {
                failInChunk(file, chunks.size(), 0, error);
            }
            position += chunks.back().size;
            points += chunks.back().pointCount;
        }
        return chunks;
    }

private:
    std::uint64_t expectedPoints(std::uint64_t before) const {
        return std::min<std::uint64_t>(record.chunkSize, header.pointCount - before);
    }

    Chunk nextLayered(std::uint64_t points) {
        const std::uint64_t left = file.size() - position;
        std::vector<std::byte> bytes(
            static_cast<std::size_t>(std::min<std::uint64_t>(LayeredHead::size(record), left)));
        file.readAll(position, bytes);
        const LayeredHead head = readLayeredHead(bytes, record);
        if (head.chunkBytes > left)
            throw CodingError("it has " + std::to_string(left) + " of " + std::to_string(head.chunkBytes) +
                              " bytes");
        const bool isExpected =
            record.hasVariableChunks() ? head.pointCount != 0 : head.pointCount == expectedPoints(points);
        if (!isExpected)
            throw CodingError("it says that it has " + std::to_string(head.pointCount) + " points");
        return {position, head.chunkBytes, points, head.pointCount};
    }

    Chunk nextPointwise(std::uint64_t points) {
        const std::uint64_t count = expectedPoints(points);
        decoder.start(ChunkBytes(file, {position, file.size() - position}), count,
                      ChunkDecoder::Extent::AtMost);
        records.resize(std::max<std::size_t>(recordBytes / record.recordLength, 1) * record.recordLength);
        while (decoder.remaining() != 0)
            decoder.decode(records);
        return {position, decoder.chunkBytes(), points, count};
    }

    static constexpr std::size_t recordBytes = std::size_t{1} << 16;

    const ByteSource& file;
    const LasHeader& header;
    const CompressionRecord& record;
    ChunkDecoder decoder;
    std::uint64_t position;
    std::vector<std::byte> records;
};

} // namespace

LazChunks findChunks(const ByteSource& file, const LasHeader& header, const CompressionRecord& record) {
    if (header.pointCount == 0)
        return {{}, ChunkDecoder::Extent::Exact, file.size()};
    if (!record.isChunked()) {
        const std::uint64_t size = file.size() - header.pointOffset;
        if (size < record.leastChunkBytes(header.pointCount))
            throw CodingError("it is cut off inside its first point");
        return {
            {{header.pointOffset, size, 0, header.pointCount}}, ChunkDecoder::Extent::AtMost, file.size()};
    }
    if (const auto offset = findTable(file, header)) {
        const std::vector<std::byte> table = readTable(file, header, record, *offset);
        return {readChunkTable(table, *offset, header.pointOffset, header.pointCount, record),
                ChunkDecoder::Extent::Exact, *offset};
    }
    if (record.hasVariableChunks() && !record.isLayered())
        throw CodingError("it has no chunk table, without which chunks of variable size can't be found");
    return {ChunkWalk(file, header, record).run(), ChunkDecoder::Extent::Exact, file.size()};
}

void failInChunk(const ByteSource& file, std::size_t i, std::size_t count, const CodingError& error) {
    const std::string number = std::to_string(i + 1) + (count != 0 ? " of " + std::to_string(count) : "");
    throw InputError(file.name() + ": chunk " + number +
                     " of its compressed points is damaged: " + error.what() +
                     (count != 0 ? "" : "; there is no chunk table, as in a file that is cut off") +
                     "; copy or export it again");
}

} // namespace Tilewright::Io
