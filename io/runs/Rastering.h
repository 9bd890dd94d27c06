/// Rastering: makes the pixels of a plan, as often as it takes to find nodata values.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <io/outputs/OutputGuard.h>
#include <io/rasters/RasterWriter.h>
#include <io/runs/RunPlan.h>

namespace Tilewright::Io {

/// What came of the pixels of all outputs.
struct RasteredBlocks {
    /// With the types and nodata values that it came to.
    std::vector<RasterDescription> descriptions;
    JobResult result;
    std::vector<std::string> notes;
};

/// Files with all their pixels, under hidden names yet.
struct RasteredFiles : RasteredBlocks {
    std::vector<RasterWriter> writers;
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

/// Adds what the user should know of the pixels.
void addNotes(const RunPlan& plan, RasteredBlocks& rastered);

/// Makes the files of the plan from blocks of whatever origin.
RasteredFiles writeFiles(const RunPlan& plan, const OutputGuard& guard, const BlockMaking& make);

/// Where the pixels of outputs of these descriptions go. Called again for each attempt, after the sink of the
/// one before is gone.
using SinkMaking = std::function<std::unique_ptr<BlockSink>(const std::vector<RasterDescription>& files)>;

/// Throws as runJob() does, InputError if a file of the cloud changes meanwhile, and OutputError if no value
/// is left for cells without data.
RasteredBlocks rasterBlocks(const PlannedRun& run, const SinkMaking& makeSink, const RunProgress& progress);

/// Throws as rasterBlocks() does.
RasteredFiles rasterFiles(const PlannedRun& run, const OutputGuard& guard, const RunProgress& progress);

} // namespace Tilewright::Io
