#include <io/runs/RunPlan.h>

#include <algorithm>
#include <iterator>
#include <map>

#include <io/blocks/NearbyReduction.h>
#include <io/blocks/OnePass.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/rasters/RasterFormat.h>
#include <io/runs/BandPlan.h>
#include <io/runs/GroundOfClasses.h>
#include <io/runs/PixelTypeNames.h>
#include <io/runs/PlanMembers.h>
#include <io/runs/Resources.h>
#include <io/runs/RunInput.h>
#include <io/runs/RunLattice.h>
#include <io/runs/RunSteps.h>
#include <io/runs/SelectionText.h>
#include <io/runs/UnchangedCloud.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;
using Quantity = PlannedBand::Quantity;

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

std::string unitOfHeights(const std::string& system) {
    const std::string vertical = verticalUnitOf(system);
    return vertical.empty() ? linearUnitOf(system) : vertical;
}

std::string unitOf(const PlannedBand& band, const std::string& system) {
    if (!band.filter)
        return "";
    const std::string unit = band.quantity == Quantity::Height       ? unitOfHeights(system)
                             : band.quantity == Quantity::Coordinate ? coordinateUnitOf(system)
                                                                     : "";
    return unitOfResult(*band.filter, unit);
}

/// Whether values between two others mean nothing.
bool isCategory(const PlannedBand& band) {
    using Kind = Statistic::Kind;
    if (!band.filter || band.filter->result != BandFilter::Result::OneOfThem)
        return false;
    const Kind kind = band.filter->statistic;
    const bool isOfOnePoint = goesByHeight(kind) || kind == Kind::First || kind == Kind::Last;
    const bool isWhole = band.type != PixelType::Float32 && band.type != PixelType::Float64;
    return kind == Kind::Mode || band.quantity == Quantity::Class || (isOfOnePoint && isWhole);
}

Filling fillingOf(const RasterRequest& request) {
    const auto& words = KindWords<Filling>::words;
    const auto found = std::ranges::find(words, request.fillMethod);
    if (found == words.end())
        throw UsageError("holes can be filled by idw, nearest or tin, not by '" + request.fillMethod + "'");
    const auto filling = static_cast<Filling>(found - words.begin());
    // Every tile is triangulated together with a rim as wide as the longest edge.
    constexpr double longestEdge = 500.0;
    if (filling == Filling::Triangles && request.fill > longestEdge)
        throw UsageError("triangles that fill holes have edges of at most " + exactNumber(longestEdge) +
                         " cells, not " + exactNumber(request.fill));
    return filling;
}

PlannedPicture pictureOf(const PlannedBand& band, const fs::path& path) {
    if (!band.filter)
        return {path};
    // There are no classes between classes, as a mean would be.
    return {path, band.quantity == Quantity::Height && band.filter->dimension == BandFilter::Dimension::Value,
            band.quantity == Quantity::Class && band.filter->result == BandFilter::Result::OneOfThem};
}

/// As the user put them.
std::vector<std::string> selectionsOf(const RasterRequest& request) {
    std::vector<std::string> texts;
    std::ranges::copy_if(request.selections, std::back_inserter(texts),
                         [](const std::string& text) { return !text.empty(); });
    if (!request.returns.empty())
        texts.push_back(request.returns);
    return texts;
}

std::string joined(const std::vector<std::string>& conditions) {
    std::string all;
    for (const std::string& condition : conditions)
        all += (all.empty() ? "" : " & ") + condition;
    return all;
}

/// Turns what was decided of a run into its plan, part by part.
class PlanMaker {
public:
    PlanMaker(const RasterRequest& request, const OutputStyle& style, const RunInput& input,
              const CloudIndex& index, bool mayBeOnePass, bool inMemory)
        : Request(request), Style(style), Input(input), Index(index), MayBeOnePass(mayBeOnePass),
          InMemory(inMemory) {}

    RunPlan make(const std::vector<WantedBand>& wanted, const PointConditions& selection) {
        planInputs();
        planLattice();
        BandPlan bands = planBands(wanted, *Input.cloud, Index, Style.type);
        bands.points.needs.selection = selection;
        bands.points.needs.clip = Input.clip;
        bands.points.needs.ground = Input.ground;
        checkReach(bands.points);
        planResources(bands.points, shareOut(Request, bands, Input.mappedBytes));
        Plan.job.plan = std::move(bands.points);
        Plan.job.sparseLimit = Request.sparseLimit;
        Plan.notes.insert(Plan.notes.end(), bands.notes.begin(), bands.notes.end());
        if (Request.stack)
            bands.files = {stackOf(bands.files)};
        planOutputs(bands.files);
        return std::move(Plan);
    }

private:
    std::string shown(const std::string& path) const {
        for (const auto& [beginning, name] : Request.shownAs)
            if (path.starts_with(beginning))
                return name + path.substr(beginning.size());
        return path;
    }

