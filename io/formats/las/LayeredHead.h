/// LayeredHead: how a layered chunk is divided.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include <io/formats/las/CompressionRecord.h>
#include <io/records/ByteSelection.h>
#include <io/system/Bytes.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// A layer of a chunk, and the bytes of the record that it is about. The layer of x and y also has the
/// returns and the scanner channel.
struct ChunkLayer {
    ByteRange coded;  ///< in the chunk
    ByteRange record; ///< in the record
};

struct TILEWRIGHT_API LayeredHead {
    /// Bytes of the chunk that are enough to read its head.
    static std::size_t size(const CompressionRecord& record) noexcept {
        return record.recordLength + 4 + 4 * record.layerCount();
    }

    /// Whether the layer has to be decoded for what is wanted. That of x and y always has.
    bool isNeeded(std::size_t layer, const ByteSelection& wanted) const;

    /// The bytes of the chunk that are read for what is wanted, neighbours joined: the head and the layers
    /// that are needed.
    std::vector<ByteRange> neededBytes(const ByteSelection& wanted) const;

    std::uint32_t pointCount = 0;
    std::uint64_t chunkBytes = 0; ///< head and layers together
    std::vector<ChunkLayer> layers;
};

/// Reads the head of a chunk from its first bytes; the layers need not be there. Throws CodingError if the
/// bytes do not hold the head.
TILEWRIGHT_API LayeredHead readLayeredHead(std::span<const std::byte> chunk, const CompressionRecord& record);

} // namespace Tilewright::Io
