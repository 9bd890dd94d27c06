/// ChunkCursor: a place in a chunk of a file, up to which it has been decoded.
///
/// A chunk can only be decoded from its beginning. A cursor goes on from where the last visit ended, and
/// keeps its memory from chunk to chunk. CursorPool lends cursors to threads; all files share it, so that
/// those of thousands of files take no more memory than those of one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include <io/formats/las/ChunkDecoder.h>
#include <io/formats/las/LazChunks.h>
#include <io/records/PointSource.h>

namespace Tilewright::Io {

class ChunkCursor {
public:
    ChunkCursor(const ByteSource& file, const CompressionRecord& record, const LazChunks& chunks,
                const ByteSelection& wanted);

    const ByteSource& source() const noexcept { return file; }
    const ByteSelection& selection() const noexcept { return wanted; }
    /// Whether it can go on to point `first` of a chunk, both counted from 0.
    bool leadsTo(std::size_t otherChunk, std::uint64_t first) const noexcept {
        return chunk == otherChunk && next <= first;
    }
    std::uint64_t position() const noexcept { return next; }

    /// As PointSource::visit(), for points of a chunk. Throws CodingError; the cursor is of no use then.
    void visit(std::size_t chunkNumber, std::uint64_t first, std::uint64_t count,
               const PointSource::RecordVisitor& visitor);

private:
    void start(std::size_t chunkNumber);
    ChunkBytes load(const Chunk& from);
    void decode(std::uint64_t count, const PointSource::RecordVisitor& visitor);

    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    const ByteSource& file;
    const CompressionRecord& record;
    const LazChunks& chunks;
    ByteSelection wanted;
    ChunkDecoder decoder;
    std::size_t chunk = none;
    std::uint64_t next = 0; ///< point of the chunk
    std::vector<std::byte> bytes;
    std::vector<std::byte> records;
};

class CursorPool {
public:
    /// The one of the process.
    static CursorPool& shared();

    /// A cursor that decodes what is `wanted`, best of all one that leads to the point. Null if there is
    /// none.
    std::unique_ptr<ChunkCursor> take(const ByteSource& file, std::size_t chunk, std::uint64_t first,
                                      const ByteSelection& wanted);
    void giveBack(std::unique_ptr<ChunkCursor> cursor);
    /// To be called before a file goes.
    void forget(const ByteSource& file);

private:
    std::mutex lock;
    /// The last one has been used last.
    std::vector<std::unique_ptr<ChunkCursor>> idle;
};

} // namespace Tilewright::Io
