#include <io/formats/las/LayeredHead.h>

#include <io/formats/las/CodingError.h>

namespace Tilewright::Io {

namespace {

/// What the layers of a point are about, in their order. The first one stands for x, y, returns and channel.
constexpr ByteRange pointLayers[] = {{0, 8},  {8, 4},  {16, 1}, {15, 1}, {12, 2},
                                     {18, 2}, {17, 1}, {20, 2}, {22, 8}};

std::vector<ByteRange> layerPlaces(const CompressionRecord& record) {
    std::vector<ByteRange> places;
    std::uint64_t begin = 0;
    for (const LazItem& item : record.items) {
        switch (item.type) {
        case LazItem::Type::Point14:
            places.insert(places.end(), std::begin(pointLayers), std::end(pointLayers));
            break;
        case LazItem::Type::RgbNir14:
            places.push_back({begin, 6});
            places.push_back({begin + 6, 2});
            break;
        case LazItem::Type::Byte14:
            for (std::uint64_t i = 0; i < item.size; ++i)
                places.push_back({begin + i, 1});
            break;
        default:
            places.push_back({begin, item.size});
        }
        begin += item.size;
    }
    return places;
}

} // namespace

bool LayeredHead::isNeeded(std::size_t layer, const ByteSelection& wanted) const {
    const ByteRange place = layers[layer].record;
    return layer == 0 ||
           wanted.has(static_cast<std::size_t>(place.offset), static_cast<std::size_t>(place.length));
}

std::vector<ByteRange> LayeredHead::neededBytes(const ByteSelection& wanted) const {
    std::vector<ByteRange> ranges = {{0, layers.front().coded.offset}};
    for (std::size_t i = 0; i < layers.size(); ++i) {
        const ByteRange coded = layers[i].coded;
        if (coded.length == 0 || !isNeeded(i, wanted))
            continue;
        ByteRange& last = ranges.back();
        if (last.offset + last.length == coded.offset)
            last.length += coded.length;
        else
            ranges.push_back(coded);
    }
    return ranges;
}

LayeredHead readLayeredHead(std::span<const std::byte> chunk, const CompressionRecord& record) {
    const std::size_t size = LayeredHead::size(record);
    if (chunk.size() < size)
        throw CodingError("it has " + std::to_string(chunk.size()) + " bytes, but its head takes " +
                          std::to_string(size));
    LayeredHead head;
    const std::byte* from = chunk.data() + record.recordLength;
    head.pointCount = loadLittleEndian<std::uint32_t>(from);
    head.chunkBytes = size;
    for (const ByteRange place : layerPlaces(record)) {
        from += 4;
        const std::uint64_t length = loadLittleEndian<std::uint32_t>(from);
        head.layers.push_back({{head.chunkBytes, length}, place});
        head.chunkBytes += length;
    }
    return head;
}

} // namespace Tilewright::Io
