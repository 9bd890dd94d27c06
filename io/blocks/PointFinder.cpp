#include <io/blocks/PointFinder.h>

#include <algorithm>
#include <numeric>

namespace Tilewright::Io {

namespace {

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
        Positions.resize(3 * count);
    }
    std::size_t found = findCandidates(layout.format, records, count);
    found = dropUnselected(layout.format, records, found);
    if (found == count)
        decodePositions(layout.format, records, count, Positions.data());
    else
        decodePositionsAt(layout.format, records, std::span(Ordinals.data(), found), Positions.data());
    found = keepInWindow(found);
    Found = {&layout, records, std::span(Ordinals.data(), found), Positions.data()};
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

std::size_t PointFinder::keepInWindow(std::size_t found) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < found; ++i) {
        double* const xyz = Positions.data() + 3 * i;
        std::int64_t column;
        std::int64_t row;
        // Cells before the window become large numbers.
        if (!Lattice.x().locate(xyz[0], column) ||
            static_cast<std::uint64_t>(column) - Window.column >= Window.columns ||
            !Lattice.y().locate(xyz[1], row) || static_cast<std::uint64_t>(row) - Window.row >= Window.rows)
            continue;
        Columns[kept] = static_cast<std::uint32_t>(static_cast<std::uint64_t>(column) - Window.column);
        Rows[kept] = static_cast<std::uint32_t>(static_cast<std::uint64_t>(row) - Window.row);
        if (kept != i) {
            Ordinals[kept] = Ordinals[i];
            std::copy_n(xyz, 3, Positions.data() + 3 * kept);
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