    void planInputs() {
        const PointCloud& cloud = *Input.cloud;
        Plan.cloud = shown(cloud.name());
        std::map<fs::path, int> others;
        for (const fs::path& path : Input.files)
            ++others[path];
        for (std::size_t i = 0; i < cloud.sources().size(); ++i) {
            const PointSource& source = *cloud.sources()[i];
            // Points in memory have a name, but no file.
            const FileState file = cloud.files().empty() ? FileState{source.name()} : cloud.files()[i];
            Plan.inputs.push_back({file.path, file.size, file.modified, source.pointCount()});
            --others[file.path];
            for (const std::string& note : source.notes())
                Plan.notes.push_back(note);
        }
        for (const auto& [path, count] : others)
            if (count > 0)
                Plan.otherNames.push_back(path);
        Plan.selections = selectionsOf(Request);
        Plan.clip = Request.clip;
        Plan.ground = Request.ground;
        Plan.groundPoints = readGroundClasses(Request, *Input.cloud);
        for (const FileState& file : Input.otherFiles)
            Plan.otherFiles.push_back({file.path, file.size, file.modified, 0});
        Plan.notes.insert(Plan.notes.end(), Input.notes.begin(), Input.notes.end());
    }

    void planLattice() {
        Plan.lattice = latticeRequests(Request, Input, Index.bounds);
        Lattice.emplace(Plan.makeLattice());
        checkLattice(*Lattice, Request, Input);
        Plan.geometry = geometry();
        if (const std::optional<std::string> note = noteOnBounds(*Lattice, Request, Input))
            Plan.notes.push_back(*note);
    }

    /// All points within reach of a cell are in memory with it.
    void checkReach(const ReductionPlan& points) const {
        const double reach = mostCellsReached * std::min(Lattice->x().cellSize(), Lattice->y().cellSize());
        for (const ReductionPlan::Reduction& reduction : points.reductions)
            if (reduction.statistic.kind == Statistic::Kind::InverseDistance &&
                reduction.statistic.number > reach)
                throw UsageError("IDW(" + exactNumber(reduction.statistic.number) + ") reaches beyond " +
                                 exactNumber(mostCellsReached) +
                                 " cells; choose a smaller radius or larger cells");
    }

    void planResources(const ReductionPlan& points, const Resources& shares) {
        PlannedReading& reading = Plan.reading;
        reading.side = chooseSide(*Lattice, Input.cloud->pointCount());
        const std::optional<std::uint64_t> states = bytesOfStates(points, Lattice->whole());
        reading.inOnePass =
            MayBeOnePass && states &&
            *states <= mostBytesOfStates(Request, Input.mappedBytes, Input.cloud->pointCount());
        reading.isSorted = !reading.inOnePass && readingEffort(Index, *Lattice, reading.side) > mostEffort();
        reading.memory = shares.sorting;
        reading.scratch = scratchOf(Request);
        reading.keepsPages = Input.mappedBytes != 0;
        Plan.job.threads = reading.inOnePass ? threadsWanted(Request) : shares.threads;
        Plan.job.pointsOfWindow = Plan.job.pointsOfCell = shares.points;
        // Half of what sorting may take can still be in use.
        Plan.job.memoryForPlanes = shares.sorting / (reading.isSorted ? 2 : 1);
        Plan.memory = reading.inOnePass ? *states : shares.working;
        if (!Plan.groundPoints.empty())
            planGround();
    }

    void planGround() {
        const std::uint64_t bytes = bytesOfGround(*Lattice);
        const std::uint64_t most = memoryToUse(Request) / 2;
        if (bytes > most)
            throw InputError("to find the ground below " + std::to_string(Lattice->cells()) +
                             " cells takes " + readableBytes(bytes) +
                             " of memory, of which --memory leaves " + readableBytes(most) +
                             "; choose larger cells or more memory, or make the ground first, for --ground");
        Plan.memory = std::max(Plan.memory, bytes);
    }

