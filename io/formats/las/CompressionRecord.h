/// CompressionRecord: how the points of a compressed LAS file (LAZ) are encoded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <tilewright/export.h>

namespace Tilewright::Io {

/// A part of the point record that is encoded on its own. Those with 14 belong to point formats 6 to 10, the
/// others to 0 to 5.
struct LazItem {
    enum class Type : std::uint16_t {
        Byte = 0,
        Point10 = 6,
        GpsTime11 = 7,
        Rgb12 = 8,
        WavePacket13 = 9,
        Point14 = 10,
        Rgb14 = 11,
        RgbNir14 = 12,
        WavePacket14 = 13,
        Byte14 = 14,
    };

    Type type = Type::Byte;
    std::uint16_t size = 0; ///< in bytes
    std::uint16_t version = 0;
};

/// Once read, the items are those of the point format, in its order, and make up the whole record.
struct TILEWRIGHT_API CompressionRecord {
    enum class Compressor : std::uint16_t {
        Pointwise = 1,        ///< all points in one chunk, without a chunk table
        PointwiseChunked = 2, ///< point formats 0 to 5
        LayeredChunked = 3,   ///< point formats 6 to 10
    };

    /// The variable length record that holds it.
    static constexpr std::string_view userId = "laszip encoded";
    static constexpr std::uint16_t recordId = 22204;
    /// The chunk size of a file whose chunk table has the number of points of each chunk.
    static constexpr std::uint32_t variableChunkSize = 0xFFFFFFFFU;

    bool isChunked() const noexcept { return compressor != Compressor::Pointwise; }
    bool isLayered() const noexcept { return compressor == Compressor::LayeredChunked; }
    bool hasVariableChunks() const noexcept { return isChunked() && chunkSize == variableChunkSize; }

    /// Layers of a chunk; 0 if it has none.
    std::size_t layerCount() const noexcept;
    /// Bytes that no chunk of `points` points can do without.
    std::uint64_t leastChunkBytes(std::uint64_t points) const noexcept;

    Compressor compressor = Compressor::PointwiseChunked;
    unsigned versionMajor = 0, versionMinor = 0, versionRevision = 0; ///< of the program that wrote the file
    bool isCompatibilityMode = false; ///< points of formats 6 to 10 in the guise of older ones
    std::uint32_t chunkSize = 0;      ///< in points, for all chunks but the last
    std::vector<LazItem> items;
    std::size_t recordLength = 0; ///< of a point, uncompressed
};

/// Reads and checks the contents of the variable length record. `pointFormat`, 0 to 10, and `recordLength`
/// are those of the file's header. Throws CodingError for points that can't be decoded here.
TILEWRIGHT_API CompressionRecord readCompressionRecord(std::span<const std::byte> contents,
                                                       unsigned pointFormat, std::size_t recordLength);

} // namespace Tilewright::Io
