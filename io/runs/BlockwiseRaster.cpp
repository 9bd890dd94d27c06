#include <io/runs/BlockwiseRaster.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <io/blocks/NearbyReduction.h>
#include <io/blocks/SquareGeometry.h>
#include <io/blocks/SquareReader.h>
#include <io/runs/GroundOfClasses.h>
#include <io/runs/MemoryFilling.h>
#include <io/runs/MemoryOutputs.h>
#include <io/runs/NoDataForecast.h>
#include <io/runs/Rastering.h>
#include <io/runs/RunReport.h>
#include <io/runs/RunState.h>
#include <io/runs/RunSteps.h>
#include <io/runs/UnchangedCloud.h>

namespace Tilewright::Io {

namespace {

PlannedRun planBlocks(const std::shared_ptr<const PointCloud>& cloud, const RasterRequest& request,
                      const RunProgress& progress) {
    PlannedRun run = planRunInBlocks({cloud, true, true}, request, progress);
    run.plan.job.plan = withGround(run, progress);
    return run;
}

/// The index of what is in reach of the blocks.
PlannedRun partOfRun(const PlannedRun& run, const BlockRectangle& blocks, const BlockLattice& lattice) {
    PlannedRun part{run.plan, run.cloud, {}};
    if (blocks != lattice.blocks())
        part.plan.job.blocks = blocks;
    // Others are made at the same time, each on the thread of its caller.
    part.plan.reading.memory /= std::exchange(part.plan.job.threads, 1);
    const CellWindow window = windowWithReach(lattice.windowOf(blocks), run.plan.job.plan, lattice);
    part.index.bounds = run.index.bounds;
    part.index.ranges = run.index.ranges;
    part.index.skippedPoints = run.index.skippedPoints;
    std::ranges::copy_if(run.index.stretches, std::back_inserter(part.index.stretches),
                         [&](const Stretch& stretch) { return reaches(stretch, lattice, window); });
    return part;
}

} // namespace

BlockwiseRaster::BlockwiseRaster(const std::shared_ptr<const PointCloud>& cloud, RasterRequest request,
                                 const RunProgress& progress)
    : Run(planBlocks(cloud, withoutFiles(std::move(request)), progress)) {
    RasteredBlocks forecast = forecastNoData(Run, progress);
    Files = std::move(forecast.descriptions);
    Notes = std::move(forecast.notes);
    for (std::size_t f = 0; f < Files.size(); ++f)
        outputOf(Run.plan.outputs[f], Files[f]);
}

BlockwiseRaster::BlockwiseRaster(const std::shared_ptr<const PointCloud>& cloud, std::string_view state,
                                 const RunProgress& progress) {
    SettledRun settled = runOfBytes(state, cloud, progress);
    Run = std::move(settled.run);
    Files = std::move(settled.files);
    Run.plan.job.plan = withGround(Run, progress);
}

std::string BlockwiseRaster::state() const { return bytesOfRun({Run, Files}); }

std::uint64_t BlockwiseRaster::blocksAcross() const { return Run.plan.makeLattice().blocks().across(); }

std::uint64_t BlockwiseRaster::blocksDown() const { return Run.plan.makeLattice().blocks().down(); }

MemoryRaster BlockwiseRaster::describe(const RunProgress& progress) const {
    const RunPlan& plan = Run.plan;
    RasteredBlocks blocks;
    blocks.descriptions = Files;
    blocks.notes = Notes;
    const BlockLattice lattice = plan.makeLattice();
    const PointCounts counts = countWanted(*Run.cloud, Run.index, lattice, plan.job.plan.needs,
                                           {plan.job.threads, 0, {}, reportOf(progress, "counting"), {}});
    blocks.result.points = counts.wanted;
    blocks.result.pointsWithoutGround = counts.withoutGround;
    MemoryRaster raster;
    raster.report = reportOnBlocks(plan, blocks);
    for (std::size_t b = 0; b < plan.job.bands.size(); ++b)
        describeFile(Files[plan.job.bands[b].file], raster.report.bands[b]);
    for (std::size_t f = 0; f < Files.size(); ++f)
        raster.outputs.push_back(outputOf(plan.outputs[f], Files[f]));
    return raster;
}

std::vector<MemoryOutput> BlockwiseRaster::make(const BlockRectangle& blocks,
                                                const RunProgress& progress) const {
    const BlockLattice lattice = Run.plan.makeLattice();
    const BlockRectangle all = lattice.blocks();
    if (blocks.west >= blocks.east || blocks.east > all.east || blocks.north >= blocks.south ||
        blocks.south > all.south)
        throw std::invalid_argument("BlockwiseRaster: there are no such blocks");
    std::vector<MemoryOutput> outputs;
    const std::unique_ptr<BlockSink> sink =
        openArrays(Run.plan, Files, pixelsOf(blocks, Run.plan.geometry), outputs);
    const PlannedRun part = partOfRun(Run, blocks, lattice);
    whileUnchanged(*part.cloud, [&] { return makingFromPoints(part, lattice, progress)(Files, *sink); });
    return outputs;
}

std::uint64_t BlockwiseRaster::reachOfFilling() const { return Io::reachOfFilling(Run.plan); }

std::vector<MemoryOutput> BlockwiseRaster::room(const PixelWindow& window) const {
    std::vector<MemoryOutput> outputs;
    openArrays(Run.plan, Files, window, outputs);
    return outputs;
}

void BlockwiseRaster::fill(std::vector<MemoryOutput>& outputs, const PixelWindow& window,
                           const PixelWindow& wanted) const {
    fillOutputs(Run.plan, window, wanted, outputs);
}

} // namespace Tilewright::Io
