#include <tilewright/raster/raster.h>

#include <tilewright/model/BoundingBox.h>
#include <tilewright/model/RegularlyFragmentedGrid.h>
#include <tilewright/model/addInfoToGrid.h>
#include <tilewright/raster/CompanionFields.h>
#include <tilewright/raster/FragmentWalk.h>
#include <tilewright/raster/layout.h>
#include <tilewright/raster/positions.h>
#include <tilewright/raster/rasterWithCellSkeleton.h>
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

} // namespace

std::string raster(const Quill::Grid& InGrid, Quill::Grid& OutGrid, const std::vector<std::string>& requests,
                   const vector& wantedCellSize, const Quill::MultiIndex<3>& overlap, const vector& cellShift,
                   const bool& withAlpha, const bool& heightOnly, const std::string& selection,
                   const unsigned& sparseLimit, const ProgressPtr& progress) {
    if (squaredLength(wantedCellSize) < 1e-6)
        return "Cell size is too small";
    if (requests.empty())
        return "Have no parse string";
    Modus modus;
    if (std::string failure = parseRequests(requests, modus); !failure.empty())
        return failure;

    Quill::Representation& output = OutGrid.makeCartesianRepresentation(3, "", 0);
    Retort::Commonplace::addInfoToGrid(composeReport(requests, wantedCellSize, overlap, cellShift), OutGrid,
                                       "PointCloudToRaster", Quill::GridPtr(), 0, 1);
    const RegularFieldPtr inputPositions = InGrid.CartesianPositions();
    if (!inputPositions)
        return "raster::Warning! Have no In-Positions Field. ";

    vector cellSize;
    point origin;
    Quill::MultiIndex<3> cellCounts;
    const Quill::MultiIndex<3> FragmentCount = inputPositions->FragmentCount;
    // A cloud without an extent is no failure of its own: the later steps tell what comes of it.
    static_cast<void>(prepareUniformLayout(inputPositions, wantedCellSize, cellSize, overlap, FragmentCount,
                                           origin, cellCounts, cellShift));
    createFragmentedPositions(inputPositions, output, origin, cellSize, cellCounts, FragmentCount, overlap);
    const RegularFieldPtr outputPositions = output.findField("Positions");
    Quill::RegularlyFragmentedGrid<3>::create(OutGrid, outputPositions);
    if (std::string failure = createFragmentedOtherFields(
            output, cellCounts, FragmentCount, InGrid.getCartesianRepresentation(""), modus, withAlpha,
            heightOnly, selection, sparseLimit, progress);
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

namespace {

/// What the second entry point does not ask its caller for, and the lattice that comes of it.
struct SkeletonLayout {
    const vector wantedCellSize{0.5, 0.5, 0.0};
    const Quill::MultiIndex<3> overlap{3, 3, 3};
    const vector cellShift;

    RegularFieldPtr inputPositions;
    /// Zero without input positions, which leaves nothing to walk over.
    Quill::MultiIndex<3> FragmentCount;
    vector cellSize;
    point origin;
    Quill::MultiIndex<3> cellCounts;
    /// Empty, or why there is no lattice.
    std::string failure;

    explicit SkeletonLayout(const Quill::Grid& InGrid) : inputPositions(InGrid.CartesianPositions()) {
        if (inputPositions)
            FragmentCount = inputPositions->FragmentCount;
        failure = prepareUniformLayout(inputPositions, wantedCellSize, cellSize, overlap, FragmentCount,
                                       origin, cellCounts, cellShift);
    }

    void createPositions(Quill::Representation& output) const {
        createFragmentedPositions(inputPositions, output, origin, cellSize, cellCounts, FragmentCount,
                                  overlap);
    }
};

Quill::Representation& vertexRepresentation(Quill::Grid& grid) {
    Quill::Skeleton& vertices = grid[Quill::SkeletonID(1, 0)];
    return vertices[grid.makeCartesianChart("", 0)];
}

Quill::Representation& cellRepresentation(Quill::Grid& grid) {
    const Quill::BaseSpaceRef vertices = &grid[Quill::SkeletonID(1, 0)];
    return grid[Quill::SkeletonID(3, 1)][vertices];
}

} // namespace

std::string rasterWithCellSkeleton(const Quill::Grid& InGrid, Quill::Grid& OutGrid) {
    Quill::Representation& vertices = vertexRepresentation(OutGrid);
    const SkeletonLayout layout(InGrid);
    layout.createPositions(vertices);
    Quill::RegularlyFragmentedGrid<3>::create(OutGrid, vertices.findField("Positions"));
    Quill::Representation& cells = cellRepresentation(OutGrid);
    const Quill::RepresentationPtr input = InGrid.getCartesianRepresentation("");
    if (!input)
        return "Have no getCartesianRepresentation for In-File";
    const Modus modus = {{"Positions", {directionZ, filterMean}}};
    // What the walk says is not told: the companions are made of whatever it left.
    static_cast<void>(createFragmentedOtherFields(cells, layout.cellCounts, layout.FragmentCount, input,
                                                  modus, false, false, "", 0, nullptr));
    makeCompanionFields(cells, vertices, layout.FragmentCount, layout.cellCounts);
    return {};
}

std::string prepareCellSkeleton(const Quill::Grid& InGrid, Quill::Grid& OutGrid) {
    const SkeletonLayout layout(InGrid);
    if (!layout.failure.empty())
        return layout.failure;
    layout.createPositions(cellRepresentation(OutGrid));
    return {};
}

} // namespace Tilewright
