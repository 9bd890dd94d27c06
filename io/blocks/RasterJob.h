/// RasterJob: makes the files of a raster, block by block, on several threads.
///
/// Each thread takes a block of cells at a time, has the library reduce its points, and hands the pixels on.
/// Blocks are written in their order, whichever is finished first, so that files are the same for every
/// number of threads. No more than a few blocks are in memory at a time.
///
/// No point may be lost on the way, and none count twice: the counts of the cells are held against the points
/// that went in, and their sum against the points of the cloud.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include <io/blocks/BlockSink.h>
#include <io/blocks/JobBand.h>
#include <io/blocks/PointColumns.h>
#include <io/rasters/RasterDescription.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// No more points than this are loaded at a time.
inline constexpr std::uint64_t mostPointsAtATime = 1'500'000;

struct RasterJob {
    ReductionPlan plan;
    /// Cells with no more points than this have no data.
    unsigned sparseLimit = 0;
    std::vector<JobBand> bands;
    unsigned threads = 1;
    /// A plane needs all points of its cell at once, however many there are: so many bytes may be used for
    /// them, by one thread at a time.
    std::uint64_t memoryForPlanes = std::numeric_limits<std::uint64_t>::max();
    /// Windows with more points are halved, down to a cell.
    std::uint64_t pointsOfWindow = mostPointsAtATime;
    /// A single cell with more points is reduced in pieces.
    std::uint64_t pointsOfCell = mostPointsAtATime;
    /// To be made: none for all of them; some where several jobs share a raster.
    std::optional<BlockRectangle> blocks = {};
};

struct ReducedCells;

struct JobResult {
    std::uint64_t points = 0;
    std::uint64_t filledCells = 0;
    /// Points that were left out, as there is no ground below them.
    std::uint64_t pointsWithoutGround = 0;
    /// For each file.
    std::vector<NoDataClash> clashes;
    /// For each band, the cells whose values lay beyond what pixels can be.
    std::vector<std::uint64_t> cutCells;
};

/// Makes the blocks of the job and hands them to the sink. `descriptions` has one entry per file, in the
/// order of their numbers. Throws Interruption when `report` answers false; it counts points. Throws
/// InputError if a plane takes more memory than there is.
///
/// The sum of all points is checked where all blocks are made. Whoever shares them out adds up the results.
TILEWRIGHT_API JobResult runJob(const RasterJob& job, const BlockLattice& lattice, const SquareReader& reader,
                                const std::vector<RasterDescription>& descriptions, BlockSink& sink,
                                const StepReport& report);

/// The same with cells that are reduced already; all is quick then.
JobResult runJob(const RasterJob& job, const BlockLattice& lattice, const ReducedCells& cells,
                 const std::vector<RasterDescription>& descriptions, BlockSink& sink);

} // namespace Tilewright::Io
