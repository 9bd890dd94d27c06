#include <io/clouds/PolygonArea.h>

#include <algorithm>
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
    constexpr double fewest = 1 << 14, most = 1 << 22, cellsPerTouch = 12.0;
    const double width = Box.high[0] - Box.low[0], height = Box.high[1] - Box.low[1];
    double length = 0.0;
    for (const Edge& edge : Edges)
        length += std::fabs(edge.highX - edge.lowX) + (edge.highY - edge.lowY);
    // Edges run through as many cells as they are long, in sides of cells.
    const double cells = std::clamp(length * length / (width * height) * cellsPerTouch * cellsPerTouch,
                                    fewest, width > 0.0 && height > 0.0 ? most : fewest);
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

/// The columns with a part of the edge that lies in the row, and one more on either side for roundings.
PolygonArea::Touch PolygonArea::touchIn(std::size_t row, std::uint32_t number) const {
    const Edge& edge = Edges[number];
    double from = edge.lowX, to = edge.highX;
    if (edge.highY > edge.lowY) {
        const auto at = [&](double y) {
            const double share = (y - edge.lowY) / (edge.highY - edge.lowY);
            return edge.lowX + std::clamp(share, 0.0, 1.0) * (edge.highX - edge.lowX);
        };
        from = at(Box.low[1] + (static_cast<double>(row) - 0.01) / RowsPerUnit);
        to = at(Box.low[1] + (static_cast<double>(row) + 1.01) / RowsPerUnit);
    }
    const std::size_t first = columnOf(std::min(from, to));
    const std::size_t last = std::min(columnOf(std::max(from, to)) + 1, Columns - 1);
    return {static_cast<std::uint32_t>(first - (first > 0 ? 1 : 0)), static_cast<std::uint32_t>(last),
            number};
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
            EdgesOfRuns.push_back(touches[t].edge);
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
    if (!(x >= Box.low[0] && x <= Box.high[0] && y >= Box.low[1] && y <= Box.high[1]))
        return false;
    const std::uint32_t cell = Cells[rowOf(y) * Columns + columnOf(x)];
    if (cell < firstRun)
        return cell == inside;
    const Run& run = Runs[cell - firstRun];
    int polygons = run.before;
    for (std::size_t e = run.firstEdge; e < run.firstEdge + run.edges; ++e) {
        const Edge& edge = Edges[EdgesOfRuns[e]];
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

void PolygonArea::drop(const double* x, const double* y, std::size_t count, unsigned char* passes) const {
    for (std::size_t i = 0; i < count; ++i)
        if (!covers(x[i], y[i]))
            passes[i] = 0;
}

} // namespace Tilewright::Io
