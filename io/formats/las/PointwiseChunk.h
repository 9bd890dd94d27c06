/// PointwiseChunk: a chunk of points of formats 0 to 5, encoded one after the other.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include <io/formats/las/ArithmeticDecoder.h>
#include <io/formats/las/CompressionRecord.h>
#include <io/formats/las/Point10Decoder.h>
#include <io/formats/las/PointwiseItems.h>
#include <io/formats/las/PointwiseVersion1.h>

namespace Tilewright::Io {

/// Its memory is used again for each chunk.
class PointwiseChunk {
public:
    explicit PointwiseChunk(const CompressionRecord& record);

    /// Begins with the chunk in `bytes`, which must stay.
    void start(std::span<const std::byte> bytes);

    /// The next points, but for the first of all.
    void decode(std::byte* records, std::size_t count);

    /// The first byte that no point needed.
    const std::byte* position() const noexcept { return coder.position(); }

private:
    /// A decoder for an item that the points may have, in the version that they have it in.
    template <class Version1, class Version2> struct Item {
        void start(const std::byte* first) {
            if (version1)
                version1->start(first);
            if (version2)
                version2->start(first);
        }

        std::unique_ptr<Version1> version1;
        std::unique_ptr<Version2> version2;
        std::size_t place = 0; ///< in the record
    };

    template <class Version1, class Version2, class... Arguments>
    static void create(Item<Version1, Version2>& decoder, const LazItem& item, std::size_t place,
                       Arguments... arguments);

    std::size_t recordLength;
    ArithmeticDecoder coder;
    Item<Point10DecoderVersion1, Point10Decoder> point;
    Item<GpsTime11DecoderVersion1, GpsTime11Decoder> gpsTime;
    Item<Rgb12DecoderVersion1, Rgb12Decoder> colour;
    Item<WavePacket13Decoder, WavePacket13Decoder> wavePacket;
    Item<ExtraBytesDecoderVersion1, ExtraBytesDecoder> extraBytes;
};

} // namespace Tilewright::Io
