#include <io/runs/RunLattice.h>

#include <algorithm>
#include <cmath>

#include <io/gdal/CoordinateSystem.h>
#include <io/system/Errors.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

/// "X Y", with enough digits for any coordinate.
std::string cornerText(const std::array<double, 2>& corner) {
    return roundedNumber(corner[0], 12) + " " + roundedNumber(corner[1], 12);
}

LatticeAxis::Request axisOf(const RasterRequest& request, const PointBounds& bounds, std::size_t axis) {
    LatticeAxis::Request wanted;
    wanted.low = bounds.low[axis];
    wanted.high = bounds.high[axis];
    wanted.cell = request.cell[axis];
    wanted.origin = request.origin[axis] + std::fmod(request.shift[axis], 1.0) * request.cell[axis];
    if (request.bounds)
        wanted.bounds = {{(*request.bounds)[axis], (*request.bounds)[axis + 2]}};
    return wanted;
}

CoordinateBox sharedBox(CoordinateBox box, const CoordinateBox& other) {
    for (std::size_t axis = 0; axis < 2; ++axis) {
        box.low[axis] = std::max(box.low[axis], other.low[axis]);
        box.high[axis] = std::min(box.high[axis], other.high[axis]);
    }
    return box;
}

/// The bounds of the cloud as far as there are polygons.
PointBounds withinClip(PointBounds bounds, const RunInput& input) {
    const CoordinateBox shared =
        sharedBox({{bounds.low[0], bounds.low[1]}, {bounds.high[0], bounds.high[1]}}, input.clip->box());
    if (shared.low[0] > shared.high[0] || shared.low[1] > shared.high[1])
        throw InputError(input.cloud->name() + " has no points near the polygons, which lie between " +
                         cornerText(input.clip->box().low) + " and " + cornerText(input.clip->box().high));
    std::ranges::copy(shared.low, bounds.low.begin());
    std::ranges::copy(shared.high, bounds.high.begin());
    return bounds;
}

/// The request with the cells of another raster.
RasterRequest withCellsOf(const RasterGeometry& like, RasterRequest request) {
    const auto width = static_cast<double>(like.width), height = static_cast<double>(like.height);
    const double south = like.north - height * like.pixelHeight;
    request.cell = {like.pixelWidth, like.pixelHeight};
    request.origin = {like.west, like.north};
    request.bounds = {{like.west, south, like.west + width * like.pixelWidth, like.north}};
    return request;
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

} // namespace

LatticeRequests latticeRequests(const RasterRequest& request, const RunInput& input,
                                const PointBounds& bounds) {
    if (!input.like && !request.bounds && input.clip) {
        const PointBounds part = withinClip(bounds, input);
        return {axisOf(request, part, 0), axisOf(request, part, 1)};
    }
    if (!input.like)
        return {axisOf(request, bounds, 0), axisOf(request, bounds, 1)};
    const RasterRequest like = withCellsOf(*input.like, request);
    return {settled(axisOf(like, bounds, 0)), settled(axisOf(like, bounds, 1))};
}

std::optional<CoordinateBox> windowOf(const RasterRequest& request, const RunInput& input) {
    const RasterRequest cells = input.like ? withCellsOf(*input.like, request) : request;
    std::optional<CoordinateBox> window;
    if (cells.bounds) {
        const auto& [west, south, east, north] = *cells.bounds;
        window = {{west, south}, {east, north}};
    }
    if (input.clip)
        window = window ? sharedBox(*window, input.clip->box()) : input.clip->box();
    for (std::size_t axis = 0; window && axis < 2; ++axis) {
        window->low[axis] -= cells.cell[axis];
        window->high[axis] += cells.cell[axis];
    }
    return window;
}

std::array<double, 4> extentOf(const BlockLattice& lattice) {
    return {lattice.x().edge(0), lattice.y().edge(0),
            lattice.x().edge(static_cast<std::int64_t>(lattice.x().cells())),
            lattice.y().edge(static_cast<std::int64_t>(lattice.y().cells()))};
}

void checkLattice(const BlockLattice& lattice, const RasterRequest& request, const RunInput& input) {
    if (input.like && (lattice.x().cells() != input.like->width || lattice.y().cells() != input.like->height))
        throw InputError(request.like + ": its cells are too small for its coordinates");
    constexpr double mostCellsPerPoint = 1000.0;
    constexpr double alwaysFine = 1e7;
    const PointCloud& cloud = *input.cloud;
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

std::optional<std::string> noteOnBounds(const BlockLattice& lattice, const RasterRequest& request,
                                        const RunInput& input) {
    if (!request.bounds || input.like)
        return std::nullopt;
    const std::array<double, 4> extent = extentOf(lattice);
    const std::array<double, 4>& bounds = *request.bounds;
    bool isOff = false;
    for (std::size_t i = 0; i < extent.size(); ++i)
        isOff |= std::fabs(extent[i] - bounds[i]) > 1e-6 * request.cell[i % 2];
    if (!isOff)
        return std::nullopt;
    std::string note = "the bounds do not lie on edges of cells, so that the raster spans";
    for (const double edge : extent)
        note.append(" ").append(roundedNumber(edge, 15));
    note.append("; --origin ").append(exactNumber(bounds[0])).append(" ").append(exactNumber(bounds[1]));
    return note + " would put edges on the first two of them";
}

} // namespace Tilewright::Io
