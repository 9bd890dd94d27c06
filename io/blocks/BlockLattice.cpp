#include <io/blocks/BlockLattice.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include <io/system/Errors.h>
#include <io/system/WideVectors.h>

namespace Tilewright::Io {

namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double mostCells = std::numeric_limits<std::int32_t>::max();

/// The shortest text that gives the number back.
std::string textOf(double number) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

/// Where the edges lie between two multiples of the cell size, in cells; decimal origins such as 0.3 on cells
/// of 0.1 are multiples.
double shiftOf(double origin, double cell) {
    const double shift = std::remainder(origin, cell) / cell;
    return std::fabs(shift) < 1e-9 ? 0.0 : shift;
}

void check(const LatticeAxis::Request& request) {
    if (!(request.cell > 0.0) || !std::isfinite(request.cell))
        throw UsageError("the cell size must be a positive number");
    if (!std::isfinite(request.origin))
        throw UsageError("the origin must be a number");
    if (request.bounds && !(std::isfinite((*request.bounds)[0]) && std::isfinite((*request.bounds)[1]) &&
                            (*request.bounds)[0] < (*request.bounds)[1]))
        throw UsageError("the bounds must be numbers, west before east and south before north");
}

} // namespace

LatticeAxis::LatticeAxis(const Request& request) : Cell(request.cell) {
    check(request);
    Shift = shiftOf(request.origin, Cell);
    const double low = request.bounds ? (*request.bounds)[0] : request.low;
    const double high = request.bounds ? (*request.bounds)[1] : request.high;
    const auto magnitude = [](double a, double b) { return std::max(std::fabs(a), std::fabs(b)); };
    // By the coordinates and the origin alone, so that two rasters of a cloud that meet at an edge agree
    // about it. What an origin far away leaves of its digits is what the edges have; as a multiple of the
    // cell size it moves none.
    const double originDigits = Shift == 0.0 ? 0.0 : 4.0 * epsilon * std::fabs(request.origin);
    Tolerance = 4.0 * epsilon * (request.low <= request.high ? magnitude(request.low, request.high) : 0.0) +
                originDigits;
    const double clear = 8.0 * std::max(Tolerance, epsilon * (4.0 * magnitude(low, high) + 258.0 * Cell));
    ClearShare = std::max(1e-6, 2.0 * clear / Cell);
    if (!((high - low) / Cell < mostCells))
        throw InputError("a cell size of " + textOf(Cell) +
                         " gives more than 2147483647 cells on an axis; choose a larger one");
    if (!(8.0 * originDigits < 0.125 * Cell))
        throw UsageError("an origin of " + textOf(request.origin) + " has too few digits for cells of " +
                         textOf(Cell));
    if (!(ClearShare < 0.25))
        throw InputError("cells of " + textOf(Cell) + " are too small for these coordinates, or too large");
    First = edgeAtOrBelow(low);
    const double last = edgeAtOrBelow(high);
    // The upper bound is outside; a coordinate on the last edge of all points begins one more cell.
    const bool endsOnEdge = request.bounds && std::fabs(high - edgeAt(last)) <= Tolerance;
    CellCount = static_cast<std::uint64_t>(last - First) + (endsOnEdge ? 0 : 1);
    FirstEdge = edgeAt(First);
    CellsPerUnit = 1.0 / Cell;
    Low = (request.bounds ? low : FirstEdge) - Tolerance;
    High = (request.bounds ? high : edge(static_cast<std::int64_t>(CellCount))) - Tolerance;
    EndsInCells = request.bounds.has_value();
}

double LatticeAxis::edgeAtOrBelow(double coordinate) const {
    const double i = coordinate / Cell - Shift;
    const double nearest = std::round(i);
    return std::fabs(coordinate - edgeAt(nearest)) <= Tolerance ? nearest : std::floor(i);
}

std::int64_t LatticeAxis::cellNearEdge(double coordinate) const {
    const auto last = static_cast<std::int64_t>(CellCount) - 1;
    return std::clamp(static_cast<std::int64_t>(edgeAtOrBelow(coordinate) - First), std::int64_t(0), last);
}

TILEWRIGHT_WIDE_VECTORS void LatticeAxis::locateAll(std::span<const double> coordinates, std::uint32_t* cells,
                                                    double* margins) const {
    const double firstEdge = FirstEdge;
    const double cellsPerUnit = CellsPerUnit;
    const auto end = static_cast<double>(CellCount);
    const double clear = ClearShare;
    const double room = 1.0 - ClearShare;
    for (std::size_t i = 0; i < coordinates.size(); ++i) {
        double f = (coordinates[i] - firstEdge) * cellsPerUnit;
        // What is outside, or not a number, is on the first edge or on the last one, and so not clear of it.
        f = f > 0.0 ? f : 0.0;
        f = f < end ? f : end;
        const auto cell = static_cast<std::int32_t>(f);
        const double inCell = f - static_cast<double>(cell);
        const double margin = inCell - clear < room - inCell ? inCell - clear : room - inCell;
        margins[i] = margin < margins[i] ? margin : margins[i];
        cells[i] = static_cast<std::uint32_t>(cell);
    }
    if (EndsInCells)
        lowerToEnds(coordinates, margins);
}

TILEWRIGHT_WIDE_VECTORS void LatticeAxis::lowerToEnds(std::span<const double> coordinates,
                                                      double* margins) const {
    const double low = Low;
    const double high = High;
    for (std::size_t i = 0; i < coordinates.size(); ++i) {
        const double coordinate = coordinates[i];
        const double margin = coordinate - low < high - coordinate ? coordinate - low : high - coordinate;
        margins[i] = margin < margins[i] ? margin : margins[i];
    }
}

bool LatticeAxis::cellsOf(double low, double high, std::int64_t& first, std::int64_t& last) const {
    if (!(high >= Low && low < High))
        return false;
    const auto end = static_cast<double>(CellCount) - 1.0;
    // Makes up for all rounding, and takes in what counts as lying on an edge.
    const double slack = 1e-3 + ClearShare;
    first = static_cast<std::int64_t>(std::clamp((low - FirstEdge) * CellsPerUnit - slack, 0.0, end));
    last = static_cast<std::int64_t>(std::clamp((high - FirstEdge) * CellsPerUnit + slack, 0.0, end));
    return true;
}

CellWindow BlockLattice::square(std::uint64_t side, std::uint64_t across, std::uint64_t down) const {
    const std::uint64_t column = across * side;
    const std::uint64_t northernRow = Y.cells() - down * side;
    const std::uint64_t rows = std::min(side, northernRow);
    return {column, northernRow - rows, std::min(side, X.cells() - column), rows};
}

CellWindow BlockLattice::windowOf(const BlockRectangle& blocks) const {
    const CellWindow first = square(blockSide, blocks.west, blocks.north);
    const CellWindow last = square(blockSide, blocks.east - 1, blocks.south - 1);
    // Blocks count from the north, and rows of cells from the south.
    return {first.column, last.row, last.column + last.columns - first.column,
            first.row + first.rows - last.row};
}

} // namespace Tilewright::Io
