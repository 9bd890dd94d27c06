#include <io/clouds/PolygonArea.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include <io/clouds/ExactSign.h>

namespace Tilewright::Io {

int PolygonArea::Edge::sideOf(double x, double y) const {
    const double left = (highX - lowX) * (y - lowY);
    const double right = (highY - lowY) * (x - lowX);
    const double difference = left - right;
    // More than all roundings on the way can amount to.
    const double doubt = 4.0 * std::numeric_limits<double>::epsilon() * (std::fabs(left) + std::fabs(right));
    if (difference > doubt)
        return 1;
    return difference < -doubt ? -1 : exactSideOf({lowX, lowY}, {highX, highY}, {x, y});
}

PolygonArea::PolygonArea(const std::vector<PolygonRing>& rings) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    Box = {{infinity, infinity}, {-infinity, -infinity}};
    for (const PolygonRing& ring : rings)
        addEdges(ring);
    layOut();
}

void PolygonArea::addEdges(const PolygonRing& ring) {
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const auto& from = ring[i];
        const auto& to = ring[(i + 1) % ring.size()];
        for (std::size_t axis = 0; axis < 2; ++axis) {
            Box.low[axis] = std::min(Box.low[axis], from[axis]);
            Box.high[axis] = std::max(Box.high[axis], from[axis]);
        }
        // Anticlockwise, the inside is to the right of what goes down.
        if (from[1] <= to[1])
            Edges.push_back({from[0], from[1], to[0], to[1], -1});
        else
            Edges.push_back({to[0], to[1], from[0], from[1], 1});
    }
}

std::size_t PolygonArea::placeOf(double distance, double perUnit, std::size_t count) {
    const double place = distance * perUnit;
    return place >= 1.0 ? std::min(static_cast<std::size_t>(place), count - 1) : 0;
}

/// So many cells that edges run through few of them, as far as memory allows.
void PolygonArea::layOut() {
    constexpr double fewest = 1 << 16, most = 1 << 22, cellsPerTouch = 64.0;
    const double width = Box.high[0] - Box.low[0], height = Box.high[1] - Box.low[1];
    double length = 0.0;
    for (const Edge& edge : Edges)
        length += std::fabs(edge.highX - edge.lowX) + (edge.highY - edge.lowY);
    // Edges run through as many cells as they are long, in sides of cells.
    const double cells =
        width > 0.0 && height > 0.0
            ? std::clamp(length / width * (length / height) * cellsPerTouch * cellsPerTouch, fewest, most)
            : fewest;
    const double shape = width > 0.0 && height > 0.0 ? width / height : 1.0;
    const double across = std::clamp(std::sqrt(cells * shape), 1.0, cells);
    Columns = width > 0.0 ? static_cast<std::size_t>(across) : 1;
    Rows = height > 0.0 ? static_cast<std::size_t>(std::max(cells / across, 1.0)) : 1;
    ColumnsPerUnit = width > 0.0 ? static_cast<double>(Columns) / width : 0.0;
    RowsPerUnit = height > 0.0 ? static_cast<double>(Rows) / height : 0.0;
    Cells.assign(Columns * Rows, outside);
    std::vector<std::vector<Touch>> touches = findTouches();
    for (std::size_t row = 0; row < Rows; ++row)
        makeRow(row, touches[row]);
}

std::vector<std::vector<PolygonArea::Touch>> PolygonArea::findTouches() const {
    std::vector<std::vector<Touch>> touches(Rows);
    for (std::size_t e = 0; e < Edges.size(); ++e)
        for (std::size_t row = rowOf(Edges[e].lowY); row <= rowOf(Edges[e].highY); ++row)
            touches[row].push_back(touchIn(row, static_cast<std::uint32_t>(e)));
    return touches;
}

/// The columns with a part of the edge that lies in the row, or next to it by no more than roundings.
PolygonArea::Touch PolygonArea::touchIn(std::size_t row, std::uint32_t number) const {
    constexpr double share = 0.01, digits = 8.0 * std::numeric_limits<double>::epsilon();
    const auto slack = [&](std::size_t axis, double perUnit) {
        const double cell = perUnit > 0.0 ? share / perUnit : 0.0;
        return cell + digits * std::max(std::fabs(Box.low[axis]), std::fabs(Box.high[axis]));
    };
    const Edge& edge = Edges[number];
    double from = edge.lowX, to = edge.highX;
    if (edge.highY > edge.lowY) {
        const auto at = [&](double y) {
            const double share = (y - edge.lowY) / (edge.highY - edge.lowY);
            return edge.lowX + std::clamp(share, 0.0, 1.0) * (edge.highX - edge.lowX);
        };
        const double more = slack(1, RowsPerUnit);
        from = at(Box.low[1] + static_cast<double>(row) / RowsPerUnit - more);
        to = at(Box.low[1] + static_cast<double>(row + 1) / RowsPerUnit + more);
    }
    const double more = slack(0, ColumnsPerUnit);
    return {static_cast<std::uint32_t>(columnOf(std::min(from, to) - more)),
            static_cast<std::uint32_t>(columnOf(std::max(from, to) + more)), number};
}

