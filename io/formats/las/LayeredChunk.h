/// LayeredChunk: a chunk of points of formats 6 to 10, in which each attribute is encoded on its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <io/formats/las/ChunkBytes.h>
#include <io/formats/las/CompressionRecord.h>
#include <io/formats/las/ItemLayers.h>
#include <io/formats/las/LayeredHead.h>
#include <io/formats/las/PointLayers.h>
#include <io/formats/las/XyLayer.h>
#include <io/records/ByteSelection.h>

namespace Tilewright::Io {

/// Its memory is used again for each chunk.
class LayeredChunk {
public:
    LayeredChunk(const CompressionRecord& record, const ByteSelection& wanted);

    /// Begins with a chunk, which must stay. Throws CodingError if it does not hold `pointCount` points.
    /// Returns how many of the bytes are the chunk's.
    std::uint64_t start(const ChunkBytes& chunk, std::uint64_t pointCount);

    /// The first record of the chunk.
    const std::byte* firstRecord() const noexcept { return headBytes.data(); }

    /// The next points, but for the first of all.
    void decode(std::byte* records, std::size_t count);

    /// Whether all layers that are decoded are at their end, as they are after the last point.
    bool isAtEnd();

private:
    void skipLayers();
    void startLayers(const LayeredHead& head, const ChunkBytes& chunk);
    void startExtraBytes(const LayeredHead& head, const ChunkBytes& chunk, std::size_t layer);
    bool isCoded(const LayeredHead& head, std::size_t layer) const;
    template <class Visitor> void forEachAttribute(Visitor&& visit);
    void refill();
    void decodeBatch(std::byte* to, std::size_t count);
    void decodeAttributes(const PointContext& point, std::byte* record);

    CompressionRecord record;
    ByteSelection wanted;
    std::vector<std::byte> headBytes;
    std::size_t pointsAtATime = 1;
    bool hasAttributes = false; ///< beside x, y and z

    XyLayer xy;
    ZLayer z;
    ClassificationLayer classification;
    FlagsLayer flags;
    IntensityLayer intensity;
    ScanAngleLayer scanAngle;
    UserDataLayer userData;
    PointSourceLayer pointSource;
    GpsTimeLayer gpsTime;
    std::optional<ColourLayer> colour;
    std::optional<InfraredLayer> infrared;
    std::optional<WavePacketLayer> wavePacket;
    std::optional<ExtraByteLayers> extraBytes;
};

} // namespace Tilewright::Io