    /// How often records may be read before it is cheaper to sort them. Compressed ones are decoded each
    /// time.
    double mostEffort() const {
        const bool isCompressed = std::ranges::any_of(
            Input.cloud->sources(), [](const auto& source) { return !source->pieces().empty(); });
        return isCompressed ? 1.0 : 4.0;
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
            const std::string path =
                InMemory ? file.name : bandFileName(Request.output, file.name, files.size());
            Plan.outputs.push_back({path, describe(file), Style.type.has_value(), file.hasNoData, InMemory});
        }
        if (!Request.preview.empty())
            Plan.picture = pictureOf(files.front().bands.front(), Request.preview);
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
        description.geometry = Plan.geometry;
        description.type = Style.type.value_or(file.bands.front().type);
        for (const PlannedBand& band : file.bands)
            description.bands.push_back({band.name,
                                         unitOf(band, Input.system),
                                         band.colour,
                                         {{"REQUEST", band.request}},
                                         isCategory(band)});
        description.metadata = {{"TIFFTAG_SOFTWARE", "Tilewright " TILEWRIGHT_VERSION},
                                {"POINTS", std::to_string(Input.cloud->pointCount())},
                                {"INPUTS", Plan.cloud}};
        if (!Plan.selections.empty())
            description.metadata.emplace_back("SELECTION", joined(Plan.selections));
        if (!Plan.clip.empty())
            description.metadata.emplace_back("CLIP", shown(Plan.clip));
        if (!Plan.ground.empty())
            description.metadata.emplace_back("GROUND", shown(Plan.ground));
        if (!Plan.groundPoints.empty())
            description.metadata.emplace_back("GROUND", Request.groundClasses + "@Classification");
        if (Request.sparseLimit != 0)
            description.metadata.emplace_back("SPARSE_LIMIT", std::to_string(Request.sparseLimit));
        description.blockSize = static_cast<int>(BlockLattice::blockSide);
        description.driver = Style.driver;
        description.creationOptions = Request.creationOptions;
        description.overviews = Request.overviews;
        description.fillDistance = Request.fill;
        description.filling = fillingOf(Request);
        return description;
    }

    const RasterRequest& Request;
    const OutputStyle& Style;
    const RunInput& Input;
    const CloudIndex& Index;
    bool MayBeOnePass;
    bool InMemory;
    std::optional<BlockLattice> Lattice;
    RunPlan Plan;
};

/// Empty boxes for files in which nothing is of interest.
void noteBoxes(const CloudIndex& index, std::vector<PlannedInput>& inputs) {
    for (PlannedInput& input : inputs)
        std::swap(input.low, input.high);
    for (const Stretch& stretch : index.stretches)
        for (std::size_t axis = 0; axis < 2; ++axis) {
            PlannedInput& input = inputs[stretch.source];
            input.low[axis] = std::min(input.low[axis], stretch.low[axis]);
            input.high[axis] = std::max(input.high[axis], stretch.high[axis]);
        }
}

/// Plans for an open cloud.
class RunPlanner {
public:
    RunPlanner(const RunEnds& ends, const RasterRequest& request, const RunProgress& progress)
        : Request(request), Progress(progress), InMemory(ends.inMemory), Style(styleOf(request)),
          Input(openInput(request, ends.cloud, progress)), Wanted(readBands(request, *Input.cloud)),
          Selection(readSelection(request, *Input.cloud)),
          FieldsToMeasure(fieldsToMeasure(Wanted, *Input.cloud)), Measured(FieldsToMeasure) {
        if (ends.measuresWholeNumbers)
            addWholeNumbers();
    }

    PlannedRun planMeasured(bool mayBeOnePass = true, const IndexFolder* indices = nullptr) const {
        // The points of a run in blocks are counted before any is made.
        const PointNeeds counted{{}, Selection, Input.clip};
        const bool areCounted = !mayBeOnePass && counted.areSelective() && !hasGround(Request);
        PlannedRun run = planBy(
            indexCloud(*Input.cloud, {Measured, threadsWanted(Request), reportOf(Progress, "measuring"),
                                      window(), indices, areCounted ? &counted : nullptr}),
            mayBeOnePass);
        noteBoxes(run.index, run.plan.inputs);
        run.measured = Measured;
        return run;
    }

