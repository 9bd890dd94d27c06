#include <io/blocks/NearbyReduction.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Tilewright::Io {

/// Of the points near a centre.
class NearbyReduction::Sums {
public:
    void take(double squaredDistance, double value, const Statistic& wanted) {
        ++Count;
        // Relative to the radius, so that powers do not overflow.
        const double nearness = wanted.number * wanted.number / squaredDistance;
        const double weight = wanted.power == 2.0 ? nearness : std::pow(nearness, wanted.power / 2.0);
        if (squaredDistance == 0.0 || std::isinf(weight)) {
            ++CountAtCentre;
            AtCentre += value;
        } else {
            Weights += weight;
            Weighted += weight * value;
        }
    }

    void add(const Sums& other) {
        Count += other.Count;
        CountAtCentre += other.CountAtCentre;
        AtCentre += other.AtCentre;
        Weights += other.Weights;
        Weighted += other.Weighted;
    }

    double result(unsigned sparseLimit) const {
        if (Count <= sparseLimit)
            return noResult();
        return CountAtCentre != 0 ? AtCentre / static_cast<double>(CountAtCentre) : Weighted / Weights;
    }

private:
    std::uint64_t Count = 0;
    std::uint64_t CountAtCentre = 0;
    double AtCentre = 0.0;
    double Weights = 0.0;
    double Weighted = 0.0;
};

namespace {

using Sums = NearbyReduction::Sums;

/// Of memory, which the points of a window have at least.
constexpr std::uint64_t bytesOfPoint = 64;

/// Points with what a mean needs to know of each.
struct NearbyPoints {
    std::span<const double> x;
    std::span<const double> y;
    std::span<const double> values;
};

NearbyPoints pointsOf(const PointTable& table) {
    const auto& columns = table.columns();
    return {valuesOf<double>(*columns[0]), valuesOf<double>(*columns[1]), valuesOf<double>(*columns[2])};
}

/// Centres of the cells of a window.
std::vector<double> centresOf(const LatticeAxis& axis, std::uint64_t first, std::uint64_t count) {
    std::vector<double> centres(count);
    for (std::uint64_t i = 0; i < count; ++i)
        centres[i] = axis.centre(static_cast<std::int64_t>(first + i));
    return centres;
}

/// Cells from `first` to before `end`.
struct CellRange {
    std::uint64_t first;
    std::uint64_t end;
};

/// The cells of a window that a point in a cell may reach.
CellRange reached(std::uint64_t cell, std::uint64_t reach, std::uint64_t first, std::uint64_t count) {
    const std::uint64_t low = cell > reach ? cell - reach : 0;
    return {std::clamp(low, first, first + count), std::clamp(cell + reach + 1, first, first + count)};
}

std::uint64_t reachOf(double radius, const LatticeAxis& axis) {
    return static_cast<std::uint64_t>(std::min(radius / axis.cellSize() + 0.5, 2.0 * mostCellsReached)) + 1;
}

CellWindow expanded(const CellWindow& window, std::uint64_t reachX, std::uint64_t reachY,
                    const BlockLattice& lattice) {
    const CellRange columns = {window.column - std::min(window.column, reachX),
                               std::min(window.column + window.columns + reachX, lattice.x().cells())};
    const CellRange rows = {window.row - std::min(window.row, reachY),
                            std::min(window.row + window.rows + reachY, lattice.y().cells())};
    return {columns.first, rows.first, columns.end - columns.first, rows.end - rows.first};
}

} // namespace

NearbyReduction::NearbyReduction(const RasterJob& job, const BlockLattice& lattice,
                                 const SquareReader& reader, GoOn goOn)
    : Job(job), Lattice(lattice), Reader(reader), Watch(std::move(goOn)) {
    for (std::size_t r = 0; r < job.plan.reductions.size(); ++r) {
        const ReductionPlan::Reduction& reduction = job.plan.reductions[r];
        if (reduction.statistic.kind != Statistic::Kind::InverseDistance)
            continue;
        ReductionPlan plan = job.plan;
        PointColumn values = job.plan.columns[reduction.column];
        values.type = FieldType::Double;
        PointColumn x = values;
        x.kind = PointColumn::Kind::X;
        PointColumn y = values;
        y.kind = PointColumn::Kind::Y;
        plan.columns = {x, y, values};
        plan.reductions.clear();
        const double radius = reduction.statistic.number;
        Items.push_back({r, reduction.statistic, std::move(plan), reachOf(radius, lattice.x()),
                         reachOf(radius, lattice.y())});
    }
}

