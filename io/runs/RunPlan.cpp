#include <io/runs/RunPlan.h>

#include <algorithm>
#include <map>

#include <io/gdal/CoordinateSystem.h>
#include <io/rasters/RasterFormat.h>
#include <io/runs/BandPlan.h>
#include <io/runs/PixelTypeNames.h>
#include <io/runs/Resources.h>
#include <io/runs/RunInput.h>
#include <io/runs/RunLattice.h>
#include <io/runs/RunSteps.h>
#include <io/runs/SelectionText.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

bool isColour(const PlannedFile& file) { return file.bands.front().colour != BandColour::Undefined; }

/// One file of all bands, with the widest of their types.
PlannedFile stackOf(const std::vector<PlannedFile>& files) {
    PlannedFile all{"", {}, false};
    for (const PlannedFile& file : files) {
        all.hasNoData |= file.hasNoData;
        for (PlannedBand band : file.bands) {
            // A colour's transparency means nothing among bands of other kinds.
            if (isColour(file) && files.size() > 1) {
                if (band.colour == BandColour::Alpha)
                    continue;
                band.name = file.name + "-" + band.name;
                band.colour = BandColour::Undefined;
            }
            all.bands.push_back(band);
        }
    }
    for (const PlannedBand& band : all.bands)
        all.bands.front().type = commonType(all.bands.front().type, band.type);
    return all;
}

std::string unitOf(const PlannedBand& band, const std::string& system) {
    if (band.unit == "height") {
        const std::string vertical = verticalUnitOf(system);
        return vertical.empty() ? linearUnitOf(system) : vertical;
    }
    return band.unit == "coordinate" ? coordinateUnitOf(system) : band.unit;
}

/// A mean of classes is none.
bool hasClasses(const PlannedBand& band) {
    const std::string request = band.request.substr(band.request.find('=') + 1);
    return request.starts_with("Classification:") && !request.starts_with("Classification:Mean");
}

/// Turns what was decided of a run into its plan, part by part.
class PlanMaker {
public:
    PlanMaker(const RasterRequest& request, const OutputStyle& style, const RunInput& input,
              const CloudIndex& index)
        : Request(request), Style(style), Input(input), Index(index) {}

    RunPlan make(const std::vector<WantedBand>& wanted, const std::optional<CloudSelection>& selection) {
        planInputs();
        planLattice();
        BandPlan bands = planBands(wanted, *Input.cloud, Index, Style.type);
        bands.points.needs.selection = selection;
        planResources(shareOut(Request, bands, Input.mappedBytes));
        Plan.job.plan = std::move(bands.points);
        Plan.job.sparseLimit = Request.sparseLimit;
        Plan.notes.insert(Plan.notes.end(), bands.notes.begin(), bands.notes.end());
        if (Request.stack)
            bands.files = {stackOf(bands.files)};
        planOutputs(bands.files);
        return std::move(Plan);
    }

private:
    void planInputs() {
        const PointCloud& cloud = *Input.cloud;
        Plan.cloud = cloud.name();
        std::map<fs::path, int> others;
        for (const fs::path& path : Input.files)
            ++others[path];
        for (std::size_t i = 0; i < cloud.files().size(); ++i) {
            const FileState& file = cloud.files()[i];
            Plan.inputs.push_back({file.path, file.size, file.modified, cloud.sources()[i]->pointCount()});
            --others[file.path];
            for (const std::string& note : cloud.sources()[i]->notes())
                Plan.notes.push_back(note);
        }
        for (const auto& [path, count] : others)
            if (count > 0)
                Plan.otherNames.push_back(path);
        Plan.selection = Request.selection;
        Plan.coordinateSystem = Input.system;
    }

    void planLattice() {
        Plan.lattice = latticeRequests(Request, Input, Index.bounds);
        Lattice.emplace(Plan.makeLattice());
        checkLattice(*Lattice, Request, Input);
        if (const std::optional<std::string> note = noteOnBounds(*Lattice, Request, Input))
            Plan.notes.push_back(*note);
    }

