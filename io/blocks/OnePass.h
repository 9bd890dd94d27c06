/// OnePass: reduces a cloud to the cells of a raster in a single pass over its points.
///
/// A reduction that keeps a small state per cell needs neither an index of the cloud nor its points in any
/// order, as long as the states of all cells fit into memory. The threads read and decode different pieces
/// of the cloud at once, which is most of the work, and take turns to add them to the cells: the pieces are
/// added in the order of the cloud, so that the results have the same bits for every number of threads.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/blocks/PointColumns.h>
#include <io/clouds/CloudIndex.h>
#include <io/clouds/PointMeasures.h>
#include <io/system/StepReport.h>

namespace Tilewright::Io {

/// The cells of a window of the raster, row by row from the south.
struct ReducedCells {
    CellWindow window;
    std::vector<std::uint32_t> counts;
    /// The same for each subset of the points.
    std::vector<std::vector<std::uint32_t>> subsetCounts;
    /// One array per reduction.
    std::vector<Quill::ArrayPtr> values;
    /// Points that lie in the window and pass the selection.
    std::uint64_t points = 0;
    std::uint64_t pointsWithoutGround = 0;
    /// Of all points that were read, if they were asked for.
    PointMeasures measures;
};

/// Bytes of the states of all cells of a window; none for a plan with a reduction that needs all values of a
/// cell at once, and for too many cells.
std::optional<std::uint64_t> bytesOfStates(const ReductionPlan& plan, const CellWindow& window);

struct OnePassJob {
    ReductionPlan plan;
    /// Attributes that are measured on the way.
    std::vector<std::string> fieldsToMeasure;
    unsigned threads = 1;
    /// Whether anybody asks for measures.
    bool measures = true;
    /// The cells that are wanted; none for the whole raster.
    std::optional<CellWindow> window = {};
};

/// Reduces the points of all stretches of the index. Points outside the window are left out. Throws
/// Interruption when `report` answers false, which counts points; and InputError for a cell with more points
/// than can be counted.
ReducedCells reduceInOnePass(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                             const OnePassJob& job, const StepReport& report);

} // namespace Tilewright::Io
