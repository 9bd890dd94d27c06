#include <io/runs/BlockwiseRaster.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include <io/blocks/NearbyReduction.h>
#include <io/blocks/SquareGeometry.h>
#include <io/blocks/SquareReader.h>
#include <io/runs/GroundOfClasses.h>
#include <io/runs/MemoryOutputs.h>
#include <io/runs/NoDataChoice.h>
#include <io/runs/Rastering.h>
#include <io/runs/RunReport.h>
#include <io/runs/RunSteps.h>
#include <io/runs/UnchangedCloud.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

PlannedRun planBlocks(const std::shared_ptr<const PointCloud>& cloud, const RasterRequest& request,
                      const RunProgress& progress) {
    if (request.fill > 0.0)
        throw UsageError("holes are filled from cells of other blocks; fill them when the raster is whole");
    PlannedRun run = planRunInBlocks({cloud, true}, request, progress);
    run.plan.job.plan = withGround(run, progress);
    return run;
}

/// Types and nodata values as they are unless some cell has that value.
std::vector<RasterDescription> likelyFiles(const RunPlan& plan) {
    return makeWithoutClash(plan, 0, [&](const std::vector<RasterDescription>& files) {
        JobResult nothing;
        nothing.clashes.resize(files.size());
        return nothing;
    });
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

void expectNoClash(const RunPlan& plan, const std::vector<RasterDescription>& files,
                   const JobResult& result) {
    for (std::size_t f = 0; f < files.size(); ++f) {
        if (!result.clashes[f].happened || plan.nodata || !files[f].nodata ||
            std::isnan(asNumber(*files[f].nodata)))
            continue;
        throw OutputError(plan.outputs[f].path.string() + ": a cell with data has the value " +
                          exactNumber(asNumber(*files[f].nodata)) +
                          ", which stands for no data unless another value is chosen; choose a nodata value, "
                          "or a wider type");
    }
}

} // namespace

BlockwiseRaster::BlockwiseRaster(const std::shared_ptr<const PointCloud>& cloud, RasterRequest request,
                                 const RunProgress& progress)
    : Run(planBlocks(cloud, withoutFiles(std::move(request)), progress)), Files(likelyFiles(Run.plan)) {
    for (std::size_t f = 0; f < Files.size(); ++f)
        outputOf(Run.plan.outputs[f], Files[f]);
}

std::uint64_t BlockwiseRaster::blocksAcross() const { return Run.plan.makeLattice().blocks().across(); }

std::uint64_t BlockwiseRaster::blocksDown() const { return Run.plan.makeLattice().blocks().down(); }

MemoryRaster BlockwiseRaster::describe(const RunProgress& progress) const {
    const RunPlan& plan = Run.plan;
    RasteredBlocks blocks;
    blocks.descriptions = Files;
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
    const JobResult result =
        whileUnchanged(*part.cloud, [&] { return makingFromPoints(part, lattice, progress)(Files, *sink); });
    expectNoClash(part.plan, Files, result);
    return outputs;
}

} // namespace Tilewright::Io
