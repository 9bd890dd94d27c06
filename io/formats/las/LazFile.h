/// LazFile: a compressed LAS file (LAZ), point formats 0 to 10, and COPC, which is one with an octree.
///
/// Its records come out as those of the uncompressed file. A read decodes the chunks that it concerns, and of
/// points of formats 6 to 10 only what is wanted of them. The file is not mapped: what is needed of a chunk
/// is read into memory, and of very long chunks a little at a time.
///
/// All const operations may run on several threads at once.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <io/formats/las/ChunkCursor.h>
#include <io/formats/las/CompressionRecord.h>
#include <io/formats/las/CopcHierarchy.h>
#include <io/formats/las/CopcInfo.h>
#include <io/formats/las/LasHeader.h>
#include <io/formats/las/LazChunks.h>
#include <io/records/PointSource.h>
#include <io/system/ByteSource.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// The octree of a COPC file.
struct CopcOctree {
    CopcInfo info;
    /// Each with a chunk of its own, in the order of the chunks.
    std::vector<CopcNode> nodes;

    /// Of the nodes, counted from the root, which has 0.
    std::int32_t deepestLevel() const;
};

class TILEWRIGHT_API LazFile : public PointSource {
public:
    /// Throws InputError, with one line for the user, for whatever is not such a file. Damage inside a chunk
    /// shows only when it is decoded; the message names the chunk then.
    explicit LazFile(std::unique_ptr<ByteSource> file);
    ~LazFile() override;

    const LasHeader& header() const noexcept { return head; }
    const CompressionRecord& compression() const noexcept { return record; }
    const std::vector<Chunk>& chunks() const noexcept { return parts.list; }
    const std::optional<CopcOctree>& octree() const noexcept { return copc; }

    const std::string& name() const noexcept override { return file->name(); }
    const RecordFormat& format() const noexcept override { return records; }
    /// What the header says, or less if the chunks have less.
    std::uint64_t pointCount() const noexcept override { return count; }
    std::string coordinateSystem() const override { return coordinateSystemOf(head, *file); }
    /// The chunks; those of COPC with the cubes of their nodes, which a point may leave by no more than the
    /// step of its coordinates.
    std::vector<SourcePiece> pieces() const override;
    std::optional<PointBounds> statedBounds() const override { return statedBoundsOf(head); }
    std::vector<std::string> notes() const override;

private:
    void visitRecords(std::uint64_t first, std::uint64_t n, const RecordVisitor& visitor) const override;
    void visitWanted(std::uint64_t first, std::uint64_t n, const ByteSelection& wanted,
                     const RecordVisitor& visitor) const override;
    std::optional<CopcOctree> readOctree() const;
    std::optional<PointBounds> boxOf(const CopcKey& key) const;

    std::unique_ptr<ByteSource> file;
    LasHeader head;
    CompressionRecord record;
    LazChunks parts;
    std::uint64_t chunkedPoints = 0; ///< of all chunks together
    std::uint64_t count = 0;
    std::optional<CopcOctree> copc;
    RecordFormat records;
};

} // namespace Tilewright::Io
