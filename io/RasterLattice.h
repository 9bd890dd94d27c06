/// RasterLattice: where the cells of a raster file lie, and how they are dealt out to fragments.
///
/// The cells of the file are half-open: cell i of an axis holds [edge(i), edge(i + 1)), and all edges are
/// multiples of the cell size, moved by the shift. A coordinate within rounding error of an edge counts as
/// lying on it: decimal coordinates such as 0.30 and edges such as 3 * 0.1 are no exact doubles.
///
/// The library tells a cell by its centre, and rounding there drops a point that lies exactly half a cell
/// before a fragment's first node. So every fragment gets a rim of at least one cell around its own ones,
/// which stays empty and is cropped again.
#pragma once

#include <cstdint>

#include <tilewright/raster/layout.h>

namespace Tilewright::Io {

/// One horizontal axis.
class LatticeAxis {
public:
    /// Covers [low, high] with cells of size `cell`, the first edge at or below `low`. `shift` moves the
    /// edges, in cells. `fragments` is how many fragments are wanted; there are fewer where there are too few
    /// cells. Throws UsageError for a size or shift that is none, and InputError for
    /// what would be more than 2^31 - 1 cells or too fine for the digits of the coordinates.
    LatticeAxis(double low, double high, double cell, double shift, std::uint64_t fragments);

    std::uint64_t cells() const { return CellCount; }
    std::uint64_t fragments() const { return FragmentCount; }
    /// Cells of a fragment without its rim; the last fragment may reach beyond the raster.
    std::uint64_t cellsPerFragment() const { return PerFragment; }
    double cellSize() const { return Cell; }
    double edge(std::uint64_t i) const { return edgeAt(First + static_cast<double>(i)); }
    double centre(std::uint64_t i) const { return edgeAt(First + static_cast<double>(i) + 0.5); }

    /// The cell of a coordinate between low and high.
    std::uint64_t cellOf(double coordinate) const;

    /// The fragment that has the cell as its own. An axis has less than 2^31 cells, and 32 bits divide
    /// faster.
    std::uint64_t fragmentOf(std::uint64_t cell) const {
        return static_cast<std::uint32_t>(cell) / static_cast<std::uint32_t>(PerFragment);
    }

    /// Whether `coordinate` lies so far from all edges that no rounding can move it to another cell.
    bool isClear(double coordinate, std::uint64_t& cell) const {
        const double f = (coordinate - FirstEdge) * CellsPerUnit;
        const auto whole = static_cast<std::int64_t>(f);
        const double inCell = f - static_cast<double>(whole);
        cell = static_cast<std::uint64_t>(whole);
        return inCell > ClearOfEdges && inCell < 1.0 - ClearOfEdges;
    }

private:
    double edgeAt(double i) const { return (i + Shift) * Cell; }
    double edgeAtOrBelow(double coordinate) const;

    double Cell;
    double Shift;
    double Tolerance;
    double First;
    double FirstEdge;
    double CellsPerUnit;
    double ClearOfEdges;
    std::uint64_t CellCount;
    std::uint64_t FragmentCount;
    std::uint64_t PerFragment;
};

/// What the user asks for.
struct LatticeRequest {
    double cell = 1.0;
    double shiftX = 0.0;
    double shiftY = 0.0;
    std::uint64_t fragmentsX = 1;
    std::uint64_t fragmentsY = 1;
    /// Cells that neighbouring fragments share besides the rim, per axis.
    std::uint64_t overlap = 0;
};

class RasterLattice {
public:
    /// A place for a point: its fragment, its cell in the raster, and its coordinates, moved by a few units
    /// in the last place if that is what it takes for the library to find it in this cell.
    struct Place {
        std::uint64_t fragment;
        std::uint64_t cell;
        double x;
        double y;
    };

    /// Over the box from `low` to `high`. Throws as LatticeAxis does.
    RasterLattice(const Orrery::PhysicalSpace::point& low, const Orrery::PhysicalSpace::point& high,
                  const LatticeRequest& request);

    const LatticeAxis& x() const { return X; }
    const LatticeAxis& y() const { return Y; }
    std::uint64_t cells() const { return X.cells() * Y.cells(); }
    Quill::MultiIndex<3> fragmentCount() const { return {X.fragments(), Y.fragments(), 1}; }

    /// Cells of a fragment's arrays, rim included, and how many of them lie before the fragment's own cells.
    Quill::MultiIndex<3> arraySize() const { return CellCounts; }
    std::uint64_t rimBefore() const { return Overlap / 2; }

    /// The arguments with which the library makes this very lattice.
    Orrery::PhysicalSpace::vector wantedCellSize() const;
    Quill::MultiIndex<3> overlap() const { return {Overlap, Overlap, 0}; }

    /// A field of positions without data that carries the box from which the library makes this lattice.
    Quill::RegularFieldPtr positions() const { return Positions; }

    Place locate(double x, double y) const {
        std::uint64_t cellX;
        std::uint64_t cellY;
        if (X.isClear(x, cellX) && Y.isClear(y, cellY)) [[likely]]
            return {fragmentOf(cellX, cellY), cellY * X.cells() + cellX, x, y};
        return locateNearEdge(x, y);
    }

private:
    std::uint64_t fragmentOf(std::uint64_t cellX, std::uint64_t cellY) const {
        return Y.fragmentOf(cellY) * X.fragments() + X.fragmentOf(cellX);
    }
    Place locateNearEdge(double x, double y) const;
    double settle(std::size_t axis, std::uint64_t fragment, std::uint64_t cellInFragment,
                  double coordinate) const;

    LatticeAxis X;
    LatticeAxis Y;
    std::uint64_t Overlap;
    Quill::RegularFieldPtr Positions;
    Orrery::PhysicalSpace::vector CellSize;
    Orrery::PhysicalSpace::point Origin;
    Quill::MultiIndex<3> CellCounts;
};

} // namespace Tilewright::Io
