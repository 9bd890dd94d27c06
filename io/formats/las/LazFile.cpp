#include <io/formats/las/LazFile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include <io/formats/las/LasFields.h>

namespace Tilewright::Io {

namespace {

/// Nodes of an octree of any size that is in use take far less.
constexpr std::uint64_t longestPage = std::uint64_t{1} << 26;

/// Names the file in what is wrong with it as a whole.
template <class Action> auto naming(const ByteSource& file, const Action& action) {
    try {
        return action();
    } catch (const CodingError& error) {
        throw InputError(file.name() + ": cannot be read: " + error.what());
    }
}

CompressionRecord readCompression(const ByteSource& file, const LasHeader& header) {
    return naming(file, [&] {
        return readCompressionRecord(readRecord(file, header.compression), header.pointFormat,
                                     header.recordLength);
    });
}

LasHeader readCompressedHeader(const ByteSource& file) {
    LasHeader header = readLasHeader(file);
    if (!header.isCompressed)
        throw InputError(file.name() + ": is not compressed");
    return header;
}

/// Throws CodingError for a node that is none of the chunks.
void checkNodes(const std::vector<CopcNode>& nodes, const std::vector<Chunk>& chunks) {
    for (const CopcNode& node : nodes) {
        const auto chunk = std::ranges::lower_bound(chunks, node.chunk.offset, {}, &Chunk::offset);
        if (chunk == chunks.end() || chunk->offset != node.chunk.offset || chunk->size != node.chunk.length ||
            chunk->pointCount != node.pointCount)
            throw CodingError("its COPC hierarchy has a node of " + std::to_string(node.pointCount) +
                              " points at byte " + std::to_string(node.chunk.offset) +
                              ", which is no chunk of the file");
    }
}

} // namespace

std::int32_t CopcOctree::deepestLevel() const {
    std::int32_t deepest = 0;
    for (const CopcNode& node : nodes)
        deepest = std::max(deepest, node.key.level);
    return deepest;
}

LazFile::LazFile(std::unique_ptr<ByteSource> source)
    : file(std::move(source)), head(readCompressedHeader(*file)), record(readCompression(*file, head)),
      parts(naming(*file, [this] { return findChunks(*file, head, record); })),
      records{head.recordLength, scaledCoordinates(head.scale, head.offset),
              lasFields(head.pointFormat, head.recordLength, readRecord(*file, head.extraBytes))} {
    for (const Chunk& chunk : parts.list)
        chunkedPoints += chunk.pointCount;
    count = std::min(head.pointCount, chunkedPoints);
    copc = naming(*file, [this] { return readOctree(); });
}

LazFile::~LazFile() { CursorPool::shared().forget(*file); }

std::optional<CopcOctree> LazFile::readOctree() const {
    std::array<std::byte, 589> start;
    if (!isCopc(std::span(start).first(file->read(0, start))) || parts.list.empty())
        return std::nullopt;
    CopcOctree octree;
    octree.info = readCopcInfo(std::span(start).subspan(429), file->size());
    std::vector<std::byte> page;
    CopcWalk walk;
    walk.readPage = [&](ByteRange range) {
        if (range.length > longestPage)
            throw CodingError("its COPC hierarchy has a page of " + std::to_string(range.length) + " bytes");
        page.resize(static_cast<std::size_t>(range.length));
        file->readAll(range.offset, page);
        return std::span<const std::byte>(page);
    };
    const std::uint64_t begin = parts.list.front().offset;
    walk.chunks = {begin, parts.end - begin};
    walk.fileSize = file->size();
    walk.leastChunkBytes = record.leastChunkBytes(1);
    octree.nodes = readCopcNodes(octree.info, walk);
    checkNodes(octree.nodes, parts.list);
    return octree;
}

/// Writers choose a node by coordinates that are not rounded yet.
std::optional<PointBounds> LazFile::boxOf(const CopcKey& key) const {
    const CopcBox cube = copc->info.box(key);
    PointBounds box;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double slack = std::abs(head.scale[axis]);
        box.low[axis] = cube.low[axis] - slack;
        box.high[axis] = cube.high[axis] + slack;
    }
    return box;
}

std::vector<SourcePiece> LazFile::pieces() const {
    std::vector<SourcePiece> pieces;
    pieces.reserve(parts.list.size());
    for (const Chunk& chunk : parts.list) {
        if (chunk.firstPoint >= count)
            break;
        pieces.push_back({chunk.firstPoint, std::min(chunk.pointCount, count - chunk.firstPoint), {}});
    }
    if (!copc)
        return pieces;
    for (const CopcNode& node : copc->nodes) {
        const auto chunk = std::ranges::lower_bound(parts.list, node.chunk.offset, {}, &Chunk::offset);
        const auto i = static_cast<std::size_t>(chunk - parts.list.begin());
        if (i < pieces.size())
            pieces[i].statedBox = boxOf(node.key);
    }
    return pieces;
}

std::vector<std::string> LazFile::notes() const {
    if (chunkedPoints == head.pointCount)
        return {};
    return {name() + " has " + std::to_string(chunkedPoints) + " points in its chunks, and " +
            std::to_string(head.pointCount) + " by its header; " + std::to_string(count) + " are read"};
}

void LazFile::visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const {
    visitWanted(first, n, ByteSelection::all(head.recordLength), visitor);
}

void LazFile::visitWanted(std::uint64_t first, std::uint64_t n, const ByteSelection& wanted,
                          const RecordVisitor& visitor) const {
    // Pointwise chunks are decoded as a whole.
    const ByteSelection selection = record.isLayered() ? wanted : ByteSelection::all(head.recordLength);
    CursorPool& cursors = CursorPool::shared();
    auto chunk = std::ranges::upper_bound(parts.list, first, {}, &Chunk::firstPoint) - 1;
    for (; n != 0; ++chunk) {
        const auto i = static_cast<std::size_t>(chunk - parts.list.begin());
        const std::uint64_t begin = first - chunk->firstPoint;
        const std::uint64_t now = std::min(n, chunk->pointCount - begin);
        try {
            std::unique_ptr<ChunkCursor> cursor = cursors.take(*file, i, begin, selection);
            if (!cursor)
                cursor = std::make_unique<ChunkCursor>(*file, record, parts, selection);
            cursor->visit(i, begin, now, visitor);
            cursors.giveBack(std::move(cursor));
        } catch (const CodingError& error) {
            failInChunk(*file, i, parts.list.size(), error);
        }
        first += now;
        n -= now;
    }
}

} // namespace Tilewright::Io
