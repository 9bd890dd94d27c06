/// ChunkTable: where the chunks of a compressed LAS file lie, and how many points each has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include <io/formats/las/CompressionRecord.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

struct Chunk {
    std::uint64_t offset;     ///< in the file
    std::uint64_t size;       ///< in bytes
    std::uint64_t firstPoint; ///< of the file's, in the order of the table
    std::uint64_t pointCount; ///< at least 1
};

/// What a file says about the place of its chunk table. A number of 64 bits lies where the points begin, and
/// the first chunk after it.
struct ChunkTablePlace {
    static constexpr std::uint64_t pointerLength = 8;
    /// The pointer of a writer that could not go back: the true one is in the last bytes of the file.
    static constexpr std::int64_t atEnd = -1;

    std::uint64_t pointOffset; ///< of the pointer, from the file's header
    std::uint64_t fileSize;
};

/// The offset of the table for a pointer other than `atEnd`. Nothing if the writer of the file was
/// interrupted or the file is cut off, so that there is no table. Throws CodingError for a pointer that no
/// writer sets.
TILEWRIGHT_API std::optional<std::uint64_t> chunkTableOffset(std::int64_t pointer,
                                                             const ChunkTablePlace& place);

/// Reads the table, which begins with `table` at `tableOffset`; there may be more bytes than it takes.
/// `pointCount` is that of the file's header. Throws CodingError for whatever is not a table of chunks that
/// lie one after the other before it. Chunks of variable size may have another number of points together than
/// the header says.
TILEWRIGHT_API std::vector<Chunk> readChunkTable(std::span<const std::byte> table, std::uint64_t tableOffset,
                                                 std::uint64_t pointOffset, std::uint64_t pointCount,
                                                 const CompressionRecord& record);

} // namespace Tilewright::Io
