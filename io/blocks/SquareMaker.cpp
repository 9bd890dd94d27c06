#include <io/blocks/SquareMaker.h>

#include <algorithm>
#include <numeric>
#include <string>

#include <io/blocks/DenseCell.h>
#include <io/blocks/OrderedGroups.h>
#include <io/system/Errors.h>
#include <tilewright/filters/reduceCells.h>

namespace Tilewright::Io {

namespace {

/// Planes are read at the centres of the cells.
Quill::UniformCartesianArray nodesOf(const CellWindow& window, const BlockLattice& lattice) {
    const auto centre = [](const LatticeAxis& axis, std::uint64_t cell) {
        return axis.centre(static_cast<std::int64_t>(cell));
    };
    return {{window.columns, window.rows, 1},
            {centre(lattice.x(), window.column), centre(lattice.y(), window.row), 0.0},
            {lattice.x().cellSize(), lattice.y().cellSize(), 0.0}};
}

} // namespace

void SquareMaker::visit(const Block& block, std::size_t part, const Visit& visit) {
    const std::uint64_t across = block.across * squaresAlong() + part % squaresAlong();
    const std::uint64_t down = block.down * squaresAlong() + part / squaresAlong();
    if (across < Lattice.squaresAcross(Reader.side()) && down < Lattice.squaresDown(Reader.side()))
        makeWhole({across, down, Lattice.square(Reader.side(), across, down)}, visit);
}

/// What looks at other squares too does so once, into however many windows this one is cut.
void SquareMaker::makeWhole(const Square& square, const Visit& visit) {
    if (Reader.estimate(square) == 0.0 && !Nearby.reaches(square.window))
        return;
    const NearbyMeans nearby = Nearby.reduce(square.window);
    makeSquare(square, {visit, nearby});
}

void SquareMaker::makeSquare(const Square& square, const Target& target) {
    const double expected = Reader.estimate(square);
    if (expected == 0.0 && !Nearby.reaches(square.window))
        return;
    // Estimates are estimates.
    const bool isTooMuch = expected > 0.8 * static_cast<double>(Job.pointsOfWindow);
    if (isTooMuch && square.window.cells() > 1)
        halve(square, target);
    else
        makeWindow(square, target);
}

void SquareMaker::halve(const Square& square, const Target& target) {
    Square half = square;
    const bool isWide = square.window.columns >= square.window.rows;
    std::uint64_t& begin = isWide ? half.window.column : half.window.row;
    std::uint64_t& count = isWide ? half.window.columns : half.window.rows;
    const std::uint64_t whole = count;
    count = whole / 2;
    makeSquare(half, target);
    begin += count;
    count = whole - count;
    makeSquare(half, target);
}

void SquareMaker::makeWindow(const Square& square, const Target& target) {
    goOn();
    WindowPoints points(Reader, Lattice, Job.plan, square);
    const bool isCell = square.window.cells() == 1;
    if (points.load(isCell ? Job.pointsOfCell : Job.pointsOfWindow)) {
        if (points.points().size() != 0 || Nearby.reaches(square.window))
            reduceWindow(points, square.window, target);
    } else if (isCell) {
        makeCell(square, target);
    } else {
        halve(square, target);
    }
}

void SquareMaker::goOn() const {
    if (Stopped || (Report && !Report(Points, Reader.wantedPoints())))
        throw Interruption();
}

void SquareMaker::reduceWindow(WindowPoints& points, const CellWindow& window, const Target& target) {
    // Of all points, and of each subset.
    std::vector<CellLists> cells;
    cells.reserve(Job.plan.subsets.size() + 1);
    for (std::size_t subset = 0; subset <= Job.plan.subsets.size(); ++subset)
        cells.emplace_back(Quill::MultiIndex<3>(window.columns, window.rows, 1),
                           points.points().cells(subset));
    WindowResult result{window, 0, window.columns, cells[0].counts(), {}, Job.sparseLimit};
    for (std::size_t subset = 1; subset < cells.size(); ++subset)
        result.subsetCounts.push_back(cells[subset].counts());
    result.values.resize(Job.plan.reductions.size());
    target.nearby.addTo(window, result.values);
    if (points.points().size() == 0)
        return handOn(result, 0, target.visit);
    reduceByStatistics(points.points(), cells, result);
    const std::vector<Quill::ArrayPtr> columns = points.takeColumns();
    const Quill::UniformCartesianArray nodes = nodesOf(window, Lattice);
    for (std::size_t r = 0; r < result.values.size(); ++r) {
        const ReductionPlan::Reduction& reduction = Job.plan.reductions[r];
        if (reduction.statistic.kind != Statistic::Kind::None)
            continue;
        goOn();
        const CellLists& ofColumn = cells[Job.plan.columns[reduction.column].subset];
        result.values[r] = reduceCells(ofColumn, columns[reduction.column], reduction.wanted, &nodes);
    }
    handOn(result, points.points().size(), target.visit);
}

/// `cells` are those of all points and of each subset.
void SquareMaker::reduceByStatistics(const PointTable& points, const std::vector<CellLists>& cells,
                                     WindowResult& result) const {
    const auto cellsOf = [&](std::size_t column) -> const CellLists& {
        return cells[Job.plan.columns[column].subset];
    };
    for (std::size_t r = 0; r < result.values.size(); ++r) {
        const ReductionPlan::Reduction& reduction = Job.plan.reductions[r];
        if (reduction.statistic.kind == Statistic::Kind::None)
            continue;
        const ColumnStore& column = *points.columns()[reduction.column];
        const CellLists& ofColumn = cellsOf(reduction.column);
        if (const auto states = column.makeReduction(ofColumn.sizes, reduction)) {
            goOn();
            column.reduce(points.cellsOfColumn(reduction.column), std::array{states.get()});
            states->finish(0, ofColumn.counts());
            result.values[r] = states->results();
        }
    }
    for (const OrderedGroup& group : orderedGroups(Job.plan)) {
        goOn();
        const std::vector<Quill::ArrayPtr> arrays =
            points.columns()[group.column]->reduceByOrder(cellsOf(group.column), group.wanted);
        for (std::size_t i = 0; i < arrays.size(); ++i)
            result.values[group.reductions[i]] = arrays[i];
    }
}

/// A cell with more points than are loaded at a time.
void SquareMaker::makeCell(const Square& square, const Target& target) {
    DenseCell cell(Job.plan);
    if (cell.needsAllPoints())
        return makeCellAtOnce(square, target);
    std::uint64_t count = 0;
    do
        count = visitPieces(square, [&](const PointTable& points) { cell.take(points); });
    while (cell.endPass());
    WindowResult result{square.window, 0, 1, cell.counts().first(1), cell.results(), Job.sparseLimit};
    for (std::size_t subset = 1; subset < cell.counts().size(); ++subset)
        result.subsetCounts.push_back(cell.counts().subspan(subset, 1));
    target.nearby.addTo(square.window, result.values);
    handOn(result, count, target.visit);
}

std::uint64_t SquareMaker::visitPieces(const Square& square, const WindowPoints::PieceVisitor& take) const {
    constexpr std::uint64_t longestPiece = 1 << 16;
    WindowPoints points(Reader, Lattice, Job.plan, square);
    return points.visitPieces(std::min(longestPiece, Job.pointsOfCell), [&](const PointTable& piece) {
        goOn();
        take(piece);
    });
}

/// A plane needs all points together, if there is room for them.
void SquareMaker::makeCellAtOnce(const Square& square, const Target& target) {
    // Ordinals, cells and what the fit makes of the points: copies of them, distances, centred columns.
    constexpr std::uint64_t bytesForFit = 160;
    constexpr std::uint64_t bytesOfColumn = sizeof(Orrery::PhysicalSpace::point);
    const std::uint64_t count = visitPieces(square, [](const PointTable&) {});
    const std::uint64_t bytes = count * (bytesForFit + bytesOfColumn * Job.plan.columns.size());
    if (bytes > Job.memoryForPlanes)
        throw InputError("a cell has " + std::to_string(count) + " points, and a plane through them takes " +
                         std::to_string((bytes >> 20) + 1) + " MiB of memory, of which --memory leaves " +
                         std::to_string(Job.memoryForPlanes >> 20) +
                         "; choose smaller cells, another filter than Regression, or more memory");
    const std::lock_guard guard(RoomForPlanes);
    WindowPoints points(Reader, Lattice, Job.plan, square);
    points.load();
    reduceWindow(points, square.window, target);
}

/// Checks the counts first.
void SquareMaker::handOn(const WindowResult& result, std::uint64_t points, const Visit& visit) {
    const std::uint64_t counted =
        std::accumulate(result.counts.begin(), result.counts.end(), std::uint64_t(0));
    if (counted != points)
        throw Error("the counts don't add up: " + std::to_string(points) + " points of a window make " +
                    std::to_string(counted) + "; nothing was written, please report this");
    visit(result);
    Points += points;
}

} // namespace Tilewright::Io
