#include "RasterCommand.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <numeric>
#include <optional>
#include <unistd.h>

#include <io/CloudGrid.h>
#include <io/GridRaster.h>
#include <tilewright/filters/vocabulary.h>
#include <tilewright/raster/raster.h>
#include <tilewright/values/MultiRange.h>
#include <tilewright/values/StringUtil.h>

#include "Progress.h"

namespace Tilewright::App {

namespace {

namespace fs = std::filesystem;
using Orrery::PhysicalSpace::point;

constexpr std::array<const char*, 3> companions = {"CellType", "Density", "Alpha"};

bool isCompanion(const std::string& request) {
    return std::ranges::find(companions, request) != companions.end();
}

std::string fieldOf(const std::string& request) { return splitAtColon(request, ':').front(); }

bool isSkipped(const std::string& request) { return splitAtColon(request, ':')[1] == "Skip"; }

/// What is to be done, in the terms of the library.
struct Plan {
    std::vector<std::string> requests;
    /// Fields of the file to load.
    std::vector<const Io::LasField*> fields;
    /// Further names for "Positions" and loaded fields, one for each further request: a request has a field
    /// of its own.
    std::vector<std::pair<std::string, std::string>> aliases;
    /// Fields of the output that become bands, in the order in which they were asked for.
    std::vector<std::string> bands;
    bool withAlpha = false;
    Io::CloudSelection selection;
};

/// The library's own word on a request: it parses before it looks at any data.
void checkRequest(const std::string& request) {
    const Larder::Ref<Quill::Grid> none;
    const Larder::Ref<Quill::Grid> nothing;
    const std::string answer =
        raster(*none, *nothing, {request}, {1.0, 1.0, 0.0}, {}, {}, false, false, "", 0, nullptr);
    if (answer == "Wrong input: ")
        throw Io::UsageError("the request '" + request + "' is not of the form FIELD:FILTER:DIRECTION");
    if (answer.starts_with("Unknown"))
        throw Io::UsageError("the request '" + request + "' can't be read: " + answer);
}

void addBand(Plan& plan, const std::string& band) {
    if (std::ranges::find(plan.bands, band) == plan.bands.end())
        plan.bands.push_back(band);
}

const Io::LasField* requireField(const Io::LasFile& file, const RasterOptions& options,
                                 const std::string& name) {
    if (const Io::LasField* const field = file.findField(name))
        return field;
    std::string known = "Positions";
    for (const Io::LasField& field : file.fields())
        known += ", " + field.name;
    throw Io::InputError(options.input + " has no field '" + name + "'; it has " + known);
}

void addField(Plan& plan, const Io::LasField* field) {
    if (std::ranges::find(plan.fields, field) == plan.fields.end())
        plan.fields.push_back(field);
}

Io::CloudSelection parseSelection(const Io::LasFile& file, const RasterOptions& options) {
    std::vector<std::string> parts;
    splitAtAnyOf(options.selection.data(), options.selection.size(), parts, "@");
    if (parts.size() != 2)
        throw Io::UsageError("the selection '" + options.selection +
                             "' is not of the form RANGES@FIELD, for example 2,9@Classification");
    // Its own complaint about a bad text goes to the standard output, and says no more than this.
    const QuietStandardOutput quiet;
    // The library takes a word for 0.
    const bool hasWords = parts[0].find_first_not_of("0123456789.+-eE:;, ") != std::string::npos;
    if (hasWords || Larder::Ref<Orrery::MultiRange<double>>(parts[0])->empty())
        throw Io::UsageError("the selection '" + options.selection + "' names no range of values");
    return {requireField(file, options, parts[1]), parts[0]};
}

/// A second request for a field becomes a band named Height-Max, or Height-Max-Zdir if there is one already,
/// over the same data.
void addFurtherRequest(Plan& plan, const Io::LasFile& file, const std::string& field, const std::string& band,
                       const std::string& request) {
    const std::vector<std::string> parts = splitAtColon(request, ':');
    const auto isTaken = [&](const std::string& name) {
        return file.findField(name) || std::ranges::find(plan.bands, name) != plan.bands.end();
    };
    std::string name = band + "-" + parts[1];
    if (isTaken(name))
        name += "-" + parts[2];
    if (isTaken(name))
        throw Io::UsageError("the name of the band " + name +
                             " is taken; leave one of the requests for it out");
    plan.aliases.emplace_back(field, name);
    plan.requests.push_back(name + ":" + parts[1] + ":" + parts[2]);
    plan.bands.push_back(name);
}

Plan makePlan(const Io::LasFile& file, const RasterOptions& options) {
    Plan plan;
    bool hasHeights = false;
    for (const std::string& request : options.requests) {
        if (std::ranges::count(options.requests, request) > 1)
            throw Io::UsageError("the request '" + request + "' is there twice");
        if (isCompanion(request)) {
            addBand(plan, request);
            plan.withAlpha |= request == "Alpha";
            continue;
        }
        const std::string name = fieldOf(request);
        if (isSkipped(request)) {
            if (name != "Positions")
                requireField(file, options, name);
            continue;
        }
        if (name == "Height" || isCompanion(name))
            throw Io::UsageError("the field '" + name +
                                 "' can't be rastered: a band of the program's own has its name");
        const std::string band = name == "Positions" ? "Height" : name;
        if (name != "Positions")
            addField(plan, requireField(file, options, name));
        if (std::ranges::find(plan.bands, band) == plan.bands.end()) {
            plan.requests.push_back(request);
            plan.bands.push_back(band);
            hasHeights |= name == "Positions";
        } else {
            addFurtherRequest(plan, file, name, band, request);
        }
    }
    if (options.alpha) {
        addBand(plan, "Alpha");
        plan.withAlpha = true;
    }
    if (!options.selection.empty()) {
        plan.selection = parseSelection(file, options);
        // The library reduces every field that it is given; the one that only selects is loaded and skipped.
        if (std::ranges::find(plan.fields, plan.selection.field) == plan.fields.end())
            plan.requests.push_back(plan.selection.field->name + ":Skip:All");
        addField(plan, plan.selection.field);
    }
    // The companions tell empty cells from others, and come with the heights.
    if (!hasHeights)
        plan.requests.emplace_back("Positions:Mean:Zdir");
    if (plan.bands.empty())
        throw Io::UsageError("no band is asked for");
    return plan;
}

/// The box of all points.
Io::LasBounds requireBounds(const Io::LasFile& file, const std::string& input, ProgressBar& bar) {
    constexpr std::uint64_t blockSize = 1 << 20;
    std::optional<Io::LasBounds> all;
    for (std::uint64_t first = 0; first < file.pointCount(); first += blockSize) {
        if (!bar.show("measuring", first, file.pointCount()))
            throw Io::Interruption();
        const auto block = file.bounds(first, std::min(blockSize, file.pointCount() - first));
        all = all ? all : block;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            all->low[axis] = std::min(all->low[axis], block->low[axis]);
            all->high[axis] = std::max(all->high[axis], block->high[axis]);
        }
    }
    if (!all)
        throw Io::InputError(input + " has no points");
    return *all;
}

/// So many cells on a side keep a fragment's lists within the processor's caches, and an interruption prompt.
constexpr double cellsOnSide = 512.0;
/// More fragments cost more than they bring.
constexpr double mostFragmentsOnSide = 128.0;

std::uint64_t chooseFragments(double extent, double cell) {
    return static_cast<std::uint64_t>(
        std::fmin(std::fmax(std::ceil(extent / cell / cellsOnSide), 1.0), mostFragmentsOnSide));
}

Io::RasterLattice makeLattice(const RasterOptions& options, const Io::LasBounds& bounds) {
    Io::LatticeRequest request = options.lattice;
    const auto& [low, high] = bounds;
    if (options.chooseFragments) {
        request.fragmentsX = chooseFragments(high[0] - low[0], request.cell);
        request.fragmentsY = chooseFragments(high[1] - low[1], request.cell);
    }
    return {point(low[0], low[1], low[2]), point(high[0], high[1], high[2]), request};
}

/// Refuses a raster that the machine has no memory for, before any of it is allocated.
void checkMemory(const RasterOptions& options, const Io::LasFile& file, const Io::RasterLattice& lattice,
                 const Plan& plan) {
    const double physical =
        static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    const auto points = static_cast<double>(file.pointCount());
    const double bytesPerPoint = sizeof(point) + 8.0 * static_cast<double>(plan.fields.size());
    // Besides the counts, only fragments with points have cells: the companions, and up to 8 bytes a request,
    // but whole points for those of whole positions.
    const auto wholes = std::ranges::count_if(plan.requests, [](const std::string& request) {
        return request.ends_with(":All") &&
               (request.starts_with("Positions:") || request.starts_with("Height-"));
    });
    const double bytesPerCell =
        4.0 + 8.0 * static_cast<double>(plan.requests.size()) + 16.0 * static_cast<double>(wholes);
    // Lists and ordinals of the one fragment that is worked on.
    const double bytesPerWorkingCell = sizeof(std::vector<unsigned>) + sizeof(std::uint32_t);
    constexpr double bytesPerFragment = 6000.0;
    const double cells = static_cast<double>(lattice.x().cells()) * static_cast<double>(lattice.y().cells());
    const auto fragments = static_cast<double>(lattice.fragmentCount().product());
    const double fragmentCells =
        static_cast<double>(lattice.arraySize()[0]) * static_cast<double>(lattice.arraySize()[1]);
    const double needed = points * bytesPerPoint + cells * sizeof(std::uint32_t) +
                          std::min(fragments, points) * fragmentCells * bytesPerCell +
                          fragmentCells * bytesPerWorkingCell + fragments * bytesPerFragment;
    if (needed < 0.9 * physical)
        return;
    const auto inGigabytes = [](double bytes) {
        return std::to_string(static_cast<long long>(bytes / 1e9) + 1) + " GB";
    };
    throw Io::InputError("cells of this size make " + std::to_string(lattice.x().cells()) + " x " +
                         std::to_string(lattice.y().cells()) + " cells over " + options.input +
                         ", which take about " + inGigabytes(needed) + " of memory, and this machine has " +
                         inGigabytes(physical) + "; choose a larger --cell");
}

void checkOutputFolder(const std::string& output) {
    const fs::path parent = fs::path(output).parent_path();
    const fs::path folder = parent.empty() ? fs::path(".") : parent;
    std::error_code ignored;
    if (output.empty() || fs::is_directory(output, ignored))
        throw Io::UsageError("the output '" + output + "' needs the name of a file");
    if (!fs::is_directory(folder, ignored))
        throw Io::OutputError(output + ": there is no folder " + folder.string());
    if (access(folder.c_str(), W_OK) != 0)
        throw Io::OutputError(output + ": the folder " + folder.string() + " can't be written");
}

/// Gives a field of the cloud one more name. The creators are shared, and with them the data.
void addAlias(Quill::Grid& cloud, const std::string& field, const std::string& alias) {
    Quill::Representation& fields = *cloud.getCartesianRepresentation("");
    const Quill::RegularFieldPtr source = fields.findField(field);
    const Larder::Ref<Quill::RegularlyFragmentedField<3>> copy(*source);
    copy->Creators = source->Creators;
    fields[alias] = copy;
}

Quill::GridPtr rasterCloud(const Io::CloudGrid& cloud, const Io::RasterLattice& lattice, const Plan& plan,
                           const RasterOptions& options, ProgressBar& bar) {
    const Larder::Ref<Quill::Grid> result;
    const Larder::Ref<FragmentProgress> progress(bar);
    const QuietStandardOutput quiet;
    for (const auto& [field, alias] : plan.aliases)
        addAlias(*cloud.grid, field, alias);
    const std::string failure =
        raster(*cloud.grid, *result, plan.requests, lattice.wantedCellSize(), lattice.overlap(), {},
               plan.withAlpha, false, options.selection, options.sparseLimit, progress);
    if (failure == "Interrupted")
        throw Io::Interruption();
    if (!failure.empty())
        throw Io::Error(failure);
    return result;
}

struct WrittenBand {
    Io::RasterBand band;
    fs::path path;
    Io::BandSummary summary;
};

std::vector<Io::RasterBand> selectBands(const Io::GridRaster& grid, const Plan& plan) {
    std::vector<Io::RasterBand> bands;
    for (const std::string& name : plan.bands)
        for (Io::RasterBand& band : grid.bandsOf(name)) {
            band.isMasked = !isCompanion(name);
            bands.push_back(band);
        }
    return bands;
}

/// Writes every band to a file of its own; the files appear when all of them are complete.
std::vector<WrittenBand> writeBands(const Io::GridRaster& grid, const Plan& plan,
                                    const RasterOptions& options, const std::string& wkt, ProgressBar& bar) {
    const std::vector<Io::RasterBand> bands = selectBands(grid, plan);
    std::vector<WrittenBand> written;
    std::vector<Io::GeoTiffWriter> writers;
    for (const Io::RasterBand& band : bands) {
        if (!bar.show("writing", written.size(), bands.size()))
            throw Io::Interruption();
        WrittenBand next{band, Io::bandFileName(options.output, band.name, bands.size()), {}};
        if (std::error_code ignored; fs::equivalent(next.path, options.input, ignored))
            throw Io::OutputError(next.path.string() + " is the input; choose another name for the output");
        for (const WrittenBand& earlier : written)
            if (earlier.path == next.path)
                throw Io::OutputError("the bands " + earlier.band.name + " and " + band.name +
                                      " would both be written to " + next.path.string());
        writers.push_back(grid.writeBand(band, next.path, wkt, next.summary));
        written.push_back(next);
    }
    Io::finishAll(writers);
    return written;
}

void printSummary(const RasterOptions& options, const Io::LasFile& file, const Io::RasterLattice& lattice,
                  const std::vector<std::uint32_t>& counts, const std::vector<WrittenBand>& bands,
                  double seconds) {
    const auto filled = std::ranges::count_if(counts, [](std::uint32_t count) { return count != 0; });
    const double share = 100.0 * static_cast<double>(filled) / static_cast<double>(counts.size());
    const std::uint64_t counted = std::accumulate(counts.begin(), counts.end(), std::uint64_t(0));
    std::cout << options.input << ": " << file.pointCount() << " points, ";
    if (!options.selection.empty())
        std::cout << counted << " of them selected, ";
    std::cout << "every one of them in its cell\n"
              << lattice.x().cells() << " x " << lattice.y().cells() << " cells of " << options.lattice.cell
              << ", " << filled << " filled (" << share << " %)\n";
    for (const WrittenBand& written : bands) {
        std::cout << written.path.string() << ": " << written.band.name;
        if (written.summary.filled == 0)
            std::cout << ", no cell with data";
        else if (written.summary.least > written.summary.greatest)
            std::cout << ", no values but NaN";
        else
            std::cout << ", " << written.summary.least << " to " << written.summary.greatest;
        if (written.band.isMasked && !written.summary.hasNoData)
            std::cout << ", no value is free for nodata, empty cells are 0";
        std::cout << "\n";
    }
    std::cout << seconds << " s" << std::endl;
}

} // namespace

void runRaster(const RasterOptions& options) {
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& request : options.requests)
        if (!isCompanion(request))
            checkRequest(request);
    checkOutputFolder(options.output);
    const Io::LasFile file(options.input);
    const Plan plan = makePlan(file, options);
    ProgressBar bar;
    const Io::LasBounds bounds = requireBounds(file, options.input, bar);
    const Io::RasterLattice lattice = makeLattice(options, bounds);
    checkMemory(options, file, lattice, plan);

    const Io::CloudGrid cloud = Io::loadCloud(
        file, plan.fields, plan.selection, lattice,
        [&](std::uint64_t done, std::uint64_t total) { return bar.show("reading", done, total); });
    const Io::GridRaster grid(rasterCloud(cloud, lattice, plan, options, bar), lattice);
    if (const std::string difference = grid.compareCounts(cloud.counts, options.sparseLimit);
        !difference.empty())
        throw Io::Error("the counts don't add up: " + difference +
                        "; nothing was written, please report this");
    const std::vector<WrittenBand> bands = writeBands(grid, plan, options, file.coordinateSystem(), bar);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    printSummary(options, file, lattice, cloud.counts, bands, elapsed.count());
}

} // namespace Tilewright::App
