#include <io/runs/RunReport.h>

#include <algorithm>

#include <io/runs/NoDataChoice.h>
#include <io/runs/PixelTypeNames.h>
#include <io/runs/RunLattice.h>

namespace Tilewright::Io {

namespace {

std::string requestOf(const BandDescription& band) {
    const auto found =
        std::ranges::find(band.metadata, "REQUEST", &std::pair<std::string, std::string>::first);
    return found == band.metadata.end() ? "" : found->second;
}

void describeBands(const PlannedOutput& output, RasterReport& report) {
    for (const BandDescription& band : output.description.bands) {
        BandReport described;
        described.name = band.name;
        described.path = output.path.string();
        described.request = requestOf(band);
        described.unit = band.unit;
        described.type = nameOf(output.description.type);
        report.bands.push_back(described);
    }
}

void reportBand(const RasterDescription& file, const BandStatistics& statistics, BandReport& report) {
    describeFile(file, report);
    report.filled = statistics.count;
    report.filledHoles = statistics.filledHoles;
    if (statistics.count != 0) {
        report.range = {{statistics.least, statistics.greatest}};
        report.mean = statistics.mean;
    }
}

} // namespace

RasterReport describeRun(const RunPlan& plan) {
    const BlockLattice lattice = plan.makeLattice();
    RasterReport report;
    report.cloud = plan.cloud;
    report.files = plan.inputs.size();
    report.points = plan.points();
    report.columns = lattice.x().cells();
    report.rows = lattice.y().cells();
    report.cell = {lattice.x().cellSize(), lattice.y().cellSize()};
    report.extent = extentOf(lattice);
    report.coordinateSystem = plan.geometry.wkt;
    report.threads = plan.job.threads;
    report.memory = plan.memory;
    report.dryRun = true;
    report.notes = plan.notes;
    for (const PlannedOutput& output : plan.outputs) {
        report.outputBytes +=
            lattice.cells() * output.description.bands.size() * bytesOf(output.description.type);
        describeBands(output, report);
    }
    return report;
}

void describeFile(const RasterDescription& file, BandReport& band) {
    band.type = nameOf(file.type);
    if (file.nodata)
        band.nodata = asNumber(*file.nodata);
}

RasterReport reportOnBlocks(const RunPlan& plan, const RasteredBlocks& files) {
    RasterReport report = describeRun(plan);
    report.dryRun = false;
    report.sorted = plan.reading.isSorted;
    report.rastered = files.result.points;
    report.withoutGround = files.result.pointsWithoutGround;
    report.filled = files.result.filledCells;
    report.notes.insert(report.notes.end(), files.notes.begin(), files.notes.end());
    if (files.result.points == 0)
        report.notes.emplace_back(
            files.result.pointsWithoutGround != 0 ? "no point has ground below it; all cells are empty"
            : !plan.selections.empty()            ? "no point passes the selection; all cells are empty"
            : !plan.clip.empty()                  ? "no point lies within the polygons; all cells are empty"
                                                  : "no point lies within the bounds; all cells are empty");
    return report;
}

RasterReport reportOn(const RunPlan& plan, const RasteredBlocks& rastered,
                      const std::vector<std::vector<BandStatistics>>& statistics) {
    RasterReport report = reportOnBlocks(plan, rastered);
    for (std::size_t b = 0; b < plan.job.bands.size(); ++b) {
        const JobBand& band = plan.job.bands[b];
        reportBand(rastered.descriptions[band.file], statistics[band.file][band.number], report.bands[b]);
    }
    return report;
}

RasterReport reportOn(const RunPlan& plan, const RasteredFiles& files) {
    std::vector<std::vector<BandStatistics>> statistics(files.writers.size());
    for (std::size_t f = 0; f < files.writers.size(); ++f)
        for (std::size_t b = 0; b < files.descriptions[f].bands.size(); ++b)
            statistics[f].push_back(files.writers[f].statistics(b));
    return reportOn(plan, files, statistics);
}

} // namespace Tilewright::Io
