#include <io/blocks/RasterJob.h>

#include <algorithm>
#include <atomic>
#include <mutex>

#include <io/blocks/BandTile.h>
#include <io/blocks/BlockQueue.h>
#include <io/blocks/DenseCell.h>
#include <io/system/Errors.h>
#include <io/system/Parallel.h>
#include <tilewright/filters/reduceCells.h>

namespace Tilewright::Io {

namespace {

class BlockMaker {
public:
    BlockMaker(const RasterJob& job, const BlockLattice& lattice, const SquareReader& reader,
               const std::vector<RasterDescription>& files, const StepReport& report)
        : Job(job), Lattice(lattice), Reader(reader), Files(files), Report(report) {}

    std::size_t blocks() const {
        return Lattice.squaresAcross(BlockLattice::blockSide) * Lattice.squaresDown(BlockLattice::blockSide);
    }

    BlockTiles make(std::size_t number) {
        const std::uint64_t across = Lattice.squaresAcross(BlockLattice::blockSide);
        const CellWindow block = Lattice.square(BlockLattice::blockSide, number % across, number / across);
        BlockTiles tiles;
        const std::uint64_t squaresAlong = BlockLattice::blockSide / Reader.side();
        for (std::uint64_t d = 0; d < squaresAlong; ++d)
            for (std::uint64_t a = 0; a < squaresAlong; ++a) {
                const std::uint64_t squareAcross = number % across * squaresAlong + a;
                const std::uint64_t squareDown = number / across * squaresAlong + d;
                if (squareAcross < Lattice.squaresAcross(Reader.side()) &&
                    squareDown < Lattice.squaresDown(Reader.side()))
                    makeSquare(
                        {squareAcross, squareDown, Lattice.square(Reader.side(), squareAcross, squareDown)},
                        block, tiles);
            }
        for (const JobBand& band : Job.bands)
            if (tiles.empty() && marksEmptyBlocks(band, Files[band.file]))
                addTiles(block, tiles);
        return tiles;
    }

    void stop() { Stopped = true; }
    std::uint64_t points() const { return Points; }
    std::uint64_t filledCells() const { return FilledCells; }

private:
    void addTiles(const CellWindow& block, BlockTiles& tiles) const {
        for (const JobBand& band : Job.bands)
            tiles.push_back(makeBandTile(band, Files[band.file], block));
    }

    void makeSquare(const Square& square, const CellWindow& block, BlockTiles& tiles) {
        const double expected = Reader.estimate(square);
        if (expected == 0.0)
            return;
        // Estimates are estimates.
        const bool isTooMuch = expected > 0.8 * static_cast<double>(Job.pointsOfWindow);
        if (isTooMuch && square.window.cells() > 1)
            halve(square, block, tiles);
        else
            makeWindow(square, block, tiles);
    }

    void halve(const Square& square, const CellWindow& block, BlockTiles& tiles) {
        Square half = square;
        const bool isWide = square.window.columns >= square.window.rows;
        std::uint64_t& begin = isWide ? half.window.column : half.window.row;
        std::uint64_t& count = isWide ? half.window.columns : half.window.rows;
        const std::uint64_t whole = count;
        count = whole / 2;
        makeSquare(half, block, tiles);
        begin += count;
        count = whole - count;
        makeSquare(half, block, tiles);
    }

    void makeWindow(const Square& square, const CellWindow& block, BlockTiles& tiles) {
        goOn();
        WindowPoints points(Reader, Lattice, Job.plan, square);
        const bool isCell = square.window.cells() == 1;
        if (points.load(isCell ? Job.pointsOfCell : Job.pointsOfWindow)) {
            if (!points.cells().empty())
                reduceWindow(points, square, block, tiles);
        } else if (isCell) {
            makeCell(square, block, tiles);
        } else {
            halve(square, block, tiles);
        }
    }

    void goOn() const {
        if (Stopped || (Report && !Report(Points, Reader.wantedPoints())))
            throw Interruption();
    }

    void reduceWindow(WindowPoints& points, const Square& square, const CellWindow& block,
                      BlockTiles& tiles) {
        const CellWindow& window = square.window;
        const CellLists cells({window.columns, window.rows, 1}, points.cells());
        const std::vector<Quill::ArrayPtr> columns = points.takeColumns();
        const Quill::UniformCartesianArray nodes = nodesOf(window);
        WindowResult result{window, 0, window.columns, cells.counts(), {}, Job.sparseLimit};
        for (const ReductionPlan::Reduction& reduction : Job.plan.reductions) {
            goOn();
            result.values.push_back(reduceCells(cells, columns[reduction.column], reduction.wanted, &nodes));
        }
        collect(result, points.cells().size(), block, tiles);
    }

    /// Planes are read at the centres of the cells.
    Quill::UniformCartesianArray nodesOf(const CellWindow& window) const {
        const auto centre = [](const LatticeAxis& axis, std::uint64_t cell) {
            return axis.centre(static_cast<std::int64_t>(cell));
        };
        return {{window.columns, window.rows, 1},
                {centre(Lattice.x(), window.column), centre(Lattice.y(), window.row), 0.0},
                {Lattice.x().cellSize(), Lattice.y().cellSize(), 0.0}};
    }