CellWindow windowWithReach(const CellWindow& window, const ReductionPlan& plan, const BlockLattice& lattice) {
    std::uint64_t reachX = 0;
    std::uint64_t reachY = 0;
    for (const ReductionPlan::Reduction& reduction : plan.reductions)
        if (reduction.statistic.kind == Statistic::Kind::InverseDistance) {
            reachX = std::max(reachX, reachOf(reduction.statistic.number, lattice.x()));
            reachY = std::max(reachY, reachOf(reduction.statistic.number, lattice.y()));
        }
    return expanded(window, reachX, reachY, lattice);
}

/// Of those from which a point may reach a cell, the cell itself included.
std::uint64_t NearbyReduction::cellsAround(const Item& item) {
    return (2 * item.reachX + 1) * (2 * item.reachY + 1);
}

CellWindow NearbyReduction::around(const Item& item, const CellWindow& window) const {
    return expanded(window, item.reachX, item.reachY, Lattice);
}

/// Calls `visit` for the parts of a window that lie in different squares.
template <class Visit>
void NearbyReduction::forEachSquare(const CellWindow& window, const Visit& visit) const {
    const std::uint64_t side = Reader.side();
    const std::uint64_t across = Lattice.squaresAcross(side);
    const std::uint64_t down = Lattice.squaresDown(side);
    // Squares are counted from the north.
    const std::uint64_t north = Lattice.y().cells() - (window.row + window.rows);
    for (std::uint64_t d = north / side; d < down && d * side < north + window.rows; ++d)
        for (std::uint64_t a = window.column / side; a < across && a * side < window.column + window.columns;
             ++a) {
            const CellWindow square = Lattice.square(side, a, d);
            CellWindow part;
            part.column = std::max(square.column, window.column);
            part.row = std::max(square.row, window.row);
            part.columns =
                std::min(square.column + square.columns, window.column + window.columns) - part.column;
            part.rows = std::min(square.row + square.rows, window.row + window.rows) - part.row;
            visit(Square{a, d, part});
        }
}

double NearbyReduction::estimate(const CellWindow& window) const {
    double points = 0.0;
    forEachSquare(window, [&](const Square& part) { points += Reader.estimate(part); });
    return points;
}

bool NearbyReduction::reaches(const CellWindow& window) const {
    return std::ranges::any_of(Items,
                               [&](const Item& item) { return estimate(around(item, window)) != 0.0; });
}

void NearbyMeans::addTo(const CellWindow& part, std::vector<Quill::ArrayPtr>& values) const {
    for (const auto& [number, means] : Items) {
        const Larder::Ref<Quill::MemArray<3, double>> array(Quill::MultiIndex<3>(part.columns, part.rows, 1));
        double* to = array->data;
        for (std::uint64_t row = part.row; row < part.row + part.rows; ++row, to += part.columns)
            std::copy_n(means.data() + (row - Window.row) * Window.columns + part.column - Window.column,
                        part.columns, to);
        values[number] = array;
    }
}

NearbyMeans NearbyReduction::reduce(const CellWindow& window) const {
    NearbyMeans means(window);
    for (const Item& item : Items)
        reduceWindow(item, window, {window, means.add(item.number)});
    return means;
}

/// Halves the window while it has too many points around, and too many cells to read these in pieces.
void NearbyReduction::reduceWindow(const Item& item, const CellWindow& window, const Room& room) const {
    Watch();
    const double expected = estimate(around(item, window));
    if (expected <= 0.8 * static_cast<double>(Job.pointsOfWindow) && reduceAtOnce(item, window, room))
        return;
    const std::uint64_t bytes = window.cells() * cellsAround(item) * sizeof(Sums);
    if (window.cells() == 1 || bytes <= Job.pointsOfWindow * bytesOfPoint)
        return reduceInPieces(item, window, room);
    CellWindow half = window;
    const bool isWide = window.columns >= window.rows;
    std::uint64_t& begin = isWide ? half.column : half.row;
    std::uint64_t& count = isWide ? half.columns : half.rows;
    const std::uint64_t all = count;
    count = all / 2;
    reduceWindow(item, half, room);
    begin += count;
    count = all - count;
    reduceWindow(item, half, room);
}

