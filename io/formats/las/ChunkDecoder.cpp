#include <io/formats/las/ChunkDecoder.h>

#include <algorithm>
#include <cstring>
#include <string>

#include <io/formats/las/CodingError.h>
#include <io/formats/las/LayeredChunk.h>
#include <io/formats/las/PointwiseChunk.h>

namespace Tilewright::Io {

ChunkDecoder::ChunkDecoder(const CompressionRecord& record)
    : ChunkDecoder(record, ByteSelection::all(record.recordLength)) {}

ChunkDecoder::ChunkDecoder(const CompressionRecord& record, const ByteSelection& wanted)
    : recordLength(record.recordLength) {
    if (record.isLayered())
        layered = std::make_unique<LayeredChunk>(record, wanted);
    else
        pointwise = std::make_unique<PointwiseChunk>(record);
}

ChunkDecoder::~ChunkDecoder() = default;

void ChunkDecoder::start(const ChunkBytes& bytes, std::uint64_t pointCount, Extent newExtent) {
    left = 0;
    if (pointCount == 0)
        throw CodingError("it has no points");
    if (bytes.size() < recordLength)
        throw CodingError("it has " + std::to_string(bytes.size()) + " bytes, but its first point takes " +
                          std::to_string(recordLength));
    chunk = bytes;
    extent = newExtent;
    if (layered) {
        size = layered->start(chunk, pointCount);
        if (extent == Extent::Exact && size != bytes.size())
            throw CodingError("it has " + std::to_string(bytes.size()) + " bytes, but its layers end after " +
                              std::to_string(size));
    } else {
        pointwise->start(chunk);
    }
    left = pointCount;
    isFirst = true;
}

std::size_t ChunkDecoder::decode(std::span<std::byte> records) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, records.size() / recordLength));
    if (count == 0)
        return 0;
    std::byte* to = records.data();
    std::size_t coded = count;
    if (isFirst) {
        std::memcpy(to, layered ? layered->firstRecord() : pointwise->firstRecord(), recordLength);
        to += recordLength;
        --coded;
        isFirst = false;
    }
    if (layered)
        layered->decode(to, coded);
    else
        pointwise->decode(to, coded);
    left -= count;
    if (left == 0)
        finish();
    return count;
}

void ChunkDecoder::finish() {
    if (layered) {
        if (!layered->isAtEnd())
            throw CodingError("its points end before its layers do");
        return;
    }
    size = pointwise->position();
    if (extent == Extent::Exact && size != chunk.size())
        throw CodingError("it has " + std::to_string(chunk.size()) + " bytes, but its points end after " +
                          std::to_string(size));
}

} // namespace Tilewright::Io
