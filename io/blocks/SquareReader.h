/// SquareReader: hands out the records that may lie in a window of the raster, in the order of the cloud.
///
/// There are two: one that reads the stretches of the files that reach into the window, and one for clouds
/// whose points lie in no order, which are first sorted by the squares of the raster that they lie in.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/clouds/CloudIndex.h>
#include <io/clouds/CloudSelection.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// A square of cells, the window that is worked on at a time: `across` and `down` count from the
/// north-western corner.
struct Square {
    std::uint64_t across;
    std::uint64_t down;
    CellWindow window;
};

/// How the records of a source lie, and where in them the attributes of PointNeeds are.
struct RecordLayout {
    RecordFormat format;
    std::vector<PointField> fields;
};

class TILEWRIGHT_API SquareReader {
public:
    using RecordVisitor =
        std::function<void(const RecordLayout& layout, const std::byte* records, std::size_t count)>;

    SquareReader() = default;
    SquareReader(const SquareReader&) = delete;
    SquareReader& operator=(const SquareReader&) = delete;
    virtual ~SquareReader() = default;

    /// Cells along a side of a square: BlockLattice::blockSide or a fraction of it.
    virtual std::uint64_t side() const = 0;
    /// Calls `visitor` for records among which are all of the square's points, in the order of the cloud. May
    /// be called from several threads at once.
    virtual void visit(const Square& square, const RecordVisitor& visitor) const = 0;
    /// About how many points the square has; 0 only if there is none.
    virtual double estimate(const Square& square) const = 0;
    /// Whether records that visit() hands out have yet to be tested by the selection.
    virtual bool needsSelection() const = 0;
    /// Points that lie in the raster and pass the selection.
    virtual std::uint64_t wantedPoints() const = 0;
    /// Points that would be among them if there were ground below them.
    virtual std::uint64_t pointsWithoutGround() const { return 0; }
};

struct ReadingPlan {
    unsigned threads = 1;
    /// Bytes that sorted points may take in memory.
    std::uint64_t memory = 0;
    std::filesystem::path scratch;
    StepReport report;
    /// Where the raster is made in parts: the cells whose squares will be asked for. wantedPoints() is not
    /// known then.
    std::optional<CellWindow> part = {};
};

/// Cells along a side of the squares: so few that a square of average density has at most about a million
/// points.
TILEWRIGHT_API std::uint64_t chooseSide(const BlockLattice& lattice, std::uint64_t points);

/// How often each record would be read if squares read the stretches of the files, on average; where that is
/// far above 1 the points are better sorted first.
TILEWRIGHT_API double readingEffort(const CloudIndex& index, const BlockLattice& lattice, std::uint64_t side);

struct PointCounts {
    /// Points that lie in the raster and pass the selection.
    std::uint64_t wanted = 0;
    /// Those that would be among them if there were ground below them.
    std::uint64_t withoutGround = 0;
};

/// Looks at all points of stretches about which the index and the lattice leave a doubt. Where the index has
/// counts of selected points, `needs` are those that they were counted by.
TILEWRIGHT_API PointCounts countWanted(const PointCloud& cloud, const CloudIndex& index,
                                       const BlockLattice& lattice, const PointNeeds& needs,
                                       const ReadingPlan& plan);

/// The index is that of the cloud. Readers keep references to the cloud, the index and the lattice.
TILEWRIGHT_API std::unique_ptr<SquareReader>
makeStretchReader(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                  const PointNeeds& needs, std::uint64_t side, const ReadingPlan& plan);
TILEWRIGHT_API std::unique_ptr<SquareReader>
makeSortedReader(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                 const PointNeeds& needs, std::uint64_t side, const ReadingPlan& plan);

} // namespace Tilewright::Io
