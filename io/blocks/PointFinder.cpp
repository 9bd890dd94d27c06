#include <io/blocks/PointFinder.h>

#include <algorithm>
#include <limits>
#include <numeric>

namespace Tilewright::Io {

namespace {

/// No raster has so many columns or rows.
constexpr std::uint32_t outside = std::numeric_limits<std::uint32_t>::max();

/// All coordinates that cells of the window can have, and some more.
CoordinateBox boxOf(const BlockLattice& lattice, const CellWindow& window) {
    const auto low = [](const LatticeAxis& axis, std::uint64_t first) {
        return axis.edge(static_cast<std::int64_t>(first)) - 0.02 * axis.cellSize();
    };
    return {{low(lattice.x(), window.column), low(lattice.y(), window.row)},
            {low(lattice.x(), window.column + window.columns) + 0.04 * lattice.x().cellSize(),
             low(lattice.y(), window.row + window.rows) + 0.04 * lattice.y().cellSize()}};
}

} // namespace

PointFinder::PointFinder(const BlockLattice& lattice, const CellWindow& window,
                         const std::optional<CloudSelection>& selection)
    : Lattice(lattice), Window(window), Box(boxOf(lattice, window)),
      IsWhole(window.cells() == lattice.cells()), Test(selection) {}

const FoundPoints& PointFinder::find(const RecordLayout& layout, const std::byte* records,
                                     std::size_t count) {
    if (Ordinals.size() < count) {
        Ordinals.resize(count);
        Columns.resize(count);
        Rows.resize(count);
        Margins.resize(count);
        for (std::vector<double>& axis : Coordinates)
            axis.resize(count);
    }
    std::size_t found = findCandidates(layout.format, records, count);
    found = dropUnselected(layout.format, records, found);
    decode(layout.format, records, count, found);
    if (!locate(found) || !IsWhole)
        found = keepInWindow(found);
    Found = {&layout,
             records,
             std::span(Ordinals.data(), found),
             {Coordinates[0].data(), Coordinates[1].data(), Coordinates[2].data()}};
    return Found;
}

std::size_t PointFinder::findCandidates(const RecordFormat& format, const std::byte* records,
                                        std::size_t count) {
    if (!IsWhole)
        return findInBox(format, records, count, Box, Ordinals.data());
    std::iota(Ordinals.begin(), Ordinals.begin() + static_cast<std::ptrdiff_t>(count), 0U);
    return count;
}

std::size_t PointFinder::dropUnselected(const RecordFormat& format, const std::byte* records,
                                        std::size_t found) {
    if (found == 0 || !Test.isNeeded())
        return found;
    const unsigned char* const passes = Test(format, records, Ordinals[found - 1] + std::size_t(1));
    std::size_t kept = 0;
    for (std::size_t k = 0; k < found; ++k) {
        Ordinals[kept] = Ordinals[k];
        kept += passes[Ordinals[k]];
    }
    return kept;
}

void PointFinder::decode(const RecordFormat& format, const std::byte* records, std::size_t count,
                         std::size_t found) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::span<double> values(Coordinates[axis].data(), found);
        if (found == count)
            decodeField(format, format.coordinates[axis], records, values);
        else
            decodeFieldAt(format, format.coordinates[axis], records, std::span(Ordinals.data(), found),
                          values);
    }
}

/// Finds column and row in the raster; those of a point outside are `outside`. Gives whether none is.
bool PointFinder::locate(std::size_t found) {
    bool areInside = true;
    std::fill_n(Margins.begin(), found, 1.0);
    Lattice.x().locateAll(std::span(Coordinates[0].data(), found), Columns.data(), Margins.data());
    Lattice.y().locateAll(std::span(Coordinates[1].data(), found), Rows.data(), Margins.data());
    for (std::size_t i = 0; i < found; ++i) {
        if (Margins[i] > 0.0) [[likely]]
            continue;
        std::int64_t column;
        std::int64_t row;
        const bool isInside =
            Lattice.x().locate(Coordinates[0][i], column) && Lattice.y().locate(Coordinates[1][i], row);
        Columns[i] = isInside ? static_cast<std::uint32_t>(column) : outside;
        Rows[i] = isInside ? static_cast<std::uint32_t>(row) : outside;
        areInside &= isInside;
    }
    return areInside;
}

/// Leaves out what lies elsewhere. Gives the number of points that are left.
std::size_t PointFinder::keepInWindow(std::size_t found) {
    const auto column = static_cast<std::uint32_t>(Window.column);
    const auto row = static_cast<std::uint32_t>(Window.row);
    const auto columns = static_cast<std::uint32_t>(Window.columns);
    const auto rows = static_cast<std::uint32_t>(Window.rows);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < found; ++i) {
        // Cells before the window become large numbers.
        Columns[kept] = Columns[i] - column;
        Rows[kept] = Rows[i] - row;
        if (Columns[kept] >= columns || Rows[kept] >= rows)
            continue;
        if (kept != i) {
            Ordinals[kept] = Ordinals[i];
            for (std::vector<double>& axis : Coordinates)
                axis[kept] = axis[i];
        }
        ++kept;
    }
    return kept;
}

void PointFinder::appendCells(std::vector<std::uint32_t>& cells) const {
    const std::size_t size = cells.size();
    const std::size_t found = Found.ordinals.size();
    cells.resize(size + found);
    const auto across = static_cast<std::uint32_t>(Window.columns);
    for (std::size_t i = 0; i < found; ++i)
        cells[size + i] = Rows[i] * across + Columns[i];
}

} // namespace Tilewright::Io
