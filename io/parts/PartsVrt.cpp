#include <chrono>
#include <memory>

#include <io/outputs/HiddenFolder.h>
#include <io/parts/MadeParts.h>
#include <io/parts/Parts.h>
#include <io/rasters/RasterWriter.h>
#include <io/rasters/VrtFile.h>
#include <io/runs/Finishing.h>
#include <io/runs/OutputCheck.h>
#include <io/runs/PlanFile.h>
#include <io/runs/RunReport.h>
#include <io/runs/RunSteps.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

/// Writes pixels of the raster into files that hold a frame of it.
class FrameSink : public BlockSink {
public:
    FrameSink(std::vector<RasterWriter>& writers, const std::vector<JobBand>& bands, const PixelWindow& frame)
        : Files(writers, bands), Frame(frame) {}

    void take(std::size_t band, const PixelWindow& window, const PixelSpan& pixels) override {
        Files.take(band, {window.column - Frame.column, window.row - Frame.row, window.columns, window.rows},
                   pixels);
    }
    std::size_t queueOf(std::size_t band) const override { return Files.queueOf(band); }

private:
    FileSink Files;
    PixelWindow Frame;
};

/// The plan of outputs that are put together from others.
RunPlan planAsVrt(RunPlan plan) {
    const std::string why = " takes the whole raster; join without --vrt";
    if (plan.picture)
        throw UsageError("--preview" + why);
    for (PlannedOutput& output : plan.outputs) {
        if (output.description.fillDistance > 0)
            throw UsageError("--fill" + why);
        output.path.replace_extension(".vrt");
        // Parts are GeoTIFFs, whatever the outputs would have been.
        if (output.description.driver != "GTiff" && output.description.driver != "COG") {
            output.description.driver = "GTiff";
            output.description.creationOptions.clear();
        }
    }
    plan.output.replace_extension(".vrt");
    return plan;
}

/// The parts as rasters, and what they come to.
class PartRasters {
public:
    PartRasters(const JobFolder& folder, const RunPlan& plan)
        : Folder(folder), Plan(plan), Parts(folder, plan) {}

    RasteredBlocks make(const RunProgress& progress) {
        const StepReport report = reportOf(progress, "joining", "");
        RasteredBlocks made;
        made.descriptions = makeWithoutClash(Plan, Plan.makeLattice().cells(),
                                             [&](const std::vector<RasterDescription>& descriptions) {
                                                 Statistics.clear();
                                                 for (const RasterDescription& file : descriptions)
                                                     Statistics.emplace_back(file.bands.size());
                                                 made.result = Parts.result(descriptions.size());
                                                 for (std::size_t part = 0; part < Parts.count(); ++part) {
                                                     if (report && !report(part, Parts.count()))
                                                         throw Interruption();
                                                     makePart(part, descriptions, made.result);
                                                 }
                                                 return made.result;
                                             });
        addNotes(Plan, made);
        return made;
    }

    /// Of the bands of each output.
    const std::vector<std::vector<BandStatistics>>& statistics() const { return Statistics; }

    std::vector<VrtTile> tilesOf(std::size_t output) const {
        std::vector<VrtTile> tiles;
        for (std::size_t part = 0; part < Plan.parts.size(); ++part) {
            const PixelWindow place = pixelsOf(Plan.parts[part], Plan.geometry);
            tiles.push_back({fs::absolute(Folder.raster(part + 1, output)).lexically_normal(), place.column,
                             place.row, place.columns, place.rows});
        }
        return tiles;
    }

private:
    void makePart(std::size_t part, std::vector<RasterDescription> files, JobResult& result) {
        const PixelWindow frame = pixelsOf(Plan.parts[part], Plan.geometry);
        const std::vector<RasterDescription> whole = files;
        std::vector<RasterWriter> writers;
        for (std::size_t f = 0; f < files.size(); ++f) {
            RasterGeometry& place = files[f].geometry;
            place.west += static_cast<double>(frame.column) * place.pixelWidth;
            place.north -= static_cast<double>(frame.row) * place.pixelHeight;
            place.width = frame.columns;
            place.height = frame.rows;
            writers.emplace_back(Folder.raster(part + 1, f), files[f]);
        }
        FrameSink sink(writers, Plan.job.bands, frame);
        Parts.copyPart(part, whole, sink, result);
        for (std::size_t f = 0; f < files.size(); ++f) {
            writers[f].addMetadata("RASTERED_POINTS", std::to_string(result.points));
            writers[f].close();
            checkBits(files[f], writers[f]);
            for (std::size_t b = 0; b < files[f].bands.size(); ++b)
                addStatistics(Statistics[f][b], writers[f].statistics(b));
        }
        finishAll(writers);
    }

    const JobFolder& Folder;
    const RunPlan& Plan;
    MadeParts Parts;
    std::vector<std::vector<BandStatistics>> Statistics;
};

} // namespace

RasterReport joinPartsAsVrt(const fs::path& job, const JoinOptions& options, const RunProgress& progress) {
    const auto start = std::chrono::steady_clock::now();
    const JobFolder folder(job);
    RunPlan plan = planAsVrt(folder.readPlan());
    plan.overwrite |= options.overwrite;
    PartRasters rasters(folder, plan);
    expectUnchanged(plan);
    checkOutputs(plan);
    const RasteredBlocks made = rasters.make(progress);
    const std::vector<std::vector<BandStatistics>>& statistics = rasters.statistics();
    std::vector<std::unique_ptr<HiddenFolder>> hidden;
    std::vector<HiddenFolder*> all;
    for (std::size_t f = 0; f < plan.outputs.size(); ++f) {
        const fs::path& path = plan.outputs[f].path;
        HiddenFolder& place = *hidden.emplace_back(std::make_unique<HiddenFolder>(path, guardOf(plan)));
        writeVrt(place.file(), path.parent_path(), made.descriptions[f], statistics[f], rasters.tilesOf(f));
        place.check({place.file()});
        all.push_back(&place);
    }
    HiddenFolder::publishAll(all);
    RasterReport report = reportOn(plan, made, statistics);
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return report;
}

} // namespace Tilewright::Io
