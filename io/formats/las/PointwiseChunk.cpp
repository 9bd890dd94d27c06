#include <io/formats/las/PointwiseChunk.h>

#include <algorithm>
#include <utility>

namespace Tilewright::Io {

namespace {

/// What a point may take at most. A symbol takes two bytes at most, and no byte of a record is more than two
/// symbols, but for a GPS time that switches from sequence to sequence.
constexpr std::size_t mostBytesPerPoint(std::size_t recordLength) { return 4 * recordLength + 64; }

constexpr std::size_t mostReserve = std::size_t{1} << 18;

} // namespace

template <class Version1, class Version2, class... Arguments>
void PointwiseChunk::create(Item<Version1, Version2>& decoder, const LazItem& item, std::size_t place,
                            Arguments... arguments) {
    decoder.place = place;
    // Most of what the decoders hold is never touched, so it is not set to zero either.
    const auto make = [&]<class Decoder>(std::unique_ptr<Decoder>& pointer) {
        if constexpr (sizeof...(arguments) == 0)
            pointer = std::make_unique_for_overwrite<Decoder>();
        else
            pointer = std::make_unique<Decoder>(arguments...);
    };
    if (item.version == 1)
        make(decoder.version1);
    else
        make(decoder.version2);
}

PointwiseChunk::PointwiseChunk(const CompressionRecord& record)
    : recordLength(record.recordLength), first(record.recordLength) {
    std::size_t place = 0;
    for (const LazItem& item : record.items) {
        switch (item.type) {
        case LazItem::Type::Point10:
            create(point, item, place);
            break;
        case LazItem::Type::GpsTime11:
            create(gpsTime, item, place);
            break;
        case LazItem::Type::Rgb12:
            create(colour, item, place);
            break;
        case LazItem::Type::WavePacket13:
            create(wavePacket, item, place);
            break;
        default:
            create(extraBytes, item, place, std::size_t{item.size});
        }
        place += item.size;
    }
}

void PointwiseChunk::start(const ChunkBytes& chunk) {
    chunk.read(0, first);
    const auto startItem = [&](auto& item) { item.start(first.data() + item.place); };
    startItem(point);
    startItem(gpsTime);
    startItem(colour);
    startItem(wavePacket);
    startItem(extraBytes);
    const std::size_t mostBytes = mostBytesPerPoint(recordLength);
    pointsAtATime = std::min(chunk.pointsAtATime(), std::max<std::size_t>(mostReserve / mostBytes, 1));
    coder = window.start({&chunk, {recordLength, chunk.size() - recordLength}, pointsAtATime * mostBytes});
}

void PointwiseChunk::decode(std::byte* records, std::size_t count) {
    while (count != 0) {
        const std::size_t batch = std::min(count, pointsAtATime);
        window.refill(coder);
        decodeBatch(records, batch);
        records += batch * recordLength;
        count -= batch;
    }
}

void PointwiseChunk::decodeBatch(std::byte* to, std::size_t count) {
    ArithmeticDecoder local = coder;
    // What is called by address would keep the decoder out of the registers, so calls get a copy of it.
    const auto call = [&](auto& decoder, std::byte* to) {
        ArithmeticDecoder copy = local;
        decoder.decode(copy, to);
        local = copy;
    };
    for (std::size_t i = 0; i < count; ++i, to += recordLength) {
        if (point.version2)
            point.version2->decode(local, to);
        else
            call(*point.version1, to);
        if (gpsTime.version2)
            gpsTime.version2->decode(local, to + gpsTime.place);
        else if (gpsTime.version1)
            call(*gpsTime.version1, to + gpsTime.place);
        if (colour.version2)
            colour.version2->decode(local, to + colour.place);
        else if (colour.version1)
            call(*colour.version1, to + colour.place);
        if (wavePacket.version1)
            call(*wavePacket.version1, to + wavePacket.place);
        if (extraBytes.version2)
            call(*extraBytes.version2, to + extraBytes.place);
        else if (extraBytes.version1)
            call(*extraBytes.version1, to + extraBytes.place);
    }
    coder = local;
}

} // namespace Tilewright::Io
