#include <io/runs/RasterRun.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <limits>

#include <unistd.h>

#include <io/clouds/FileSearch.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/outputs/OutputGuard.h>
#include <io/preview/Preview.h>
#include <io/rasters/ExistingRaster.h>
#include <io/rasters/RasterFormat.h>
#include <io/rasters/RasterWriter.h>
#include <io/system/Errors.h>

#include <io/runs/BandPlan.h>
#include <io/runs/NoDataChoice.h>
#include <io/runs/PixelRange.h>
#include <io/runs/Resources.h>
#include <io/runs/SelectionText.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

namespace fs = std::filesystem;

std::uint64_t bytesOf(const std::vector<fs::path>& files) {
    std::uint64_t bytes = 0;
    std::error_code failed;
    for (const fs::path& file : files)
        if (const auto size = fs::file_size(file, failed); !failed)
            bytes += size;
    return bytes;
}

LatticeAxis::Request requestOf(const RasterRequest& options, const PointBounds& bounds, std::size_t axis) {
    LatticeAxis::Request wanted;
    wanted.low = bounds.low[axis];
    wanted.high = bounds.high[axis];
    wanted.cell = options.cell[axis];
    wanted.origin = options.origin[axis] + std::fmod(options.shift[axis], 1.0) * options.cell[axis];
    if (options.bounds)
        wanted.bounds = {{(*options.bounds)[axis], (*options.bounds)[axis + 2]}};
    return wanted;
}

/// With the bounds moved onto the very edges to which they are nearest.
LatticeAxis::Request settled(LatticeAxis::Request wanted) {
    auto& [low, high] = *wanted.bounds;
    low += wanted.cell / 4.0;
    high -= wanted.cell / 4.0;
    const LatticeAxis axis(wanted);
    low = axis.edge(0);
    high = axis.edge(static_cast<std::int64_t>(axis.cells()));
    return wanted;
}

BlockLattice makeLattice(const RasterRequest& options, const PointBounds& bounds) {
    const auto x = requestOf(options, bounds, 0), y = requestOf(options, bounds, 1);
    return options.like.empty() ? BlockLattice(x, y) : BlockLattice(settled(x), settled(y));
}

/// West, south, east, north.
std::array<double, 4> extentOf(const BlockLattice& lattice) {
    return {lattice.x().edge(0), lattice.y().edge(0),
            lattice.x().edge(static_cast<std::int64_t>(lattice.x().cells())),
            lattice.y().edge(static_cast<std::int64_t>(lattice.y().cells()))};
}

/// Refuses a raster of so many cells for so few points that its cell size must be a mistake.
void checkCells(const BlockLattice& lattice, const PointCloud& cloud) {
    constexpr double mostCellsPerPoint = 1000.0;
    constexpr double alwaysFine = 1e7;
    const double cells = static_cast<double>(lattice.x().cells()) * static_cast<double>(lattice.y().cells());
    if (cells <= std::max(alwaysFine, mostCellsPerPoint * static_cast<double>(cloud.pointCount())))
        return;
    const std::array<double, 4> extent = extentOf(lattice);
    const std::string unit = linearUnitOf(cloud.coordinateSystem());
    throw InputError("cells of " + exactNumber(lattice.x().cellSize()) + " x " +
                     exactNumber(lattice.y().cellSize()) + " make " + std::to_string(lattice.x().cells()) +
                     " x " + std::to_string(lattice.y().cells()) + " cells over an extent of " +
                     roundedNumber(extent[2] - extent[0], 6) + " x " +
                     roundedNumber(extent[3] - extent[1], 6) +
                     (unit.empty() ? "" : " in units of one " + printable(unit)) + ", for only " +
                     std::to_string(cloud.pointCount()) + " points; choose a larger --cell");
}

bool isColour(const PlannedFile& file) { return file.bands.front().colour != BandColour::Undefined; }

/// The narrowest type that holds all values of two types.
PixelType commonType(PixelType a, PixelType b) {
    using Type = PixelType;
    const auto rank = [](Type type) {
        constexpr std::array order = {Type::Byte,  Type::UInt16,  Type::UInt32, Type::UInt64,
                                      Type::Int32, Type::Float32, Type::Float64};
        return std::ranges::find(order, type) - order.begin();
    };
    if (rank(a) > rank(b))
        std::swap(a, b);
    if (a == b || b == Type::Float64 || rank(b) <= rank(Type::UInt64))
        return b;
    const bool isShort = a == Type::Byte || a == Type::UInt16;
    return isShort ? b : Type::Float64;
}

