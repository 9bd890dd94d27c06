/// Rastering: makes the files of a plan, as often as it takes to find nodata values.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <io/outputs/OutputGuard.h>
#include <io/rasters/RasterWriter.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// Files with all their pixels, under hidden names yet.
struct RasteredFiles {
    /// With the types and nodata values that it came to.
    std::vector<RasterDescription> descriptions;
    std::vector<RasterWriter> writers;
    JobResult result;
    std::vector<std::string> notes;
};

/// Makes the blocks of files that have such types and nodata values, and hands them to the sink.
using BlockMaking = std::function<JobResult(const std::vector<RasterDescription>& files, BlockSink& sink)>;

/// From the points; throws as runJob() does. The arguments must outlive the result.
BlockMaking makingFromPoints(const PlannedRun& run, const BlockLattice& lattice, const RunProgress& progress);

/// Makes pixels for files of these descriptions, all of them each time.
using FileMaking = std::function<JobResult(const std::vector<RasterDescription>& files)>;

/// Calls `make`, and again with other nodata values or wider types until no cell with data has the value of
/// those without; `cells` are all that are made. Gives the last descriptions. Throws OutputError if no value
/// is left for cells without data.
std::vector<RasterDescription> makeWithoutClash(const RunPlan& plan, std::uint64_t cells,
                                                const FileMaking& make);

/// Makes the files of the plan from blocks of whatever origin.
RasteredFiles writeFiles(const RunPlan& plan, const OutputGuard& guard, const BlockMaking& make);

/// Throws as runJob() does, InputError if a file of the cloud changes meanwhile, and OutputError if no value
/// is left for cells without data.
RasteredFiles rasterFiles(const PlannedRun& run, const OutputGuard& guard, const RunProgress& progress);

} // namespace Tilewright::Io
