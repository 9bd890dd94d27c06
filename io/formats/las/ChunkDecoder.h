/// ChunkDecoder: the point records of a chunk of compressed points.
///
/// 1. A chunk is decoded inside its own bytes, whatever they say.
/// 2. Memory does not depend on the number of points: records come in batches of any size.
///
/// A decoder belongs to one thread; several decoders work at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include <io/formats/las/ChunkBytes.h>
#include <io/formats/las/CompressionRecord.h>
#include <io/records/ByteSelection.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

class LayeredChunk;
class PointwiseChunk;

class TILEWRIGHT_API ChunkDecoder {
public:
    /// What start() is given.
    enum class Extent {
        Exact,  ///< the bytes of the chunk, neither more nor less
        AtMost, ///< the chunk begins with the first, but where it ends is not known
    };

    explicit ChunkDecoder(const CompressionRecord& record);
    /// Decodes what is wanted; other bytes of the records hold what the first point of the chunk has there.
    /// Layers that nobody wants are neither decoded nor read: see LayeredHead::neededBytes().
    ChunkDecoder(const CompressionRecord& record, const ByteSelection& wanted);
    ~ChunkDecoder();
    ChunkDecoder(const ChunkDecoder&) = delete;
    ChunkDecoder& operator=(const ChunkDecoder&) = delete;

    /// Begins a chunk of `pointCount` points. Its bytes must stay until all are decoded. Those that are in no
    /// memory yet are read as they are needed, through windows that take far less memory than a long chunk.
    /// All operations throw CodingError where the bytes are not such a chunk; after that only start() may be
    /// called.
    void start(const ChunkBytes& bytes, std::uint64_t pointCount, Extent extent = Extent::Exact);
    void start(std::span<const std::byte> bytes, std::uint64_t pointCount, Extent newExtent = Extent::Exact) {
        start(ChunkBytes(bytes), pointCount, newExtent);
    }

    /// Points that are still to be decoded.
    std::uint64_t remaining() const noexcept { return left; }

    /// Fills `records` with the next points, as many as fit and are left. Returns how many. The last call
    /// checks that the chunk ends where its bytes do.
    std::size_t decode(std::span<std::byte> records);

    /// Bytes of the chunk, once all points are decoded.
    std::uint64_t chunkBytes() const noexcept { return size; }

private:
    void finish();

    std::size_t recordLength;
    std::unique_ptr<LayeredChunk> layered;
    std::unique_ptr<PointwiseChunk> pointwise;
    ChunkBytes chunk;
    std::uint64_t left = 0;
    std::uint64_t size = 0;
    bool isFirst = false;
    Extent extent = Extent::Exact;
};

} // namespace Tilewright::Io
