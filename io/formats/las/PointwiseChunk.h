/// PointwiseChunk: a chunk of points of formats 0 to 5, encoded one after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <io/formats/las/ArithmeticDecoder.h>
#include <io/formats/las/ChunkBytes.h>
#include <io/formats/las/CodedWindow.h>
#include <io/formats/las/CompressionRecord.h>
#include <io/formats/las/Point10Decoder.h>
#include <io/formats/las/PointwiseItems.h>
#include <io/formats/las/PointwiseVersion1.h>

namespace Tilewright::Io {

/// Its memory is used again for each chunk.
class PointwiseChunk {
public:
    explicit PointwiseChunk(const CompressionRecord& record);

    /// Begins with a chunk, which must stay.
    void start(const ChunkBytes& chunk);

    /// The first record of the chunk.
    const std::byte* firstRecord() const noexcept { return first.data(); }

    /// The next points, but for the first of all.
    void decode(std::byte* records, std::size_t count);

    /// Bytes of the chunk that have been read.
    std::uint64_t position() const noexcept { return recordLength + window.position(coder); }

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

    void decodeBatch(std::byte* to, std::size_t count);

    std::size_t recordLength;
    std::size_t pointsAtATime = 1;
    std::vector<std::byte> first;
    CodedWindow window;
    ArithmeticDecoder coder;
    Item<Point10DecoderVersion1, Point10Decoder> point;
    Item<GpsTime11DecoderVersion1, GpsTime11Decoder> gpsTime;
    Item<Rgb12DecoderVersion1, Rgb12Decoder> colour;
    Item<WavePacket13Decoder, WavePacket13Decoder> wavePacket;
    Item<ExtraBytesDecoderVersion1, ExtraBytesDecoder> extraBytes;
};

} // namespace Tilewright::Io
