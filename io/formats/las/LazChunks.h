/// LazChunks: where the chunks of a compressed LAS file lie, whether it says so or not.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <io/formats/las/ChunkDecoder.h>
#include <io/formats/las/ChunkTable.h>
#include <io/formats/las/CodingError.h>
#include <io/formats/las/CompressionRecord.h>
#include <io/formats/las/LasHeader.h>
#include <io/system/ByteSource.h>

namespace Tilewright::Io {

struct LazChunks {
    std::vector<Chunk> list;
    /// AtMost if it is one chunk, which ends somewhere before the end of the file.
    ChunkDecoder::Extent extent = ChunkDecoder::Extent::Exact;
    /// Nothing of a chunk lies there or later.
    std::uint64_t end = 0;
};

/// Reads the chunk table. Where there is none, as after a writer that was interrupted, the chunks are found
/// one after the other: layers say how long they are, other points have to be decoded for it. Throws
/// CodingError, and InputError for a chunk that is no chunk.
LazChunks findChunks(const ByteSource& file, const LasHeader& header, const CompressionRecord& record);

/// What a message says of chunk `i`, counted from 0, of `count`; 0 if there is no chunk table.
[[noreturn]] void failInChunk(const ByteSource& file, std::size_t i, std::size_t count,
                              const CodingError& error);

} // namespace Tilewright::Io
