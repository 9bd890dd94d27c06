/// BlockLattice: where the cells of a raster file lie, and the windows of cells in which it is made.
///
/// Cells are half-open: cell i of an axis holds [edge(i), edge(i + 1)), and all edges are multiples of the
/// cell size, moved by an origin. A coordinate within rounding error of an edge counts as lying on it:
/// decimal coordinates such as 0.30 and edges such as 3 * 0.1 are no exact doubles. Which cell a point is in
/// depends on the raster alone, whatever window it is worked on in.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include <io/records/PointSource.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// One horizontal axis.
class TILEWRIGHT_API LatticeAxis {
public:
    struct Request {
        /// Of the points of the cloud.
        double low = 0.0;
        double high = 0.0;
        double cell = 1.0;
        /// An edge goes through it.
        double origin = 0.0;
        /// What the raster is to span instead of all points: [first, second).
        std::optional<std::array<double, 2>> bounds;

        bool operator==(const Request&) const = default;
    };

    /// Throws UsageError for a cell size, an origin or bounds that are none, and InputError for what would be
    /// more than 2^31 - 1 cells or too fine for the digits of the coordinates.
    explicit LatticeAxis(const Request& request);

    std::uint64_t cells() const { return CellCount; }
    double cellSize() const { return Cell; }
    /// The lower edge of a cell; cells before the first one have negative numbers.
    double edge(std::int64_t cell) const { return edgeAt(First + static_cast<double>(cell)); }
    double centre(std::int64_t cell) const { return edgeAt(First + static_cast<double>(cell) + 0.5); }

    /// The cell of a coordinate; false if the raster doesn't reach there. What is not a number is nowhere.
    bool locate(double coordinate, std::int64_t& cell) const {
        if (!(coordinate >= Low && coordinate < High))
            return false;
        const double f = (coordinate - FirstEdge) * CellsPerUnit;
        cell = static_cast<std::int64_t>(f);
        const double inCell = f - static_cast<double>(cell);
        if (!(inCell > ClearShare && inCell < 1.0 - ClearShare)) [[unlikely]]
            cell = cellNearEdge(coordinate);
        return true;
    }

    /// The same for many coordinates at once, without branches, so that the compiler works on several at a
    /// time. `margins` become no greater than how clear a coordinate is of the edges of its cell and of the
    /// raster; where they are not above zero, the cell is open and locate() has to be asked.
    void locateAll(std::span<const double> coordinates, std::uint32_t* cells, double* margins) const;

    /// The first and last cell that a stretch of coordinates can reach; false if it misses the raster.
    bool cellsOf(double low, double high, std::int64_t& first, std::int64_t& last) const;

    /// Whether all coordinates from `low` to `high` are in the raster.
    bool holds(double low, double high) const { return low >= Low && high < High; }

private:
    /// Lowers margins to how clear the coordinates are of the ends of the raster.
    void lowerToEnds(std::span<const double> coordinates, double* margins) const;

    double edgeAt(double i) const { return (i + Shift) * Cell; }
    double edgeAtOrBelow(double coordinate) const;

    std::int64_t cellNearEdge(double coordinate) const;

    double Cell;
    double Shift;
    /// Within it of an edge a coordinate lies on the edge.
    double Tolerance;
    /// So far from an edge, in cells, no rounding takes a coordinate to another cell.
    double ClearShare;
    double First;
    double FirstEdge;
    double CellsPerUnit;
    /// Coordinates from Low to below High are in the raster.
    double Low;
    double High;
    /// Whether the raster may end within its first and last cells, and not at their edges.
    bool EndsInCells;
    std::uint64_t CellCount;
};

/// A rectangle of cells, counted from the south-western corner of the raster.
struct CellWindow {
    std::uint64_t column = 0;
    std::uint64_t row = 0;
    std::uint64_t columns = 0;
    std::uint64_t rows = 0;

    std::uint64_t cells() const { return columns * rows; }
};

/// Blocks from the north-western one of the raster, counted from 0; one after the last of each.
struct BlockRectangle {
    std::uint64_t west = 0;
    std::uint64_t north = 0;
    std::uint64_t east = 0;
    std::uint64_t south = 0;

    std::uint64_t across() const { return east - west; }
    std::uint64_t down() const { return south - north; }
    std::uint64_t count() const { return across() * down(); }

    bool operator==(const BlockRectangle&) const = default;
};

class TILEWRIGHT_API BlockLattice {
public:
    /// Cells along a side of a block. The blocks are the tiles of the file, so they are counted from its
    /// north-western corner; those at the eastern and southern rim are smaller.
    static constexpr std::uint64_t blockSide = 256;

    BlockLattice(const LatticeAxis::Request& x, const LatticeAxis::Request& y) : X(x), Y(y) {}

    const LatticeAxis& x() const { return X; }
    const LatticeAxis& y() const { return Y; }
    std::uint64_t cells() const { return X.cells() * Y.cells(); }
    CellWindow whole() const { return {0, 0, X.cells(), Y.cells()}; }

    std::uint64_t squaresAcross(std::uint64_t side) const { return (X.cells() + side - 1) / side; }
    std::uint64_t squaresDown(std::uint64_t side) const { return (Y.cells() + side - 1) / side; }
    /// Square number (across, down) of those with `side` cells along a side, from the north-western corner.
    CellWindow square(std::uint64_t side, std::uint64_t across, std::uint64_t down) const;

    BlockRectangle blocks() const { return {0, 0, squaresAcross(blockSide), squaresDown(blockSide)}; }
    /// The cells of blocks of the raster.
    CellWindow windowOf(const BlockRectangle& blocks) const;

private:
    LatticeAxis X;
    LatticeAxis Y;
};

} // namespace Tilewright::Io
