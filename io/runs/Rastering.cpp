#include <io/runs/Rastering.h>

#include <algorithm>
#include <limits>

#include <io/blocks/NearbyReduction.h>
#include <io/blocks/OnePass.h>
#include <io/runs/GroundOfClasses.h>
#include <io/runs/NoDataChoice.h>
#include <io/runs/OutputCheck.h>
#include <io/runs/PixelRange.h>
#include <io/runs/PixelTypeNames.h>
#include <io/runs/RunSteps.h>
#include <io/runs/UnchangedCloud.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

std::vector<NoDataChoice> choicesFor(const RunPlan& plan) {
    std::vector<NoDataChoice> choices;
    for (const PlannedOutput& output : plan.outputs) {
        const PixelType type = output.description.type;
        const auto bits = rangeOfBits(type, nameOf(type), output.description.creationOptions);
        if (output.hasNoData && plan.nodata && bits && !bits->holds(*plan.nodata))
            throw UsageError("NBITS leaves no room for the nodata value " + exactNumber(*plan.nodata));
        choices.emplace_back(type, output.keepsType, bits);
    }
    return choices;
}

bool isMarkedByNaN(const PlannedOutput& output, const NoDataChoice& choice) {
    return output.prefersNaN && isFloating(choice.type());
}

RasterDescription describe(const PlannedOutput& output, const NoDataChoice& choice,
                           std::optional<double> nodata) {
    RasterDescription description = output.description;
    description.type = choice.type();
    if (!output.hasNoData)
        return description;
    if (isMarkedByNaN(output, choice))
        nodata = std::numeric_limits<double>::quiet_NaN();
    description.nodata = nodata ? std::optional<NoData>(*nodata) : choice.value();
    return description;
}

/// Of all files that will appear, those included that come with others.
std::vector<fs::path> allPlaces(const RunPlan& plan, const std::vector<RasterWriter>& writers) {
    std::vector<fs::path> places;
    for (const RasterWriter& writer : writers)
        places.insert(places.end(), writer.places().begin(), writer.places().end());
    if (plan.picture)
        places.push_back(plan.picture->path);
    return places;
}

std::unique_ptr<SquareReader> makeReader(const PlannedRun& run, const BlockLattice& lattice,
                                         const RunProgress& progress) {
    const RunPlan& plan = run.plan;
    const PlannedReading& reading = plan.reading;
    std::optional<CellWindow> part;
    if (plan.job.blocks)
        part = windowWithReach(lattice.windowOf(*plan.job.blocks), plan.job.plan, lattice);
    const auto make = reading.isSorted ? makeSortedReader : makeStretchReader;
    return make(*run.cloud, run.index, lattice, plan.job.plan.needs, reading.side,
                {plan.job.threads, reading.memory, reading.scratch, reportOf(progress, "sorting", ""), part});
}

/// Whether no band of a file has points of its own, and so cells without data that others have not.
bool hasAllPoints(const RunPlan& plan, std::size_t file) {
    return std::ranges::none_of(plan.job.bands,
                                [=](const JobBand& band) { return band.file == file && band.subset != 0; });
}

/// Moves on the choices whose value some cell with data has; false if there are none, or nothing to move to.
bool moveNoData(const RunPlan& plan, const JobResult& result, std::uint64_t cells,
                std::vector<NoDataChoice>& choices) {
    bool hasMoved = false;
    for (std::size_t f = 0; f < choices.size(); ++f) {
        if (!result.clashes[f].happened || plan.nodata || isMarkedByNaN(plan.outputs[f], choices[f]))
            continue;
        const auto outcome =
            choices[f].avoid(result.clashes[f], result.filledCells == cells && hasAllPoints(plan, f));
        if (outcome == NoDataChoice::Outcome::Exhausted)
            throw OutputError(plan.outputs[f].path.string() + ": the data leave no value of " +
                              nameOf(choices[f].type()) +
                              (choices[f].hasBits() ? " in so few bits (NBITS)" : "") +
                              " for cells without data; choose another --type, or a --nodata to share");
        hasMoved |= outcome == NoDataChoice::Outcome::Moved;
    }
    return hasMoved;
}

void noteTypes(const RunPlan& plan, RasteredBlocks& files) {
    for (std::size_t f = 0; f < plan.outputs.size(); ++f) {
        const PixelType planned = plan.outputs[f].description.type;
        const PixelType type = files.descriptions[f].type;
        const std::string path = plan.outputs[f].path.string();
        if (type != planned)
            files.notes.push_back("all values of " + std::string(nameOf(planned)) +
                                  " are data, and cells without data need one; so " + path + " has " +
                                  nameOf(type));
        const bool isShared = plan.nodata && files.descriptions[f].nodata == NoData(*plan.nodata);
        if (files.result.clashes[f].happened && isShared)
            files.notes.push_back("cells with data have the nodata value " + exactNumber(*plan.nodata) +
                                  " in " + path);
    }
}

