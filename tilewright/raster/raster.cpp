#include <tilewright/raster/raster.h>

#include <cmath>

#include <tilewright/model/BoundingBox.h>
#include <tilewright/model/RegularlyFragmentedGrid.h>
#include <tilewright/model/addInfoToGrid.h>
#include <tilewright/raster/FragmentWalk.h>
#include <tilewright/raster/VertexMeans.h>
#include <tilewright/raster/layout.h>
#include <tilewright/raster/positions.h>
#include <tilewright/raster/rasterWithCellSkeleton.h>
#include <tilewright/raster/rasterise.h>
#include <tilewright/raster/requests.h>

namespace Tilewright {

namespace {

using Orrery::PhysicalSpace::vector;

std::string inBraces(const vector& v) { return std::to_string(v, "{", "}", ","); }

std::string composeReport(const std::vector<std::string>& requests, const vector& wantedCellSize,
                          const Quill::MultiIndex<3>& overlap, const vector& cellShift) {
    std::string joined;
    for (const std::string& request : requests)
        joined += (&request == requests.data() ? "" : ",") + request;
    return "Modus: " + joined + "\n" + "WantedCellSize: " + inBraces(wantedCellSize) + "\n" +
           "Overlap: " + std::to_string(overlap) + "\n" + "CellShift: " + inBraces(cellShift) + "\n";
}

double squaredLength(const vector& v) { return v[0] * v[0] + v[1] * v[1] + v[2] * v[2]; }

/// Where a cloud goes.
struct Target {
    Quill::Grid& Grid;
    Quill::Representation& Output;
};

/// Everything from the positions of the raster on.
std::string rasterInto(const Target& target, const Quill::Grid& InGrid, const Lattice& lattice,
                       const Modus& modus, const RasterOptions& options, bool isSilent) {
    const RegularFieldPtr inputPositions = InGrid.CartesianPositions();
    makePositions(inputPositions, target.Output, lattice, isSilent);
    const RegularFieldPtr outputPositions = target.Output.findField("Positions");
    Quill::RegularlyFragmentedGrid<3>::create(target.Grid, outputPositions);
    if (std::string failure = createFragmentedOtherFields(
            target.Output, lattice, InGrid.getCartesianRepresentation(""), modus, options);
        !failure.empty())
        return failure;

    if (!outputPositions)
        return " Could no create OutPositionsF. Maybe In-File not fragmented?";
    Quill::BoundingBoxPtr box;
    Quill::expandBoundingBox(outputPositions, box);
    if (!box)
        return " Could no create GlobalBBox. Maybe In-File not fragmented?";
    return {};
}

std::string parseAllRequests(const std::vector<std::string>& requests, Modus& modus) {
    return requests.empty() ? "Have no parse string" : parseRequests(requests, modus);
}

} // namespace

std::string checkRequests(const std::vector<std::string>& requests, const std::string& selection) {
    Modus modus;
    if (std::string failure = parseAllRequests(requests, modus); !failure.empty() || selection.empty())
        return failure;
    std::vector<std::string> parts;
    if (std::string failure = cutSelection(selection, parts); !failure.empty())
        return failure;
    if (Orrery::isRangeExpression(parts[0]))
        return {};
    parts.clear();
    return cutSelection(selection + "@", parts);
}

std::string raster(const Quill::Grid& InGrid, Quill::Grid& OutGrid, const std::vector<std::string>& requests,
                   const vector& wantedCellSize, const Quill::MultiIndex<3>& overlap, const vector& cellShift,
                   const bool& withAlpha, const bool& heightOnly, const std::string& selection,
                   const unsigned& sparseLimit, const ProgressPtr& progress) {
    if (squaredLength(wantedCellSize) < 1e-6)
        return "Cell size is too small";
    Modus modus;
    if (std::string failure = parseAllRequests(requests, modus); !failure.empty())
        return failure;

    Quill::Representation& output = OutGrid.makeCartesianRepresentation(3, "", 0);
    Retort::Commonplace::addInfoToGrid(composeReport(requests, wantedCellSize, overlap, cellShift), OutGrid,
                                       "PointCloudToRaster", Quill::GridPtr(), 0, 1);
    const RegularFieldPtr inputPositions = InGrid.CartesianPositions();
    if (!inputPositions)
        return "raster::Warning! Have no In-Positions Field. ";

    Lattice lattice;
    lattice.fragmentCount = inputPositions->FragmentCount;
    lattice.overlap = overlap;
    // A cloud without an extent is no failure by itself: the later steps report what comes of it.
    static_cast<void>(layOutLattice(inputPositions, wantedCellSize, cellShift, lattice));
    return rasterInto({.Grid = OutGrid, .Output = output}, InGrid, lattice, modus,
                      {.withAlpha = withAlpha,
                       .heightOnly = heightOnly,
                       .selection = selection,
                       .sparseLimit = sparseLimit,
                       .progress = progress},
                      false);
}

std::string rasterOnLattice(const Quill::Grid& InGrid, Quill::Grid& OutGrid,
                            const std::vector<std::string>& requests, const Lattice& lattice,
                            const RasterOptions& options) {
    Modus modus;
    if (std::string failure = parseAllRequests(requests, modus); !failure.empty())
        return failure;
    if (!RegularFieldPtr(InGrid.CartesianPositions()))
        return "raster::Warning! Have no In-Positions Field. ";
    Quill::Representation& output = OutGrid.makeCartesianRepresentation(3, "", 0);
    return rasterInto({.Grid = OutGrid, .Output = output}, InGrid, lattice, modus, options, true);
}

namespace {

/// What the second entry point does not ask its caller for, and the resulting lattice.
struct SkeletonLayout {
    RegularFieldPtr inputPositions;
    /// Of no fragments without input positions, which leaves nothing to walk over.
    Lattice lattice;
    /// Empty, or why there is no lattice.
    std::string failure;

