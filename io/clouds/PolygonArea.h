/// PolygonArea: which points lie in any of a set of polygons.
///
/// Points on the edges, those of holes included, are inside, and whether one is on an edge is decided
/// exactly: what GEOS says of "covers". A grid over the polygons knows of most of its cells that they lie
/// wholly inside or outside. In the others a point is compared with the few edges near it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <io/formats/PolygonFile.h>
#include <io/records/RecordFormat.h>

namespace Tilewright::Io {

/// Constant after construction, so that threads may share it.
class PolygonArea {
public:
    /// The rings of valid polygons: outlines anticlockwise and holes clockwise. Polygons may overlap.
    /// Coordinates are finite, and there is at least one ring.
    explicit PolygonArea(const std::vector<PolygonRing>& rings);

    const CoordinateBox& box() const { return Box; }
    bool covers(double x, double y) const;
    /// Sets to 0 what `passes` has for the points that are outside.
    void drop(const double* x, const double* y, std::size_t count, unsigned char* passes) const;

private:
    /// With the lower end first.
    struct Edge {
        double lowX, lowY, highX, highY;
        /// What it adds to the number of polygons that a point to its right lies in.
        int step;

        bool spans(double y) const { return lowY <= y && y < highY; }
        int sideOf(double x, double y) const;
    };
    /// Cells of a row, side by side, that edges run through.
    struct Run {
        /// How many polygons the cell before it lies in.
        int before;
        /// Among EdgesOfRuns.
        std::size_t firstEdge;
        std::size_t edges;
    };
    /// Of those of a run, ascending by the first column that they reach.
    struct EdgeOfRun {
        std::uint32_t column;
        std::uint32_t edge;
    };
    /// Of a row the first and last column that an edge reaches.
    struct Touch {
        std::uint32_t first;
        std::uint32_t last;
        std::uint32_t edge;
    };
    /// What a cell is, or from firstRun on the number of its run.
    static constexpr std::uint32_t outside = 0, inside = 1, firstRun = 2;

    std::size_t rowOf(double y) const { return placeOf(y - Box.low[1], RowsPerUnit, Rows); }
    std::size_t columnOf(double x) const { return placeOf(x - Box.low[0], ColumnsPerUnit, Columns); }
    bool coversIn(const Run& run, std::size_t column, double x, double y) const;
    /// The same as placeOf(), of many.
    static void findPlaces(const double* coordinates, std::size_t count, double low, double perUnit,
                           std::size_t end, std::uint32_t* places);
    static std::size_t placeOf(double distance, double perUnit, std::size_t count);
    void addEdges(const PolygonRing& ring);
    void layOut();
    std::vector<std::vector<Touch>> findTouches() const;
    Touch touchIn(std::size_t row, std::uint32_t edge) const;
    void makeRow(std::size_t row, std::vector<Touch>& touches);

    CoordinateBox Box;
    std::size_t Columns = 1;
    std::size_t Rows = 1;
    double ColumnsPerUnit = 0.0;
    double RowsPerUnit = 0.0;
    std::vector<std::uint32_t> Cells;
    std::vector<Run> Runs;
    std::vector<Edge> Edges;
    std::vector<EdgeOfRun> EdgesOfRuns;
};

} // namespace Tilewright::Io