    void planResources(const Resources& shares) {
        /// Reading a file twice is cheaper than sorting it.
        constexpr double mostEffort = 4.0;
        PlannedReading& reading = Plan.reading;
        reading.side = chooseSide(*Lattice, Input.cloud->pointCount());
        reading.isSorted = readingEffort(Index, *Lattice, reading.side) > mostEffort;
        reading.memory = shares.sorting;
        reading.scratch = scratchOf(Request);
        reading.keepsPages = Input.mappedBytes != 0;
        Plan.job.threads = shares.threads;
        Plan.job.pointsOfWindow = shares.points;
        // Half of what sorting may take can still be in use.
        Plan.job.memoryForPlanes = shares.sorting / (reading.isSorted ? 2 : 1);
        Plan.memory = shares.working;
    }

    void planOutputs(const std::vector<PlannedFile>& files) {
        Plan.output = Request.output;
        Plan.nodata = Request.nodata;
        Plan.overwrite = Request.overwrite;
        for (const PlannedFile& file : files) {
            for (const PlannedBand& band : file.bands) {
                Plan.job.bands.push_back(band.job);
                Plan.job.bands.back().file = Plan.outputs.size();
                Plan.job.bands.back().number = static_cast<std::size_t>(&band - file.bands.data());
            }
            Plan.outputs.push_back({bandFileName(Request.output, file.name, files.size()), describe(file),
                                    Style.type.has_value(), file.hasNoData});
        }
        const PlannedBand& first = files.front().bands.front();
        if (!Request.preview.empty())
            Plan.picture = PlannedPicture{Request.preview, first.unit == "height", hasClasses(first)};
    }

    RasterGeometry geometry() const {
        const std::array<double, 4> extent = extentOf(*Lattice);
        RasterGeometry geometry{Lattice->x().cells(),    Lattice->y().cells(),    extent[0],   extent[3],
                                Lattice->x().cellSize(), Lattice->y().cellSize(), Input.system};
        if (Input.like)
            geometry = *Input.like;
        geometry.wkt = Input.system;
        return geometry;
    }

    RasterDescription describe(const PlannedFile& file) const {
        RasterDescription description;
        description.geometry = geometry();
        description.type = Style.type.value_or(file.bands.front().type);
        for (const PlannedBand& band : file.bands)
            description.bands.push_back(
                {band.name, unitOf(band, Input.system), band.colour, {{"REQUEST", band.request}}});
        description.metadata = {{"TIFFTAG_SOFTWARE", "Tilewright " TILEWRIGHT_VERSION},
                                {"POINTS", std::to_string(Input.cloud->pointCount())},
                                {"INPUTS", Input.cloud->name()}};
        if (!Request.selection.empty())
            description.metadata.emplace_back("SELECTION", Request.selection);
        if (Request.sparseLimit != 0)
            description.metadata.emplace_back("SPARSE_LIMIT", std::to_string(Request.sparseLimit));
        description.blockSize = static_cast<int>(BlockLattice::blockSide);
        description.driver = Style.driver;
        description.creationOptions = Request.creationOptions;
        description.overviews = Request.overviews;
        description.fillDistance = Request.fill;
        return description;
    }

    const RasterRequest& Request;
    const OutputStyle& Style;
    const RunInput& Input;
    const CloudIndex& Index;
    std::optional<BlockLattice> Lattice;
    RunPlan Plan;
};

} // namespace

std::uint64_t RunPlan::points() const {
    std::uint64_t sum = 0;
    for (const PlannedInput& input : inputs)
        sum += input.points;
    return sum;
}

PlannedRun planRun(const RasterRequest& request, const RunProgress& progress) {
    const OutputStyle style = styleOf(request);
    RunInput input = openInput(request, progress);
    const std::vector<WantedBand> wanted = readBands(request, *input.cloud);
    const std::optional<CloudSelection> selection = readSelection(request.selection, *input.cloud);
    PlannedRun run;
    run.index = indexCloud(*input.cloud, fieldsToMeasure(wanted, *input.cloud), threadsWanted(request),
                           reportOf(progress, "measuring"));
    run.plan = PlanMaker(request, style, input, run.index).make(wanted, selection);
    run.cloud = std::move(input.cloud);
    return run;
}

} // namespace Tilewright::Io