    explicit SkeletonLayout(const Quill::Grid& InGrid) : inputPositions(InGrid.CartesianPositions()) {
        if (inputPositions)
            lattice.fragmentCount = inputPositions->FragmentCount;
        lattice.overlap = {3, 3, 3};
        failure = layOutLattice(inputPositions, {0.5, 0.5, 0.0}, {}, lattice);
    }
};

Quill::Representation& vertexRepresentation(Quill::Grid& grid) {
    Quill::Skeleton& vertices = grid[Quill::SkeletonID(1, 0)];
    return vertices[grid.makeCartesianChart("", 0)];
}

Quill::Representation& cellRepresentation(Quill::Grid& grid) {
    const Quill::BaseSpaceWeakPtr vertices = &grid[Quill::SkeletonID(1, 0)];
    return grid[Quill::SkeletonID(3, 1)][vertices];
}

} // namespace

std::string rasterWithCellSkeleton(const Quill::Grid& InGrid, Quill::Grid& OutGrid) {
    Quill::Representation& vertices = vertexRepresentation(OutGrid);
    const SkeletonLayout layout(InGrid);
    makePositions(layout.inputPositions, vertices, layout.lattice);
    Quill::RegularlyFragmentedGrid<3>::create(OutGrid, vertices.findField("Positions"));
    Quill::Representation& cells = cellRepresentation(OutGrid);
    const Quill::RepresentationPtr input = InGrid.getCartesianRepresentation("");
    if (!input)
        return "Have no getCartesianRepresentation for In-File";
    const Modus modus = {{"Positions", {directionZ, filterMean}}};
    // The result of the walk is ignored: the means are made of whatever it left.
    static_cast<void>(createFragmentedOtherFields(cells, layout.lattice, input, modus, {}));
    makeVertexMeans(cells, vertices, layout.lattice.fragmentCount, layout.lattice.cellCounts);
    return {};
}

std::string prepareCellSkeleton(const Quill::Grid& InGrid, Quill::Grid& OutGrid) {
    const SkeletonLayout layout(InGrid);
    if (!layout.failure.empty())
        return layout.failure;
    makePositions(layout.inputPositions, cellRepresentation(OutGrid), layout.lattice);
    return {};
}

Cloud::Cloud(std::vector<Point> points) {
    Data->makeCartesianRepresentation(3, "", 0)["Positions"] =
        Larder::Ref<Quill::RegularlyFragmentedField<3>>(Quill::MultiIndex<3>(1, 1, 1), "RegularFragment");
    add("Positions", std::move(points));
}

std::size_t Cloud::size() const {
    const RegularFieldPtr positions = Data->CartesianPositions();
    return Quill::getData(positions->findCreator({}))->nElements();
}

Cloud& Cloud::addArray(const std::string& name, const Quill::ArrayPtr& values) {
    const RegularFieldPtr field =
        provideField(Data->makeCartesianRepresentation(3, "", 0), name, Data->CartesianPositions());
    storeData(*field, values, field->getFragmentID({}));
    return *this;
}

Quill::ArrayPtr Raster::arrayOf(const std::string& field) const {
    const Quill::RepresentationPtr fields = Data->getCartesianRepresentation("");
    const RegularFieldPtr found = fields ? fields->findField(field) : Quill::Field::NullPtrField();
    return found ? Quill::getData(found->findCreator({})) : Quill::ArrayPtr();
}

namespace {

/// Lays out one fragment whose cells hold the box of the cloud, from the first node on. Gives the empty text,
/// or why there is no such lattice.
std::string coverCloud(const Cloud& cloud, const RasterSettings& settings, Lattice& lattice) {
    const Quill::BoundingBoxPtr box = Quill::getBoundingBox(*cloud.grid().CartesianPositions());
    if (!box)
        return "the cloud has no points";
    lattice.origin = settings.firstNode.value_or(box->at(0));
    lattice.fragmentCount = {1, 1, 1};
    lattice.cellCounts = {1, 1, 1};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double size = settings.cellSize[axis];
        if (!(size >= 0.0 && std::isfinite(size)))
            return "the size of a cell has to be a number from 0 on";
        lattice.cellSize[axis] = size;
        if (size == 0.0)
            continue;
        // The last node is the one nearest to the end of the box.
        const double last = std::floor((box->at(1)[axis] - lattice.origin[axis]) / size + 0.5);
        constexpr double mostCells = 4294967296.0;
        if (!(last < mostCells))
            return "the cloud reaches too far for cells of this size";
        lattice.cellCounts[axis] = last < 0.0 ? 1 : static_cast<unsigned long long>(last) + 1;
    }
    return {};
}

} // namespace

Raster rasterise(const Cloud& cloud, const RasterSettings& settings) {
    Raster result;
    const Larder::ConsoleSink sink(settings.warn);
    result.failure = checkRequests(settings.requests, settings.selection);
    if (result.failure.empty())
        result.failure = coverCloud(cloud, settings, result.lattice);
    if (!result.failure.empty())
        return result;
    Modus modus;
    static_cast<void>(parseRequests(settings.requests, modus));
    cloud.grid().getCartesianRepresentation("")->iterate(
        [&](const Quill::FieldID& identifier, const Quill::Field&) {
            modus.try_emplace(identifier.name, DirectionAndFilter{directionAll, filterSkip});
            return true;
        });
    Quill::Representation& output = result.Data->makeCartesianRepresentation(3, "", 0);
    result.failure = rasterInto(
        {.Grid = *result.Data, .Output = output}, cloud.grid(), result.lattice, modus,
        {.selection = settings.selection, .sparseLimit = settings.sparseLimit, .progress = {}}, true);
    return result;
}

} // namespace Tilewright
