#include <io/formats/las/LayeredChunk.h>

#include <cstring>
#include <string>

#include <io/formats/las/CodingError.h>

namespace Tilewright::Io {

namespace {

constexpr std::uint16_t firstVersionThatFollowsChannels = 4;

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

std::size_t LayeredChunk::start(std::span<const std::byte> bytes, std::uint64_t pointCount) {
    const LayeredHead head = readLayeredHead(bytes, record);
    if (head.pointCount != pointCount)
        throw CodingError("it says that it has " + std::to_string(head.pointCount) + " points, and not " +
                          std::to_string(pointCount));
    if (head.chunkBytes > bytes.size())
        throw CodingError("its layers end at byte " + std::to_string(head.chunkBytes) + " of " +
                          std::to_string(bytes.size()));
    first = bytes.data();
    if (pointCount > 1)
        startLayers(head, bytes);
    return static_cast<std::size_t>(head.chunkBytes);
}

void LayeredChunk::startLayers(const LayeredHead& head, std::span<const std::byte> bytes) {
    const auto coded = [&](std::size_t layer) {
        const ByteRange range = head.layers[layer].coded;
        return bytes.subspan(static_cast<std::size_t>(range.offset), static_cast<std::size_t>(range.length));
    };
    // An attribute without a layer is that of the first point for all.
    const auto isCoded = [&](std::size_t layer) {
        return head.layers[layer].coded.length != 0 && head.isNeeded(layer, wanted);
    };
    xy.start(coded(0), first);
    const unsigned channel = xy.currentChannel();
    std::size_t layer = 1;
    const auto startNext = [&](auto& decoder) {
        if (isCoded(layer))
            decoder.start(coded(layer), first, channel);
        else
            decoder.skip();
        hasAttributes |= layer > 1 && decoder.isActive();
        ++layer;
    };
    hasAttributes = false;
    startNext(z);
    startNext(classification);
    startNext(flags);
    startNext(intensity);
    startNext(scanAngle);
    startNext(userData);
    startNext(pointSource);
    startNext(gpsTime);
    if (colour)
        startNext(*colour);
    if (infrared)
        startNext(*infrared);
    if (wavePacket)
        startNext(*wavePacket);
    if (!extraBytes)
        return;
    extraBytes->clear();
    for (; layer < head.layers.size(); ++layer) {
        if (isCoded(layer))
            extraBytes->add(coded(layer), static_cast<std::size_t>(head.layers[layer].record.offset));
    }
    extraBytes->start(first, channel);
    hasAttributes |= !extraBytes->empty();
}

void LayeredChunk::decode(std::byte* records, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        std::byte* to = records + i * record.recordLength;
        std::memcpy(to, first, record.recordLength);
        const PointContext point = xy.decode(to);
        if (z.isActive())
            z.decode(point, to);
        if (hasAttributes)
            decodeAttributes(point, to);
    }
}

void LayeredChunk::decodeAttributes(const PointContext& point, std::byte* to) {
    const auto decode = [&](auto& layer) {
        if (layer.isActive())
            layer.decode(point, to);
    };
    decode(classification);
    decode(flags);
    decode(intensity);
    decode(scanAngle);
    decode(userData);
    decode(pointSource);
    decode(gpsTime);
    if (colour)
        decode(*colour);
    if (infrared)
        decode(*infrared);
    if (wavePacket)
        decode(*wavePacket);
    if (extraBytes && !extraBytes->empty())
        extraBytes->decode(point, to);
}

bool LayeredChunk::isAtEnd() const {
    return xy.isAtEnd() && z.isAtEnd() && classification.isAtEnd() && flags.isAtEnd() &&
           intensity.isAtEnd() && scanAngle.isAtEnd() && userData.isAtEnd() && pointSource.isAtEnd() &&
           gpsTime.isAtEnd() && (!colour || colour->isAtEnd()) && (!infrared || infrared->isAtEnd()) &&
           (!wavePacket || wavePacket->isAtEnd()) && (!extraBytes || extraBytes->isAtEnd());
}

} // namespace Tilewright::Io