/// Goes along the row from outside, past one run of cells after the other.
void PolygonArea::makeRow(std::size_t row, std::vector<Touch>& touches) {
    std::ranges::sort(touches, {}, &Touch::first);
    const double middle = Box.low[1] + (static_cast<double>(row) + 0.5) / RowsPerUnit;
    int polygons = 0;
    std::size_t column = 0;
    std::uint32_t* const cells = Cells.data() + row * Columns;
    const auto fillTo = [&](std::size_t end) {
        for (; column < end; ++column)
            cells[column] = polygons > 0 ? inside : outside;
    };
    for (std::size_t t = 0; t < touches.size();) {
        fillTo(touches[t].first);
        Run run{polygons, EdgesOfRuns.size(), 0};
        const auto number = static_cast<std::uint32_t>(Runs.size() + firstRun);
        for (; t < touches.size() && touches[t].first <= column; ++t) {
            const Edge& edge = Edges[touches[t].edge];
            EdgesOfRuns.push_back({touches[t].first, touches[t].edge});
            polygons += edge.spans(middle) ? edge.step : 0;
            for (; column <= touches[t].last; ++column)
                cells[column] = number;
        }
        run.edges = EdgesOfRuns.size() - run.firstEdge;
        Runs.push_back(run);
    }
    fillTo(Columns);
}

bool PolygonArea::covers(double x, double y) const {
    const std::size_t column = columnOf(x);
    const std::uint32_t cell = Cells[rowOf(y) * Columns + column];
    return cell < firstRun ? cell == inside : coversIn(Runs[cell - firstRun], column, x, y);
}

/// A cell at the rim of the grid is outside or one of a run, so that what lies beyond comes here, or is
/// outside anyhow.
bool PolygonArea::coversIn(const Run& run, std::size_t column, double x, double y) const {
    if (!(x >= Box.low[0] && x <= Box.high[0] && y >= Box.low[1] && y <= Box.high[1]))
        return false;
    int polygons = run.before;
    for (std::size_t e = run.firstEdge; e < run.firstEdge + run.edges; ++e) {
        // All that follow are farther to the right.
        if (EdgesOfRuns[e].column > column)
            break;
        const Edge& edge = Edges[EdgesOfRuns[e].edge];
        const auto [left, right] = std::minmax(edge.lowX, edge.highX);
        if (y < edge.lowY || y > edge.highY || x < left)
            continue;
        const int side = x > right ? -1 : edge.sideOf(x, y);
        if (side == 0)
            return true;
        if (side < 0 && edge.spans(y))
            polygons += edge.step;
    }
    return polygons > 0;
}

/// First all places, without branches, and then what the cells there are.
void PolygonArea::drop(const double* x, const double* y, std::size_t count, unsigned char* passes) const {
    constexpr std::size_t atATime = 256;
    std::array<std::uint32_t, atATime> columns;
    std::array<std::uint32_t, atATime> rows;
    const auto across = static_cast<std::uint32_t>(Columns);
    const std::uint32_t* const cells = Cells.data();
    for (std::size_t first = 0; first < count; first += atATime) {
        const std::size_t n = std::min(atATime, count - first);
        findPlaces(x + first, n, Box.low[0], ColumnsPerUnit, Columns, columns.data());
        findPlaces(y + first, n, Box.low[1], RowsPerUnit, Rows, rows.data());
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint32_t cell = cells[rows[i] * across + columns[i]];
            unsigned isIn = cell & 1U;
            if (cell >= firstRun)
                isIn = coversIn(Runs[cell - firstRun], columns[i], x[first + i], y[first + i]) ? 1 : 0;
            passes[first + i] &= static_cast<unsigned char>(isIn);
        }
    }
}

void PolygonArea::findPlaces(const double* coordinates, std::size_t count, double low, double perUnit,
                             std::size_t end, std::uint32_t* places) {
    const auto last = static_cast<double>(end - 1);
    for (std::size_t i = 0; i < count; ++i) {
        double place = (coordinates[i] - low) * perUnit;
        place = place > 0.0 ? place : 0.0;
        place = place < last ? place : last;
        places[i] = static_cast<std::uint32_t>(static_cast<std::int32_t>(place));
    }
}

} // namespace Tilewright::Io