    /// Plans by what the files state of themselves, reduces the points, and measures them meanwhile. None if
    /// that is not the way for such a run, or if the measured points lead to other cells or reductions.
    std::optional<PlannedRun> planInOnePass() const {
        const std::optional<PlannedRun> guess = planStated();
        if (!guess || !guess->plan.reading.inOnePass)
            return std::nullopt;
        if (!InMemory)
            checkOutputs(guess->plan);
        const auto cells = std::make_shared<const ReducedCells>(reduceCloud(*guess));
        CloudIndex index = guess->index;
        if (index.skippedPoints == 0)
            index.bounds = {};
        index.bounds.add(cells->measures.bounds());
        index.ranges = cells->measures.ranges();
        PlannedRun run = planBy(std::move(index));
        if (run.plan.lattice != guess->plan.lattice || run.plan.job.plan != guess->plan.job.plan)
            return std::nullopt;
        run.cells = cells;
        return run;
    }

private:
    PlannedRun planBy(CloudIndex index, bool mayBeOnePass = true) const {
        RunPlan plan =
            PlanMaker(Request, Style, Input, index, mayBeOnePass, InMemory).make(Wanted, Selection);
        return {std::move(plan), Input.cloud, std::move(index)};
    }

    /// Besides those that the plan depends on.
    void addWholeNumbers() {
        for (const WantedBand& band : Wanted) {
            const CloudField* const field = Input.cloud->findField(band.field);
            const bool isWhole = field && field->type != FieldType::Float && field->type != FieldType::Double;
            if (isWhole && std::ranges::find(Measured, band.field) == Measured.end())
                Measured.push_back(band.field);
        }
    }

    /// How attributes are scaled depends on all points, so that a run that measures some reads them all.
    IndexWindow window() const { return FieldsToMeasure.empty() ? windowOf(Request, Input) : std::nullopt; }

    std::optional<PlannedRun> planStated() const {
        std::optional<CloudIndex> index = statedIndex(*Input.cloud, window());
        if (!index)
            return std::nullopt;
        index->ranges.resize(FieldsToMeasure.size());
        try {
            return planBy(std::move(*index));
        } catch (const Error&) {
            // What is wrong with the files shows when they are measured.
            return std::nullopt;
        }
    }

    ReducedCells reduceCloud(const PlannedRun& run) const {
        return whileUnchanged(*run.cloud, [&] {
            return reduceInOnePass(*run.cloud, run.index, run.plan.makeLattice(),
                                   {withGround(run, Progress), FieldsToMeasure, run.plan.job.threads},
                                   reportOf(Progress, "rastering"));
        });
    }

    const RasterRequest& Request;
    const RunProgress& Progress;
    bool InMemory;
    OutputStyle Style;
    RunInput Input;
    std::vector<WantedBand> Wanted;
    PointConditions Selection;
    std::vector<std::string> FieldsToMeasure;
    /// Those, and others.
    std::vector<std::string> Measured;
};

} // namespace

std::uint64_t RunPlan::points() const {
    std::uint64_t sum = 0;
    for (const PlannedInput& input : inputs)
        sum += input.points;
    return sum;
}

CellWindow RunPlan::largestWindow() const {
    const BlockLattice lattice = makeLattice();
    CellWindow largest = parts.empty() ? lattice.whole() : CellWindow();
    for (const BlockRectangle& part : parts)
        if (const CellWindow window = lattice.windowOf(part); window.cells() > largest.cells())
            largest = window;
    return largest;
}

PlannedRun planRun(const RasterRequest& request, const RunProgress& progress, const IndexFolder* indices) {
    return RunPlanner({}, request, progress).planMeasured(true, indices);
}

PlannedRun planRunInBlocks(const RasterRequest& request, const RunProgress& progress,
                           const IndexFolder* indices) {
    return RunPlanner({}, request, progress).planMeasured(false, indices);
}

PlannedRun planRunAtOnce(const RasterRequest& request, const RunProgress& progress) {
    return planRunBetween({}, request, progress);
}

PlannedRun planRunBetween(const RunEnds& ends, const RasterRequest& request, const RunProgress& progress) {
    const RunPlanner planner(ends, request, progress);
    std::optional<PlannedRun> run = request.dryRun ? std::nullopt : planner.planInOnePass();
    return run ? std::move(*run) : planner.planMeasured();
}

PlannedRun planRunInBlocks(const RunEnds& ends, const RasterRequest& request, const RunProgress& progress) {
    return RunPlanner(ends, request, progress).planMeasured(false);
}

} // namespace Tilewright::Io
