#include <io/formats/las/LayeredChunk.h>

#include <algorithm>
#include <cstring>
#include <string>

#include <io/formats/las/CodingError.h>

namespace Tilewright::Io {

namespace {

constexpr std::uint16_t firstVersionThatFollowsChannels = 4;

/// A symbol narrows the interval by 15 bits at most, a plain number by no more than its own bits. So it takes
/// two bytes at most, or as many as its bits and one more; no layer has more for a point than a few switches
/// of GPS times and a new one.
constexpr std::size_t mostBytesPerSymbol = 2;
constexpr std::size_t mostBytesPerPoint = 64;

} // namespace

LayeredChunk::LayeredChunk(const CompressionRecord& record, const ByteSelection& wanted)
    : record(record), wanted(wanted) {
    std::size_t place = 0;
    for (const LazItem& item : record.items) {
        const bool followsChannel = item.version >= firstVersionThatFollowsChannels;
        switch (item.type) {
        case LazItem::Type::RgbNir14:
            infrared.emplace(place + 6, followsChannel);
            [[fallthrough]];
        case LazItem::Type::Rgb14:
            colour.emplace(place, followsChannel);
            break;
        case LazItem::Type::WavePacket14:
            wavePacket.emplace(place, followsChannel);
            break;
        case LazItem::Type::Byte14:
            extraBytes.emplace(followsChannel);
            break;
        default:
            break;
        }
        place += item.size;
    }
}

std::uint64_t LayeredChunk::start(const ChunkBytes& chunk, std::uint64_t pointCount) {
    pointsAtATime = chunk.pointsAtATime();
    headBytes.resize(
        static_cast<std::size_t>(std::min<std::uint64_t>(LayeredHead::size(record), chunk.size())));
    chunk.read(0, headBytes);
    const LayeredHead head = readLayeredHead(headBytes, record);
    if (head.pointCount != pointCount)
        throw CodingError("it says that it has " + std::to_string(head.pointCount) + " points, and not " +
                          std::to_string(pointCount));
    if (head.chunkBytes > chunk.size())
        throw CodingError("its layers end at byte " + std::to_string(head.chunkBytes) + " of " +
                          std::to_string(chunk.size()));
    if (pointCount > 1)
        startLayers(head, chunk);
    else
        skipLayers();
    return head.chunkBytes;
}

/// What is left of the chunk before must not be taken for a part of this one.
void LayeredChunk::skipLayers() {
    xy.skip();
    z.skip();
    forEachAttribute([](auto& layer) { layer.skip(); });
    if (extraBytes)
        extraBytes->clear();
}

/// An attribute without a layer is that of the first point for all.
bool LayeredChunk::isCoded(const LayeredHead& head, std::size_t layer) const {
    return head.layers[layer].coded.length != 0 && head.isNeeded(layer, wanted);
}

/// In the order of their layers.
template <class Visitor> void LayeredChunk::forEachAttribute(Visitor&& visit) {
    visit(classification);
    visit(flags);
    visit(intensity);
    visit(scanAngle);
    visit(userData);
    visit(pointSource);
    visit(gpsTime);
    if (colour)
        visit(*colour);
    if (infrared)
        visit(*infrared);
    if (wavePacket)
        visit(*wavePacket);
}

void LayeredChunk::startLayers(const LayeredHead& head, const ChunkBytes& chunk) {
    const auto coded = [&](std::size_t layer) {
        return CodedString{&chunk, head.layers[layer].coded, pointsAtATime * mostBytesPerPoint};
    };
    const std::byte* const first = firstRecord();
    xy.start(coded(0), first);
    const unsigned channel = xy.currentChannel();
    std::size_t layer = 1;
    const auto startNext = [&](auto& decoder) {
        if (isCoded(head, layer))
            decoder.start(coded(layer), first, channel);
        else
            decoder.skip();
        hasAttributes |= layer > 1 && decoder.isActive();
        ++layer;
    };
    hasAttributes = false;
    startNext(z);
    forEachAttribute(startNext);
    if (extraBytes)
        startExtraBytes(head, chunk, layer);
}

void LayeredChunk::startExtraBytes(const LayeredHead& head, const ChunkBytes& chunk, std::size_t layer) {
    extraBytes->clear();
    for (; layer < head.layers.size(); ++layer) {
        if (isCoded(head, layer))
            extraBytes->add({&chunk, head.layers[layer].coded, pointsAtATime * mostBytesPerSymbol},
                            static_cast<std::size_t>(head.layers[layer].record.offset));
    }
    extraBytes->start(firstRecord(), xy.currentChannel());
    hasAttributes |= !extraBytes->empty();
}

void LayeredChunk::refill() {
    xy.refill();
    z.refill();
    forEachAttribute([](auto& layer) { layer.refill(); });
    if (extraBytes)
        extraBytes->refill();
}

void LayeredChunk::decode(std::byte* records, std::size_t count) {
    while (count != 0) {
        const std::size_t batch = std::min(count, pointsAtATime);
        refill();
        decodeBatch(records, batch);
        records += batch * record.recordLength;
        count -= batch;
    }
}

void LayeredChunk::decodeBatch(std::byte* to, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, to += record.recordLength) {
        std::memcpy(to, firstRecord(), record.recordLength);
        const PointContext point = xy.decode(to);
        if (z.isActive())
            z.decode(point, to);
        if (hasAttributes)
            decodeAttributes(point, to);
    }
}

void LayeredChunk::decodeAttributes(const PointContext& point, std::byte* to) {
    forEachAttribute([&](auto& layer) {
        if (layer.isActive())
            layer.decode(point, to);
    });
    if (extraBytes && !extraBytes->empty())
        extraBytes->decode(point, to);
}

bool LayeredChunk::isAtEnd() {
    bool atEnd = xy.isAtEnd() && z.isAtEnd() && (!extraBytes || extraBytes->isAtEnd());
    forEachAttribute([&](const auto& layer) { atEnd = atEnd && layer.isAtEnd(); });
    return atEnd;
}

} // namespace Tilewright::Io
