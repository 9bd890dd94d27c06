/// GroundOfClasses: the ground below a cloud, from those of its points that are ground.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <io/blocks/BlockLattice.h>
#include <io/rasters/GroundSurface.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// Holes are filled up to so many cells from ground.
inline constexpr double groundReach = 100.0;

/// Bytes that it takes to find the ground.
std::uint64_t bytesOfGround(const BlockLattice& lattice);

/// The mean height of the plan's ground points in each cell of its raster, with holes filled: row by row from
/// the north, NaN where there is none. Throws InputError if there are no such points.
std::vector<double> groundHeights(const PlannedRun& run, const RunProgress& progress);

/// The surface of them.
std::shared_ptr<const GroundSurface> findGround(const PlannedRun& run, const RunProgress& progress);

/// The plan of the reductions with the ground that it needs, which is found first if need be.
ReductionPlan withGround(const PlannedRun& run, const RunProgress& progress);

} // namespace Tilewright::Io
