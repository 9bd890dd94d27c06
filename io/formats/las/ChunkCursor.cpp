#include <io/formats/las/ChunkCursor.h>

#include <algorithm>
#include <thread>
#include <utility>

#include <io/formats/las/LayeredHead.h>

namespace Tilewright::Io {

namespace {

/// Bytes of records that are handed out at a time, to stay in the processor's cache.
constexpr std::size_t recordBytes = std::size_t{1} << 17;

/// Chunks up to this length are read at once. Usual ones are far shorter.
constexpr std::uint64_t wholeChunkBytes = std::uint64_t{1} << 21;

/// Cursors that are kept for each processor: positions alone and all that is wanted may take turns.
constexpr std::size_t idlePerProcessor = 2;

} // namespace

ChunkCursor::ChunkCursor(const ByteSource& file, const CompressionRecord& record, const LazChunks& chunks,
                         const ByteSelection& wanted)
    : file(file), record(record), chunks(chunks), wanted(wanted), decoder(record, wanted) {}

void ChunkCursor::visit(std::size_t chunkNumber, std::uint64_t first, std::uint64_t count,
                        const PointSource::RecordVisitor& visitor) {
    if (!leadsTo(chunkNumber, first))
        start(chunkNumber);
    decode(first - next, {});
    decode(count, visitor);
}

void ChunkCursor::start(std::size_t chunkNumber) {
    chunk = none;
    const Chunk& from = chunks.list[chunkNumber];
    decoder.start(from.size <= wholeChunkBytes ? load(from) : ChunkBytes(file, {from.offset, from.size}),
                  from.pointCount, chunks.extent);
    records.resize(std::max<std::size_t>(recordBytes / record.recordLength, 1) * record.recordLength);
    chunk = chunkNumber;
    next = 0;
}

/// Reads the parts of a chunk that are wanted, each to its place.
ChunkBytes ChunkCursor::load(const Chunk& from) {
    const auto size = static_cast<std::size_t>(from.size);
    if (bytes.size() < size)
        bytes.resize(size);
    const std::span whole(bytes.data(), size);
    if (record.isLayered()) {
        const std::span start = whole.first(std::min(size, LayeredHead::size(record)));
        file.readAll(from.offset, start);
        const LayeredHead head = readLayeredHead(start, record);
        if (head.chunkBytes > size)
            throw CodingError("its layers end at byte " + std::to_string(head.chunkBytes) + " of " +
                              std::to_string(size));
        for (const ByteRange part : head.neededBytes(wanted)) {
            const std::uint64_t begin = std::max<std::uint64_t>(part.offset, start.size());
            const std::uint64_t end = part.offset + part.length;
            if (begin < end)
                file.readAll(from.offset + begin, whole.subspan(static_cast<std::size_t>(begin),
                                                                static_cast<std::size_t>(end - begin)));
        }
    } else {
        file.readAll(from.offset, whole);
    }
    return ChunkBytes(whole);
}

void ChunkCursor::decode(std::uint64_t count, const PointSource::RecordVisitor& visitor) {
    while (count != 0) {
        const std::uint64_t most = records.size() / record.recordLength;
        const auto room = static_cast<std::size_t>(std::min(count, most)) * record.recordLength;
        const std::size_t n = decoder.decode(std::span(records).first(room));
        next += n;
        count -= n;
        if (visitor)
            visitor(records.data(), n);
    }
}

CursorPool& CursorPool::shared() {
    // Never destroyed, as files may outlive whatever is destroyed at the end of the process.
    static auto* const pool = new CursorPool;
    return *pool;
}

std::unique_ptr<ChunkCursor> CursorPool::take(const ByteSource& file, std::size_t chunk, std::uint64_t first,
                                              const ByteSelection& wanted) {
    const std::lock_guard guard(lock);
    auto best = idle.end();
    for (auto i = idle.begin(); i != idle.end(); ++i) {
        if (&(*i)->source() != &file || (*i)->selection() != wanted)
            continue;
        const bool leads = (*i)->leadsTo(chunk, first);
        const bool bestLeads = best != idle.end() && (*best)->leadsTo(chunk, first);
        if (best == idle.end() || (leads && (!bestLeads || (*i)->position() > (*best)->position())))
            best = i;
    }
    if (best == idle.end())
        return nullptr;
    std::unique_ptr<ChunkCursor> cursor = std::move(*best);
    idle.erase(best);
    return cursor;
}

void CursorPool::giveBack(std::unique_ptr<ChunkCursor> cursor) {
    const std::size_t most = idlePerProcessor * std::max(std::thread::hardware_concurrency(), 1U);
    const std::lock_guard guard(lock);
    idle.push_back(std::move(cursor));
    if (idle.size() > most)
        idle.erase(idle.begin());
}

void CursorPool::forget(const ByteSource& file) {
    const std::lock_guard guard(lock);
    std::erase_if(idle, [&](const auto& cursor) { return &cursor->source() == &file; });
}

} // namespace Tilewright::Io