/// False if there are too many points around.
bool NearbyReduction::reduceAtOnce(const Item& item, const CellWindow& window, const Room& room) const {
    const CellWindow near = around(item, window);
    std::vector<Square> parts;
    forEachSquare(near, [&](const Square& part) { parts.push_back(part); });
    std::vector<double> x, y, values;
    std::vector<std::uint32_t> cells;
    for (const Square& part : parts) {
        WindowPoints points(Reader, Lattice, item.plan, part);
        if (!points.load(Job.pointsOfWindow - std::min<std::uint64_t>(cells.size(), Job.pointsOfWindow)))
            return false;
        const NearbyPoints loaded = pointsOf(points.points());
        x.insert(x.end(), loaded.x.begin(), loaded.x.end());
        y.insert(y.end(), loaded.y.begin(), loaded.y.end());
        values.insert(values.end(), loaded.values.begin(), loaded.values.end());
        for (const std::uint32_t cell : points.points().cellsOfColumn(2))
            cells.push_back(static_cast<std::uint32_t>(
                (part.window.row - near.row + cell / part.window.columns) * near.columns +
                (part.window.column - near.column) + cell % part.window.columns));
    }
    const std::vector<double> centresX = centresOf(Lattice.x(), window.column, window.columns);
    const std::vector<double> centresY = centresOf(Lattice.y(), window.row, window.rows);
    const double squaredRadius = item.statistic.number * item.statistic.number;
    std::vector<Sums> sums(window.cells());
    const CellLists lists({near.columns, near.rows, 1}, cells);
    lists.forEachList([&](unsigned long long cell, std::span<const std::uint32_t> list) {
        const CellRange columns =
            reached(near.column + cell % near.columns, item.reachX, window.column, window.columns);
        const CellRange rows = reached(near.row + cell / near.columns, item.reachY, window.row, window.rows);
        for (std::uint64_t row = rows.first - window.row; row < rows.end - window.row; ++row)
            for (std::uint64_t column = columns.first - window.column; column < columns.end - window.column;
                 ++column) {
                Sums ofCell;
                for (const std::uint32_t i : list) {
                    const double dx = x[i] - centresX[column];
                    const double dy = y[i] - centresY[row];
                    const double squared = dx * dx + dy * dy;
                    if (squared <= squaredRadius)
                        ofCell.take(squared, values[i], item.statistic);
                }
                sums[row * window.columns + column].add(ofCell);
            }
    });
    for (std::uint64_t row = 0; row < window.rows; ++row)
        for (std::uint64_t column = 0; column < window.columns; ++column)
            room.of(window.column + column, window.row + row) =
                sums[row * window.columns + column].result(Job.sparseLimit);
    return true;
}

/// Reads the points around piece by piece and keeps none of them, but sums for each cell and each cell around
/// it.
void NearbyReduction::reduceInPieces(const Item& item, const CellWindow& window, const Room& room) const {
    constexpr std::uint64_t longestPiece = 1 << 14;
    const std::vector<double> centresX = centresOf(Lattice.x(), window.column, window.columns);
    const std::vector<double> centresY = centresOf(Lattice.y(), window.row, window.rows);
    const double squaredRadius = item.statistic.number * item.statistic.number;
    const std::uint64_t across = 2 * item.reachX + 1, perCell = cellsAround(item);
    std::vector<Sums> sums(window.cells() * perCell);
    const auto take = [&](std::uint64_t column, std::uint64_t row, double x, double y, double value) {
        const CellRange columns = reached(column, item.reachX, window.column, window.columns);
        const CellRange rows = reached(row, item.reachY, window.row, window.rows);
        for (std::uint64_t r = rows.first; r < rows.end; ++r)
            for (std::uint64_t c = columns.first; c < columns.end; ++c) {
                const std::uint64_t cell = (r - window.row) * window.columns + c - window.column;
                const std::uint64_t place = (row + item.reachY - r) * across + column + item.reachX - c;
                const double dx = x - centresX[c - window.column];
                const double dy = y - centresY[r - window.row];
                const double squared = dx * dx + dy * dy;
                if (squared <= squaredRadius)
                    sums[cell * perCell + place].take(squared, value, item.statistic);
            }
    };
    forEachSquare(around(item, window), [&](const Square& part) {
        WindowPoints(Reader, Lattice, item.plan, part)
            .visitPieces(std::min(longestPiece, Job.pointsOfCell), [&](const PointTable& table) {
                Watch();
                const NearbyPoints points = pointsOf(table);
                const std::span<const std::uint32_t> cells = table.cellsOfColumn(2);
                for (std::size_t i = 0; i < points.x.size(); ++i)
                    take(part.window.column + cells[i] % part.window.columns,
                         part.window.row + cells[i] / part.window.columns, points.x[i], points.y[i],
                         points.values[i]);
            });
    });
    for (std::uint64_t cell = 0; cell < window.cells(); ++cell) {
        Sums all;
        for (std::uint64_t place = 0; place < perCell; ++place)
            all.add(sums[cell * perCell + place]);
        room.of(window.column + cell % window.columns, window.row + cell / window.columns) =
            all.result(Job.sparseLimit);
    }
}

} // namespace Tilewright::Io