void noteCutCells(const RunPlan& plan, RasteredBlocks& files) {
    for (std::size_t b = 0; b < plan.job.bands.size(); ++b) {
        const std::uint64_t cut = files.result.cutCells[b];
        if (cut == 0)
            continue;
        const JobBand& band = plan.job.bands[b];
        const RasterDescription& description = files.descriptions[band.file];
        const PixelRange range = rangeOf(description.type);
        files.notes.push_back(std::to_string(cut) + (cut == 1 ? " cell" : " cells") + " of the band " +
                              description.bands[band.number].name + " had to be cut to " +
                              nameOf(description.type) + ", " + exactNumber(range.least) + " to " +
                              exactNumber(range.greatest));
    }
}

} // namespace

BlockMaking makingFromPoints(const PlannedRun& run, const BlockLattice& lattice,
                             const RunProgress& progress) {
    if (!run.cells && !run.plan.groundPoints.empty() && !run.plan.job.plan.needs.ground) {
        const auto complete = std::make_shared<PlannedRun>(run);
        complete->plan.job.plan = withGround(run, progress);
        return
            [complete, make = makingFromPoints(*complete, lattice, progress)](
                const std::vector<RasterDescription>& files, BlockSink& sink) { return make(files, sink); };
    }
    const RasterJob& job = run.plan.job;
    if (!run.plan.reading.inOnePass)
        return [&, reader = std::shared_ptr<const SquareReader>(makeReader(run, lattice, progress))](
                   const std::vector<RasterDescription>& files, BlockSink& sink) {
            return runJob(job, lattice, *reader, files, sink, reportOf(progress, "rastering"));
        };
    const CellWindow window = job.blocks ? lattice.windowOf(*job.blocks) : lattice.whole();
    const auto cells = run.cells
                           ? run.cells
                           : std::make_shared<const ReducedCells>(reduceInOnePass(
                                 *run.cloud, run.index, lattice, {job.plan, {}, job.threads, false, window},
                                 reportOf(progress, "rastering")));
    return [&, cells](const std::vector<RasterDescription>& files, BlockSink& sink) {
        return runJob(job, lattice, *cells, files, sink);
    };
}

std::vector<RasterDescription> makeWithoutClash(const RunPlan& plan, std::uint64_t cells,
                                                const FileMaking& make) {
    std::vector<NoDataChoice> choices = choicesFor(plan);
    std::vector<RasterDescription> files;
    bool hasMoved = true;
    while (hasMoved) {
        files.clear();
        for (std::size_t f = 0; f < plan.outputs.size(); ++f)
            files.push_back(describe(plan.outputs[f], choices[f], plan.nodata));
        hasMoved = moveNoData(plan, make(files), cells, choices);
    }
    return files;
}

void addNotes(const RunPlan& plan, RasteredBlocks& rastered) {
    noteTypes(plan, rastered);
    noteCutCells(plan, rastered);
}

RasteredFiles writeFiles(const RunPlan& plan, const OutputGuard& guard, const BlockMaking& make) {
    RasteredFiles files;
    files.descriptions = makeWithoutClash(
        plan, plan.makeLattice().cells(), [&](const std::vector<RasterDescription>& descriptions) {
            files.writers.clear();
            for (std::size_t f = 0; f < plan.outputs.size(); ++f)
                files.writers.emplace_back(plan.outputs[f].path, descriptions[f], guard);
            expectDistinct(allPlaces(plan, files.writers));
            FileSink sink(files.writers, plan.job.bands);
            files.result = make(descriptions, sink);
            return files.result;
        });
    addNotes(plan, files);
    return files;
}

RasteredBlocks rasterBlocks(const PlannedRun& run, const SinkMaking& makeSink, const RunProgress& progress) {
    return whileUnchanged(*run.cloud, [&] {
        const BlockLattice lattice = run.plan.makeLattice();
        const BlockMaking make = makingFromPoints(run, lattice, progress);
        RasteredBlocks rastered;
        rastered.descriptions = makeWithoutClash(
            run.plan, lattice.cells(), [&](const std::vector<RasterDescription>& descriptions) {
                rastered.result = make(descriptions, *makeSink(descriptions));
                return rastered.result;
            });
        addNotes(run.plan, rastered);
        return rastered;
    });
}

RasteredFiles rasterFiles(const PlannedRun& run, const OutputGuard& guard, const RunProgress& progress) {
    return whileUnchanged(*run.cloud, [&] {
        const BlockLattice lattice = run.plan.makeLattice();
        return writeFiles(run.plan, guard, makingFromPoints(run, lattice, progress));
    });
}

} // namespace Tilewright::Io
