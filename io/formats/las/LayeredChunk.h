/// LayeredChunk: a chunk of points of formats 6 to 10, in which each attribute is encoded on its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include <io/records/ByteSelection.h>
#include <io/formats/las/CompressionRecord.h>
#include <io/formats/las/ItemLayers.h>
#include <io/formats/las/LayeredHead.h>
#include <io/formats/las/PointLayers.h>
#include <io/formats/las/XyLayer.h>

namespace Tilewright::Io {

/// Its memory is used again for each chunk.
class LayeredChunk {
public:
    LayeredChunk(const CompressionRecord& record, const ByteSelection& wanted);

    /// Begins with the chunk in `bytes`, which must stay. Throws CodingError if it does not hold `pointCount`
    /// points. Returns how many of the bytes are the chunk's.
    std::size_t start(std::span<const std::byte> bytes, std::uint64_t pointCount);

    /// The next points, but for the first of all.
    void decode(std::byte* records, std::size_t count);

    /// Whether all layers that are decoded are at their end, as they are after the last point.
    bool isAtEnd() const;

private:
    void startLayers(const LayeredHead& head, std::span<const std::byte> bytes);
    void decodeAttributes(const PointContext& point, std::byte* record);

    CompressionRecord record;
    ByteSelection wanted;
    const std::byte* first = nullptr; ///< record of the chunk
    bool hasAttributes = false;       ///< beside x, y and z

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
