#include <algorithm>
#include <limits>
#include <optional>

#include <io/blocks/OnePass.h>
#include <io/blocks/SquareReader.h>
#include <io/clouds/FileSearch.h>
#include <io/gdal/VirtualFile.h>
#include <io/parts/JobFolder.h>
#include <io/parts/Parts.h>
#include <io/parts/PartsLayout.h>
#include <io/rasters/RasterWriter.h>
#include <io/runs/GroundOfClasses.h>
#include <io/runs/Resources.h>
#include <io/runs/RunSteps.h>
#include <io/runs/UnchangedCloud.h>
#include <io/system/Digest.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Of a part, where nobody says how many there are to be.
constexpr double usualPoints = 50e6;
/// Whatever the folder in which a part is made.
void makeAbsolute(fs::path& path) {
    if (!path.empty() && !isVirtualPath(path))
        path = fs::absolute(path).lexically_normal();
}

void makePathsAbsolute(RunPlan& plan) {
    for (PlannedInput& input : plan.inputs)
        makeAbsolute(input.path);
    for (fs::path& path : plan.otherNames)
        makeAbsolute(path);
    for (PlannedInput& file : plan.otherFiles)
        makeAbsolute(file.path);
    for (PlannedOutput& output : plan.outputs)
        makeAbsolute(output.path);
    makeAbsolute(plan.output);
    if (fs::path clip = plan.clip; !clip.empty()) {
        makeAbsolute(clip);
        plan.clip = clip.string();
    }
    if (fs::path ground = plan.ground; !ground.empty()) {
        makeAbsolute(ground);
        plan.ground = ground.string();
    }
    makeAbsolute(plan.reading.scratch);
    if (plan.picture)
        makeAbsolute(plan.picture->path);
}

/// Makes each part in one pass over its points, where the cells of the largest have room, and else in several
/// windows: a process has no memory when it begins, and to get more for each takes longer than to read a few
/// points twice.
void chooseWindows(const RasterRequest& request, RunPlan& plan) {
    const std::optional<std::uint64_t> states = bytesOfStates(plan.job.plan, plan.largestWindow());
    std::uint64_t taken = 0;
    for (const PlannedInput& input : plan.inputs)
        taken += plan.reading.keepsPages ? input.bytes : 0;
    const std::uint64_t points = plan.points() / plan.parts.size();
    if (!states || *states > mostBytesOfStates(request, taken, points)) {
        constexpr std::uint64_t fewestPoints = 200'000;
        constexpr std::uint64_t windows = 4;
        plan.job.pointsOfWindow = std::min(plan.job.pointsOfWindow, std::max(points / windows, fewestPoints));
        return;
    }
    plan.reading.inOnePass = true;
    plan.reading.isSorted = false;
    plan.job.threads = threadsWanted(request);
    plan.memory = *states;
}

void shareOut(const RasterRequest& request, PlannedRun& run, std::uint64_t parts,
              const RunProgress& progress) {
    RunPlan& plan = run.plan;
    const BlockLattice lattice = plan.makeLattice();
    if (parts == 0)
        parts = static_cast<std::uint64_t>(static_cast<double>(plan.points()) / usualPoints) + 1;
    plan.parts = shareBlocks(run.index, lattice, parts);
    chooseWindows(request, plan);
    const PointCounts counts = countWanted(*run.cloud, run.index, lattice, plan.job.plan.needs,
                                           {plan.job.threads, 0, {}, reportOf(progress, "counting", ""), {}});
    plan.wantedPoints = counts.wanted;
    plan.withoutGround = counts.withoutGround;
}

FileState writeGround(const fs::path& path, const RasterGeometry& geometry,
                      const std::vector<double>& heights) {
    std::error_code ignored;
    // Its name says what it holds.
    if (fs::exists(path, ignored))
        return stateOf(path);
    RasterDescription description;
    description.geometry = geometry;
    description.type = PixelType::Float64;
    description.nodata = std::numeric_limits<double>::quiet_NaN();
    description.bands.resize(1);
    description.bands.front().name = "ground";
    RasterWriter writer(path, description);
    constexpr std::uint64_t rowsAtATime = BlockLattice::blockSide;
    for (std::uint64_t row = 0; row < geometry.height; row += rowsAtATime) {
        const std::uint64_t rows = std::min(rowsAtATime, geometry.height - row);
        writer.write<double>(0, 0, row, geometry.width, rows,
                             std::span(heights).subspan(row * geometry.width, rows * geometry.width));
    }
    writer.close();
    writer.publish();
    return stateOf(path);
}

/// The ground below a cell depends on that of others, so that it is made for all parts at once. They read it
/// like any other raster of ground.
void makeGround(PlannedRun& run, const JobFolder& folder, const RunProgress& progress) {
    RunPlan& plan = run.plan;
    if (plan.groundPoints.empty())
        return;
    const std::vector<double> heights = groundHeights(run, progress);
    Digest sum;
    sum.add(std::as_bytes(std::span(heights)));
    const fs::path path = fs::absolute(folder.ground(sum.value())).lexically_normal();
    const FileState file = writeGround(path, plan.geometry, heights);
    plan.ground = path.string();
    plan.otherFiles.push_back({path, file.size, file.modified, 0});
    plan.groundPoints.clear();
    plan.job.plan.needs.ground =
        std::make_shared<const GroundSurface>(path, std::numeric_limits<std::uint64_t>::max());
}

PlannedRun makePlan(const RasterRequest& request, const JobFolder& folder, std::uint64_t parts,
                    const RunProgress& progress) {
    const IndexFolder indices = folder.indices();
    PlannedRun run = planRunInBlocks(request, progress, &indices);
    checkOutputs(run.plan);
    whileUnchanged(*run.cloud, [&] {
        makeGround(run, folder, progress);
        shareOut(request, run, parts, progress);
        return true;
    });
    makePathsAbsolute(run.plan);
    return run;
}

} // namespace

PartsPlanReport planParts(const RasterRequest& request, const fs::path& job, std::uint64_t parts,
                          const RunProgress& progress) {
    const JobFolder folder(job);
    folder.create();
    try {
        const PlannedRun run = makePlan(request, folder, parts, progress);
        folder.writePlan(run.plan, request.overwrite);
        return {describeRun(run.plan), run.plan.parts.size()};
    } catch (...) {
        folder.removeIfEmpty();
        throw;
    }
}

void measureShare(const RasterRequest& request, const fs::path& job, std::uint64_t share,
                  std::uint64_t shares, const RunProgress& progress) {
    const JobFolder folder(job);
    try {
        const std::vector<fs::path> files = findPointFiles(request.inputs);
        RasterRequest own = request;
        own.inputs.clear();
        // What they select is not kept.
        own.selections.clear();
        own.returns.clear();
        for (std::uint64_t i = share - 1; i < files.size(); i += shares)
            own.inputs.push_back(files[i].string());
        if (own.inputs.empty())
            return;
        folder.create();
        const IndexFolder indices = folder.indices();
        planRunInBlocks(own, progress, &indices);
    } catch (const Interruption&) {
        throw;
    } catch (const Error&) {
        // Some of the files may make no sense by themselves.
        folder.removeIfEmpty();
    }
}

} // namespace Tilewright::Io
