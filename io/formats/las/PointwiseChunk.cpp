#include <io/formats/las/PointwiseChunk.h>

#include <utility>

namespace Tilewright::Io {

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

PointwiseChunk::PointwiseChunk(const CompressionRecord& record) : recordLength(record.recordLength) {
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

void PointwiseChunk::start(std::span<const std::byte> bytes) {
    const auto startItem = [&](auto& item) { item.start(bytes.data() + item.place); };
    startItem(point);
    startItem(gpsTime);
    startItem(colour);
    startItem(wavePacket);
    startItem(extraBytes);
    coder = ArithmeticDecoder(bytes.subspan(recordLength));
}

void PointwiseChunk::decode(std::byte* records, std::size_t count) {
    ArithmeticDecoder local = coder;
    // What is called by address would keep the decoder out of the registers, so calls get a copy of it.
    const auto call = [&](auto& decoder, std::byte* to) {
        ArithmeticDecoder copy = local;
        decoder.decode(copy, to);
        local = copy;
    };
    for (std::size_t i = 0; i < count; ++i) {
        std::byte* to = records + i * recordLength;
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
