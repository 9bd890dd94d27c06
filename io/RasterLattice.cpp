#include <io/RasterLattice.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include <io/Errors.h>
#include <tilewright/model/BoundingBox.h>

namespace Tilewright::Io {

namespace {

using Orrery::PhysicalSpace::point;
using Orrery::PhysicalSpace::vector;

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double mostCells = std::numeric_limits<std::int32_t>::max();

/// The shortest text that gives the number back.
std::string textOf(double number) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

[[noreturn]] void failTooSmall(double cell) {
    throw InputError("cells of " + textOf(cell) + " are too small for these coordinates, or too large");
}

std::uint64_t dividedRoundingUp(std::uint64_t a, std::uint64_t b) { return (a + b - 1) / b; }

} // namespace

LatticeAxis::LatticeAxis(double low, double high, double cell, double shift, std::uint64_t fragments)
    : Cell(cell), Shift(std::fmod(shift, 1.0)),
      Tolerance(4.0 * epsilon * std::max(std::fabs(low), std::fabs(high))), CellsPerUnit(1.0 / cell) {
    if (!(cell > 0.0) || !std::isfinite(cell))
        throw UsageError("the cell size must be a positive number");
    if (!std::isfinite(shift))
        throw UsageError("the shift must be a number");
    if (!((high - low) / cell < mostCells))
        throw InputError("a cell size of " + textOf(cell) +
                         " gives more than 2147483647 cells on an axis; choose a larger one");
    if (!(8.0 * Tolerance < cell))
        failTooSmall(cell);
    First = edgeAtOrBelow(low);
    FirstEdge = edgeAt(First);
    ClearOfEdges = std::max(1e-6, 8.0 * Tolerance / cell);
    CellCount = static_cast<std::uint64_t>(edgeAtOrBelow(high) - First) + 1;
    PerFragment = dividedRoundingUp(CellCount, std::clamp<std::uint64_t>(fragments, 1, CellCount));
    FragmentCount = dividedRoundingUp(CellCount, PerFragment);
}

double LatticeAxis::edgeAtOrBelow(double coordinate) const {
    const double i = coordinate / Cell - Shift;
    const double nearest = std::round(i);
    return std::fabs(coordinate - edgeAt(nearest)) <= Tolerance ? nearest : std::floor(i);
}

std::uint64_t LatticeAxis::cellOf(double coordinate) const {
    return static_cast<std::uint64_t>(edgeAtOrBelow(coordinate) - First);
}

RasterLattice::RasterLattice(const point& low, const point& high, const LatticeRequest& request)
    : X(low[0], high[0], request.cell, request.shiftX, request.fragmentsX),
      Y(low[1], high[1], request.cell, request.shiftY, request.fragmentsY), Overlap(request.overlap + 2),
      Positions(Larder::Ref<Quill::RegularlyFragmentedField<3>>(fragmentCount(), "RegularFragment")) {
    // The library spans its lattice from the first node to as many cells further as all fragments have.
    const auto span = [](const LatticeAxis& axis) {
        return static_cast<double>(axis.fragments() * axis.cellsPerFragment()) * axis.cellSize();
    };
    const point firstNode(X.centre(0), Y.centre(0), low[2]);
    const point lastNode(firstNode[0] + span(X), firstNode[1] + span(Y), low[2]);
    Positions->addInterface(Larder::Ref<Orrery::BoundingBox>(firstNode, lastNode));
    prepareUniformLayout(Positions, wantedCellSize(), CellSize, overlap(), fragmentCount(), Origin,
                         CellCounts, {});
    if (CellCounts != Quill::MultiIndex<3>(X.cellsPerFragment() + Overlap, Y.cellsPerFragment() + Overlap, 1))
        failTooSmall(request.cell);
}

vector RasterLattice::wantedCellSize() const {
    // A little less than the cell size: the library rounds the number of cells down, and up to a quarter of a
    // cell more on the whole fragment keeps rounding errors from costing one.
    const auto wanted = [](const LatticeAxis& axis) {
        const auto n = static_cast<double>(axis.cellsPerFragment());
        return axis.cellSize() * n / (n + 0.25);
    };
    // The box is flat and asks for no layers. The library refuses cells that are tiny on all three axes,
    // which those of a cloud in degrees may well be.
    return {wanted(X), wanted(Y), 1.0};
}

RasterLattice::Place RasterLattice::locateNearEdge(double x, double y) const {
    const std::uint64_t cellX = X.cellOf(x);
    const std::uint64_t cellY = Y.cellOf(y);
    const std::uint64_t inFragmentX = cellX % X.cellsPerFragment();
    const std::uint64_t inFragmentY = cellY % Y.cellsPerFragment();
    return {fragmentOf(cellX, cellY), cellY * X.cells() + cellX,
            settle(0, X.fragmentOf(cellX), inFragmentX, x), settle(1, Y.fragmentOf(cellY), inFragmentY, y)};
}

double RasterLattice::settle(std::size_t axis, std::uint64_t fragment, std::uint64_t cellInFragment,
                             double coordinate) const {
    // The library's own arithmetic, so that what is true here is true there.
    const std::uint64_t lowOverlap = fragment == 0 ? 0 : Overlap;
    const auto offset = static_cast<double>((CellCounts[axis] - lowOverlap) * fragment);
    const double start = Origin[axis] + offset * CellSize[axis];
    const auto wanted = static_cast<double>(cellInFragment + rimBefore());
    const double towards = start + wanted * CellSize[axis] > coordinate ? 1.0 : -1.0;
    double settled = coordinate;
    for (double step = std::max(std::fabs(coordinate), CellSize[axis]) * epsilon; step < CellSize[axis];
         step *= 2.0) {
        if (std::round((settled - start) / CellSize[axis]) == wanted)
            return settled;
        settled = coordinate + towards * step;
    }
    failTooSmall(CellSize[axis]);
}

} // namespace Tilewright::Io
