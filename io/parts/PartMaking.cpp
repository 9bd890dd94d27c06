#include <chrono>
#include <optional>

#include <io/blocks/NearbyReduction.h>
#include <io/blocks/SquareGeometry.h>
#include <io/parts/JobFolder.h>
#include <io/parts/Parts.h>
#include <io/runs/PlanFile.h>
#include <io/runs/Rastering.h>
#include <io/runs/UnchangedCloud.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

PlannedRun openPart(RunPlan plan, const JobFolder& folder, std::size_t part, const RunProgress& progress) {
    if (plan.parts.size() == 1)
        return openPlan(std::move(plan), folder.indices(), progress);
    plan.job.blocks = plan.parts[part - 1];
    const BlockLattice lattice = plan.makeLattice();
    const CellWindow window = windowWithReach(lattice.windowOf(*plan.job.blocks), plan.job.plan, lattice);
    return openPlan(std::move(plan), folder.indices(), progress,
                    [&](const Stretch& stretch) { return reaches(stretch, lattice, window); });
}

/// The pixels get their name here, and the receipt is for the caller to write.
PartReceipt makePixels(const PlannedRun& run, const BlockRectangle& blocks, const fs::path& path,
                       const RunProgress& progress) {
    const BlockLattice lattice = run.plan.makeLattice();
    const BlockMaking make = makingFromPoints(run, lattice, progress);
    std::optional<PixelFileWriter> writer;
    JobResult result;
    const std::vector<RasterDescription> files = makeWithoutClash(
        run.plan, lattice.windowOf(blocks).cells(), [&](const std::vector<RasterDescription>& descriptions) {
            writer.emplace(path);
            result = make(descriptions, *writer);
            return result;
        });
    PartReceipt receipt;
    receipt.blocks = blocks;
    receipt.points = result.points;
    receipt.filledCells = result.filledCells;
    receipt.cutCells = result.cutCells;
    for (std::size_t f = 0; f < files.size(); ++f)
        receipt.files.push_back(
            {files[f].type, files[f].nodata, run.plan.nodata && result.clashes[f].happened});
    receipt.pixels = writer->publish();
    return receipt;
}

void make(const JobFolder& folder, RunPlan plan, std::size_t part, std::uint64_t digest,
          const RunProgress& progress) {
    const auto start = std::chrono::steady_clock::now();
    const BlockRectangle blocks = plan.parts[part - 1];
    const PlannedRun run = openPart(std::move(plan), folder, part, progress);
    PartReceipt receipt =
        whileUnchanged(*run.cloud, [&] { return makePixels(run, blocks, folder.pixels(part), progress); });
    expectUnchanged(run.plan);
    receipt.plan = digest;
    receipt.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    folder.writeReceipt(part, receipt);
}

} // namespace

PartOutcome makePart(const fs::path& job, std::uint64_t part, const RunProgress& progress) {
    const JobFolder folder(job);
    RunPlan plan = folder.readPlan();
    const std::uint64_t digest = folder.planDigest();
    if (part == 0 || part > plan.parts.size())
        throw UsageError("there is no part " + std::to_string(part) + " of " + job.string() + ", which has " +
                         std::to_string(plan.parts.size()));
    if (const auto receipt = folder.readReceipt(part, digest);
        receipt && isIntact(folder.pixels(part), receipt->pixels))
        return PartOutcome::WasThere;
    try {
        make(folder, std::move(plan), part, digest, progress);
    } catch (const Interruption&) {
        throw;
    } catch (const std::exception& failure) {
        folder.noteFailure(part, failure.what());
        throw;
    }
    folder.forgetFailure(part);
    return PartOutcome::Made;
}

} // namespace Tilewright::Io