struct NamedType {
    const char* name;
    PixelType type;
    std::uint64_t bytes;
};

constexpr std::array<NamedType, 7> pixelTypes = {{{"Byte", PixelType::Byte, 1},
                                                  {"UInt16", PixelType::UInt16, 2},
                                                  {"UInt32", PixelType::UInt32, 4},
                                                  {"UInt64", PixelType::UInt64, 8},
                                                  {"Int32", PixelType::Int32, 4},
                                                  {"Float32", PixelType::Float32, 4},
                                                  {"Float64", PixelType::Float64, 8}}};

const NamedType& describeType(PixelType type) {
    return *std::ranges::find(pixelTypes, type, &NamedType::type);
}

/// None for an empty name.
std::optional<PixelType> readPixelType(const std::string& name) {
    if (name.empty())
        return std::nullopt;
    std::string known;
    for (const NamedType& type : pixelTypes) {
        if (name == type.name)
            return type.type;
        known += known.empty() ? "" : ", ";
        known += type.name;
    }
    throw UsageError("the type '" + name + "' is none of " + known);
}

/// Throws OutputError if two of the files that a run makes are one.
void expectDistinct(const std::vector<fs::path>& files) {
    for (std::size_t i = 0; i < files.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (OutputGuard::isSamePlace(files[i], files[j]))
                throw OutputError("two files would be written to " + files[i].string());
}

/// Everything of a run that stands before the first point is rastered.
class RasterRun {
public:
    RasterRun(const RasterRequest& options, const RunProgress& progress)
        : Options(options), Progress(progress) {}

    RasterReport run();

private:
    void open();
    void takeLike();
    void noteBounds();
    void plan();
    void stackFiles();
    void checkOutputs();
    RasterDescription describe(const PlannedFile& file, const NoDataChoice& choice) const;
    std::string unitOf(const PlannedBand& band) const;
    std::unique_ptr<SquareReader> makeReader();
    std::vector<fs::path> allPlaces() const;
    void rasterFiles(const SquareReader& reader);
    void rasterUnchangedCloud();
    bool moveNoData(std::vector<NoDataChoice>& choices) const;
    void noteTypes();
    void noteCutCells(const RasterJob& job);
    void checkBits(std::size_t f) const;
    void finish();
    void reportBands();

    StepReport reportAs(const char* step, const char* unit = "points") {
        return [this, step, unit](std::uint64_t done, std::uint64_t total) {
            return !Progress || Progress(step, done, total, unit);
        };
    }
    fs::path scratch() const {
        if (!Options.scratch.empty())
            return Options.scratch;
        const fs::path folder = fs::path(Options.output).parent_path();
        return folder.empty() ? fs::path(".") : folder;
    }

    RasterRequest Options;
    /// The raster that this one is to be like.
    std::optional<RasterGeometry> Like;
    RunProgress Progress;
    std::vector<fs::path> Inputs;
    std::uint64_t MappedBytes = 0;
    std::unique_ptr<PointCloud> Cloud;
    std::string System;
    std::string Driver;
    std::optional<PixelType> FixedType;
    CloudIndex Index;
    std::optional<BlockLattice> Lattice;
    BandPlan Plan;
    std::vector<fs::path> Paths;
    OutputGuard Guard;
    Resources Shares;
    std::vector<RasterDescription> Descriptions;
    std::vector<RasterWriter> Writers;
    JobResult Result;
    RasterReport Report;
};

void RasterRun::open() {
    Driver = driverOf(Options.driver, Options.output);
    if (!Options.preview.empty() && !isPreviewName(Options.preview))
        throw UsageError("the preview '" + Options.preview + "' is none of .png, .jpg and .jpeg");
    checkCreationOptions(Driver, Options.creationOptions);
    FixedType = readPixelType(Options.pixelType);
    if (!Options.coordinateSystem.empty())
        System = coordinateSystemFromUser(Options.coordinateSystem);
    Inputs = findPointFiles(Options.inputs);
    CloudOptions cloudOptions;
    cloudOptions.scratch = scratch();
    const std::uint64_t bytes = bytesOf(Inputs);
    cloudOptions.keepPages = bytes <= memoryToUse(Options) / 8 * 5;
    MappedBytes = cloudOptions.keepPages ? bytes : 0;
    cloudOptions.report = reportAs("reading");
    Cloud = std::make_unique<PointCloud>(Inputs, cloudOptions, !System.empty());
    if (System.empty())
        System = Cloud->coordinateSystem();
    if (!Options.like.empty())
        takeLike();
    if (Cloud->pointCount() == 0 && !Options.bounds)
        throw InputError(Cloud->name() + " has no points");
}

void RasterRun::takeLike() {
    Like = geometryOf(Options.like);
    const auto width = static_cast<double>(Like->width), height = static_cast<double>(Like->height);
    const double south = Like->north - height * Like->pixelHeight;
    Options.cell = {Like->pixelWidth, Like->pixelHeight};
    Options.origin = {Like->west, Like->north};
    Options.bounds = {{Like->west, south, Like->west + width * Like->pixelWidth, Like->north}};
    if (Like->wkt.empty() || !Options.coordinateSystem.empty())
        return;
    // One of them may say nothing about heights.
    const bool isPartly = isSameWithoutHeights(System, Like->wkt) &&
                          (verticalUnitOf(System).empty() || verticalUnitOf(Like->wkt).empty());
    if (!System.empty() && !isPartly && !isSameCoordinateSystem(System, Like->wkt))
        throw InputError(Cloud->name() + " is in " + systemName(System) + ", and " + Options.like + " in " +
                         systemName(Like->wkt) + "; --srs would override both");
    if (System.empty() || verticalUnitOf(System).empty())
        System = Like->wkt;
}

/// Cells lie where their edges are multiples of their size, whatever the bounds.
void RasterRun::noteBounds() {
    if (!Options.bounds || Like)
        return;
    const std::array<double, 4> extent = extentOf(*Lattice);
    const std::array<double, 4>& bounds = *Options.bounds;
    bool isOff = false;
    for (std::size_t i = 0; i < extent.size(); ++i)
        isOff |= std::fabs(extent[i] - bounds[i]) > 1e-6 * Options.cell[i % 2];
    if (!isOff)
        return;
    std::string spans;
    for (const double edge : extent)
        spans += " " + roundedNumber(edge, 15);
    Report.notes.push_back("the bounds do not lie on edges of cells, so that the raster spans" + spans +
                           "; --origin " + exactNumber(bounds[0]) + " " + exactNumber(bounds[1]) +
                           " would put edges on the first two of them");
}

void RasterRun::plan() {
    const std::vector<WantedBand> wanted = readBands(Options, *Cloud);
    const std::optional<CloudSelection> selection = readSelection(Options.selection, *Cloud);
    Index =
        indexCloud(*Cloud, fieldsToMeasure(wanted, *Cloud), threadsWanted(Options), reportAs("measuring"));
    Lattice = makeLattice(Options, Index.bounds);
    if (Like && (Lattice->x().cells() != Like->width || Lattice->y().cells() != Like->height))
        throw InputError(Options.like + ": its cells are too small for its coordinates");
    checkCells(*Lattice, *Cloud);
    noteBounds();
    Plan = planBands(wanted, *Cloud, Index, FixedType);
    Plan.points.needs.selection = selection;
    Shares = shareOut(Options, Plan, MappedBytes);
    if (Options.stack)
        stackFiles();
}

/// One file of all bands, with the widest of their types.
void RasterRun::stackFiles() {
    PlannedFile all{"", {}, false};
    for (const PlannedFile& file : Plan.files) {
        all.hasNoData |= file.hasNoData;
        for (PlannedBand band : file.bands) {
            // A colour's transparency means nothing among bands of other kinds.
            if (isColour(file) && Plan.files.size() > 1) {
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
    Plan.files = {all};
}

void RasterRun::checkOutputs() {
    const fs::path output = Options.output;
    std::error_code ignored;
    if (Options.output.empty() || fs::is_directory(output, ignored))
        throw UsageError("the output '" + Options.output + "' needs the name of a file");
    if (fs::exists(output, ignored) && !fs::is_regular_file(output, ignored))
        throw OutputError(Options.output + ": is no regular file and is not replaced");
    for (const PlannedFile& file : Plan.files)
        Paths.emplace_back(bandFileName(Options.output, file.name, Plan.files.size()));
    Guard = OutputGuard(Inputs, Options.overwrite);
    std::vector<fs::path> all = Paths;
    if (!Options.preview.empty())
        all.emplace_back(Options.preview);
    for (const fs::path& path : all) {
        const fs::path folder = path.parent_path().empty() ? fs::path(".") : path.parent_path();
        if (!fs::is_directory(folder, ignored))
            throw OutputError(path.string() + ": there is no folder " + folder.string());
        if (access(folder.c_str(), W_OK) != 0)
            throw OutputError(path.string() + ": the folder " + folder.string() + " can't be written");
        Guard.check(path, path);
    }
    expectDistinct(all);
}

std::string RasterRun::unitOf(const PlannedBand& band) const {
    if (band.unit == "height") {
        const std::string vertical = verticalUnitOf(System);
        return vertical.empty() ? linearUnitOf(System) : vertical;
    }
    return band.unit == "coordinate" ? coordinateUnitOf(System) : band.unit;
}

RasterDescription RasterRun::describe(const PlannedFile& file, const NoDataChoice& choice) const {
    RasterDescription description;
    const std::array<double, 4> extent = extentOf(*Lattice);
    description.geometry = {Lattice->x().cells(),    Lattice->y().cells(),    extent[0], extent[3],
                            Lattice->x().cellSize(), Lattice->y().cellSize(), System};
    if (Like) {
        description.geometry = *Like;
        description.geometry.wkt = System;
    }
    description.type = choice.type();
    if (file.hasNoData)
        description.nodata = Options.nodata ? std::optional<NoData>(*Options.nodata) : choice.value();
    for (const PlannedBand& band : file.bands)
        description.bands.push_back({band.name, unitOf(band), band.colour, {{"REQUEST", band.request}}});
    description.metadata = {{"TIFFTAG_SOFTWARE", "Tilewright " TILEWRIGHT_VERSION},
                            {"POINTS", std::to_string(Cloud->pointCount())},
                            {"INPUTS", Cloud->name()}};
    if (!Options.selection.empty())
        description.metadata.emplace_back("SELECTION", Options.selection);
    if (Options.sparseLimit != 0)
        description.metadata.emplace_back("SPARSE_LIMIT", std::to_string(Options.sparseLimit));
    description.blockSize = static_cast<int>(BlockLattice::blockSide);
    description.driver = Driver;
    description.creationOptions = Options.creationOptions;
    description.overviews = Options.overviews;
    description.fillDistance = Options.fill;
    return description;
}

std::unique_ptr<SquareReader> RasterRun::makeReader() {
    /// Reading a file twice is cheaper than sorting it.
    constexpr double mostEffort = 4.0;
    const std::uint64_t side = chooseSide(*Lattice, Cloud->pointCount());
    const ReadingPlan reading = {Shares.threads, Shares.sorting, scratch(), reportAs("sorting", "")};
    Report.sorted = readingEffort(Index, *Lattice, side) > mostEffort;
    return Report.sorted ? makeSortedReader(*Cloud, Index, *Lattice, Plan.points.needs, side, reading)
                         : makeStretchReader(*Cloud, Index, *Lattice, Plan.points.needs, side, reading);
}

/// Of all files that will appear, those included that come with others.
std::vector<fs::path> RasterRun::allPlaces() const {
    std::vector<fs::path> places;
    for (const RasterWriter& writer : Writers)
        places.insert(places.end(), writer.places().begin(), writer.places().end());
    if (!Options.preview.empty())
        places.emplace_back(Options.preview);
    return places;
}

/// Rasters until no cell with data has the value of those without: mostly once.
void RasterRun::rasterFiles(const SquareReader& reader) {
    RasterJob job{Plan.points, Options.sparseLimit, {}, Shares.threads};
    job.pointsOfWindow = Shares.points;
    // Half of what sorting may take can still be in use.
    job.memoryForPlanes = Shares.sorting / (Report.sorted ? 2 : 1);
    std::vector<NoDataChoice> choices;
    for (std::size_t f = 0; f < Plan.files.size(); ++f) {
        const PlannedFile& file = Plan.files[f];
        const PixelType type = FixedType.value_or(file.bands.front().type);
        const auto bits = rangeOfBits(type, describeType(type).name, Options.creationOptions);
        if (file.hasNoData && Options.nodata && bits && !bits->holds(*Options.nodata))
            throw UsageError("NBITS leaves no room for the nodata value " + exactNumber(*Options.nodata));
        choices.emplace_back(type, FixedType.has_value(), bits);
        for (std::size_t b = 0; b < file.bands.size(); ++b) {
            job.bands.push_back(file.bands[b].job);
            job.bands.back().file = f;
            job.bands.back().number = b;
        }
    }
    for (bool isDone = false; !isDone;) {
        Writers.clear();
        Descriptions.clear();
        for (std::size_t f = 0; f < Plan.files.size(); ++f) {
            Descriptions.push_back(describe(Plan.files[f], choices[f]));
            Writers.emplace_back(Paths[f], Descriptions.back(), Guard);
        }
        expectDistinct(allPlaces());
        FileSink sink(Writers, job.bands);
        Result = runJob(job, *Lattice, reader, Descriptions, sink, reportAs("rastering"));
        isDone = !moveNoData(choices);
    }
    noteTypes();
    noteCutCells(job);
}

/// Whether a cell with data has the value of those without in some file, and there is another one to try.
bool RasterRun::moveNoData(std::vector<NoDataChoice>& choices) const {
    bool hasMoved = false;
    for (std::size_t f = 0; f < choices.size(); ++f) {
        if (!Result.clashes[f].happened || Options.nodata)
            continue;
        const auto outcome = choices[f].avoid(Result.clashes[f], Result.filledCells == Lattice->cells());
        if (outcome == NoDataChoice::Outcome::Exhausted)
            throw OutputError(Paths[f].string() + ": the data leave no value of " +
                              describeType(choices[f].type()).name +
                              (choices[f].hasBits() ? " in so few bits (NBITS)" : "") +
                              " for cells without data; choose another --type, or a --nodata to share");
        hasMoved |= outcome == NoDataChoice::Outcome::Moved;
    }
    return hasMoved;
}

void RasterRun::noteTypes() {
    for (std::size_t f = 0; f < Plan.files.size(); ++f) {
        const PixelType planned = FixedType.value_or(Plan.files[f].bands.front().type);
        if (Descriptions[f].type != planned)
            Report.notes.push_back("all values of " + std::string(describeType(planned).name) +
                                   " are data, and cells without data need one; so " + Paths[f].string() +
                                   " has " + describeType(Descriptions[f].type).name);
        if (Result.clashes[f].happened && Options.nodata)
            Report.notes.push_back("cells with data have the nodata value " + exactNumber(*Options.nodata) +
                                   " in " + Paths[f].string());
    }
}

void RasterRun::noteCutCells(const RasterJob& job) {
    for (std::size_t b = 0; b < job.bands.size(); ++b) {
        const std::uint64_t cut = Result.cutCells[b];
        if (cut == 0)
            continue;
        const std::size_t f = job.bands[b].file;
        const PixelRange range = rangeOf(Descriptions[f].type);
        Report.notes.push_back(std::to_string(cut) + (cut == 1 ? " cell" : " cells") + " of the band " +
                               Plan.files[f].bands[job.bands[b].number].name + " had to be cut to " +
                               describeType(Descriptions[f].type).name + ", " + exactNumber(range.least) +
                               " to " + exactNumber(range.greatest));
    }
}

/// A driver would cut pixels to their bits without a word.
void RasterRun::checkBits(std::size_t f) const {
    const PixelType type = Descriptions[f].type;
    const auto bits = rangeOfBits(type, describeType(type).name, Options.creationOptions);
    for (std::size_t b = 0; bits && b < Plan.files[f].bands.size(); ++b) {
        const BandStatistics statistics = Writers[f].statistics(b);
        if (statistics.count != 0 && !(bits->holds(statistics.least) && bits->holds(statistics.greatest)))
            throw OutputError(Paths[f].string() + ": NBITS can't hold the band " +
                              Plan.files[f].bands[b].name + ", which has values from " +
                              exactNumber(statistics.least) + " to " + exactNumber(statistics.greatest));
    }
}

/// A file that changes meanwhile may make anything fail, so that is told first.
void RasterRun::rasterUnchangedCloud() {
    try {
        rasterFiles(*makeReader());
    } catch (const Interruption&) {
        throw;
    } catch (const Error&) {
        Cloud->checkUnchanged();
        throw;
    }
    Cloud->checkUnchanged();
}

/// A mean of classes is none.
bool hasClasses(const PlannedBand& band) {
    const std::string request = band.request.substr(band.request.find('=') + 1);
    return request.starts_with("Classification:") && !request.starts_with("Classification:Mean");
}

/// Nothing appears under its name before everything is complete.
void RasterRun::finish() {
    for (RasterWriter& writer : Writers) {
        writer.addMetadata("RASTERED_POINTS", std::to_string(Result.points));
        writer.close();
        checkBits(static_cast<std::size_t>(&writer - Writers.data()));
        if (!reportAs("finishing", "")(static_cast<std::uint64_t>(&writer - Writers.data()), Writers.size()))
            throw Interruption();
    }
    std::optional<PendingPreview> preview;
    if (!Options.preview.empty()) {
        const PlannedBand& band = Plan.files.front().bands.front();
        PreviewOptions picture;
        picture.relief = band.unit == "height";
        picture.classes = hasClasses(band);
        preview.emplace(Writers.front().hiddenPath(), picture, Options.preview, Guard);
    }
    finishAll(Writers, preview ? preview->folder() : nullptr);
}

void RasterRun::reportBands() {
    for (std::size_t f = 0; f < Plan.files.size(); ++f)
        for (std::size_t b = 0; b < Plan.files[f].bands.size(); ++b) {
            const PlannedBand& band = Plan.files[f].bands[b];
            BandReport report;
            report.name = band.name;
            report.path = Paths[f].string();
            report.request = band.request;
            report.unit = unitOf(band);
            report.type = describeType(FixedType.value_or(Plan.files[f].bands.front().type)).name;
            if (!Writers.empty()) {
                report.type = describeType(Descriptions[f].type).name;
                if (Descriptions[f].nodata)
                    report.nodata = asNumber(*Descriptions[f].nodata);
                const BandStatistics statistics = Writers[f].statistics(b);
                report.filled = statistics.count;
                report.filledHoles = statistics.filledHoles;
                if (statistics.count != 0) {
                    report.range = {{statistics.least, statistics.greatest}};
                    report.mean = statistics.mean;
                }
            }
            Report.bands.push_back(report);
        }
}

RasterReport RasterRun::run() {
    const auto start = std::chrono::steady_clock::now();
    open();
    plan();
    checkOutputs();
    Report.cloud = Cloud->name();
    Report.files = Cloud->sources().size();
    Report.points = Cloud->pointCount();
    Report.columns = Lattice->x().cells();
    Report.rows = Lattice->y().cells();
    Report.cell = {Lattice->x().cellSize(), Lattice->y().cellSize()};
    Report.extent = extentOf(*Lattice);
    Report.coordinateSystem = System;
    Report.threads = Shares.threads;
    Report.memory = Shares.working;
    Report.notes.insert(Report.notes.end(), Plan.notes.begin(), Plan.notes.end());
    for (const PlannedFile& file : Plan.files)
        Report.outputBytes += Lattice->cells() * file.bands.size() *
                              describeType(FixedType.value_or(file.bands.front().type)).bytes;
    Report.dryRun = Options.dryRun;
    if (!Options.dryRun) {
        rasterUnchangedCloud();
        if (Result.points == 0)
            Report.notes.emplace_back(Options.selection.empty()
                                          ? "no point lies within the bounds; all cells are empty"
                                          : "no point passes the selection; all cells are empty");
        finish();
        Report.rastered = Result.points;
        Report.filled = Result.filledCells;
    }
    reportBands();
    Report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return Report;
}

} // namespace

RasterReport runRaster(const RasterRequest& request, const RunProgress& progress) {
    return RasterRun(request, progress).run();
}

} // namespace Tilewright::Io