    /// A cell with more points than are loaded at a time.
    void makeCell(const Square& square, const CellWindow& block, BlockTiles& tiles) {
        DenseCell cell(Job.plan);
        if (cell.needsAllPoints())
            return makeCellAtOnce(square, block, tiles);
        std::uint64_t count = 0;
        do
            count = visitPieces(
                square, [&](std::span<const std::uint32_t> cells, const WindowPoints::Stores& columns) {
                    cell.take(cells.size(), columns);
                });
        while (cell.endPass(count));
        const auto counted = static_cast<std::uint32_t>(count);
        collect({square.window, 0, 1, std::span(&counted, 1), cell.results(), Job.sparseLimit}, count, block,
                tiles);
    }

    template <class Take> std::uint64_t visitPieces(const Square& square, const Take& take) const {
        constexpr std::uint64_t longestPiece = 1 << 16;
        WindowPoints points(Reader, Lattice, Job.plan, square);
        return points.visitPieces(
            std::min(longestPiece, Job.pointsOfCell),
            [&](std::span<const std::uint32_t> cells, const WindowPoints::Stores& columns) {
                goOn();
                take(cells, columns);
            });
    }

    /// A plane needs all points together, if there is room for them.
    void makeCellAtOnce(const Square& square, const CellWindow& block, BlockTiles& tiles) {
        // Ordinals, cells and what the fit makes of the points: copies of them, distances, centred columns.
        constexpr std::uint64_t bytesForFit = 160;
        constexpr std::uint64_t bytesOfColumn = sizeof(Orrery::PhysicalSpace::point);
        const std::uint64_t count =
            visitPieces(square, [](std::span<const std::uint32_t>, const WindowPoints::Stores&) {});
        const std::uint64_t bytes = count * (bytesForFit + bytesOfColumn * Job.plan.columns.size());
        if (bytes > Job.memoryForPlanes)
            throw InputError("a cell has " + std::to_string(count) +
                             " points, and a plane through them takes " + std::to_string((bytes >> 20) + 1) +
                             " MiB of memory, of which --memory leaves " +
                             std::to_string(Job.memoryForPlanes >> 20) +
                             "; choose smaller cells, another filter than Regression, or more memory");
        const std::lock_guard guard(RoomForPlanes);
        WindowPoints points(Reader, Lattice, Job.plan, square);
        points.load();
        reduceWindow(points, square, block, tiles);
    }

    /// Checks the counts of a window and copies its cells into the tiles.
    void collect(const WindowResult& result, std::uint64_t points, const CellWindow& block,
                 BlockTiles& tiles) {
        std::uint64_t counted = 0;
        std::uint64_t filled = 0;
        for (const std::uint32_t count : result.counts) {
            counted += count;
            filled += count > Job.sparseLimit ? 1 : 0;
        }
        if (counted != points)
            throw Error("the counts don't add up: " + std::to_string(points) + " points of a window make " +
                        std::to_string(counted) + "; nothing was written, please report this");
        if (tiles.empty())
            addTiles(block, tiles);
        for (const auto& tile : tiles)
            tile->take(result);
        FilledCells += filled;
        Points += points;
    }

    const RasterJob& Job;
    const BlockLattice& Lattice;
    const SquareReader& Reader;
    const std::vector<RasterDescription>& Files;
    const StepReport& Report;
    std::mutex RoomForPlanes;
    std::atomic<bool> Stopped = false;
    std::atomic<std::uint64_t> Points = 0;
    std::atomic<std::uint64_t> FilledCells = 0;
};

} // namespace

JobResult runJob(const RasterJob& job, const BlockLattice& lattice, const SquareReader& reader,
                 const std::vector<RasterDescription>& descriptions, BlockSink& sink,
                 const StepReport& report) {
    JobResult result;
    result.clashes.resize(descriptions.size());
    result.cutCells.resize(job.bands.size());
    BlockMaker maker(job, lattice, reader, descriptions, report);
    BlockQueue queue(2 * std::size_t(job.threads), [&](const BlockTiles& tiles) {
        for (std::size_t b = 0; b < tiles.size(); ++b)
            result.cutCells[b] +=
                tiles[b]->write(sink, b, lattice.y().cells(), result.clashes[job.bands[b].file]);
    });
    const std::size_t end = std::min(job.blocks.end, maker.blocks());
    const std::size_t first = std::min(job.blocks.first, end);
    forEachPiece(
        job.threads, end - first, [&](std::size_t number) { queue.put(number, maker.make(first + number)); },
        [&] {
            maker.stop();
            queue.abandon();
        });
    result.points = maker.points();
    result.filledCells = maker.filledCells();
    const bool isWhole = end - first == maker.blocks();
    if (isWhole && result.points != reader.wantedPoints())
        throw Error("the counts don't add up: " + std::to_string(reader.wantedPoints()) +
                    " points were to be rastered, " + std::to_string(result.points) +
                    " were; nothing was written, please report this");
    return result;
}

} // namespace Tilewright::Io
