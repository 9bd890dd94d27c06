#include <io/blocks/RasterJob.h>

#include <algorithm>
#include <atomic>
#include <mutex>

#include <io/blocks/BandTile.h>
#include <io/blocks/BlockQueue.h>
#include <io/blocks/DenseCell.h>
#include <io/system/Errors.h>
#include <io/system/Parallel.h>
#include <tilewright/raster/layout.h>
#include <tilewright/raster/raster.h>

namespace Tilewright::Io {

namespace {

/// Ends the library's work on a window when another thread has failed or the user wants to stop.
class StopProgress : public Larder::LoaderProgress {
public:
    explicit StopProgress(const std::atomic<bool>& stopped) : Stopped(stopped) {}

    bool reportProgress(const std::string&, unsigned, unsigned) override { return !Stopped; }

private:
    const std::atomic<bool>& Stopped;
};

Lattice latticeOf(const WindowLayout& layout) {
    Lattice lattice;
    lattice.fragmentCount = {1, 1, 1};
    // It has a box, and so a lattice.
    static_cast<void>(layOutLattice(layout.positions, layout.wantedCellSize, {}, lattice));
    return lattice;
}

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
        WindowGrid input(Reader, Lattice, Job.grid, square);
        const bool isCell = square.window.cells() == 1;
        if (input.load(isCell ? Job.pointsOfCell : Job.pointsOfWindow)) {
            if (input.points() != 0)
                rasterWindow(input, square, block, tiles);
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

    void rasterWindow(WindowGrid& input, const Square& square, const CellWindow& block, BlockTiles& tiles) {
        const Larder::Ref<Quill::Grid> output;
        const std::string failure =
            rasterOnLattice(input.grid(), *output, Job.requests, latticeOf(input.layout()),
                            {.sparseLimit = Job.sparseLimit, .progress = Larder::Ref<StopProgress>(Stopped)});
        if (failure == "Interrupted")
            throw Interruption();
        if (!failure.empty())
            throw Error(failure);
        if (tiles.empty())
            addTiles(block, tiles);
        collect(input, *output, square.window, tiles);
        Points += input.points();
    }

    /// A cell with more points than are loaded at a time.
    void makeCell(const Square& square, const CellWindow& block, BlockTiles& tiles) {
        DenseCell cell(Job.grid, Job.requests);
        if (cell.needsAllPoints())
            return makeCellAtOnce(square, block, tiles);
        std::uint64_t count = 0;
        do
            count = visitPieces(square, [&](const std::vector<Quill::ArrayPtr>& piece) { cell.take(piece); });
        while (cell.endPass(count));
        const Larder::Ref<Quill::Grid> output;
        const Quill::MultiIndex<3> size = WindowLayout(Lattice, square.window).arraySize;
        cell.store(*output, size, count, Job.sparseLimit);
        if (tiles.empty())
            addTiles(block, tiles);
        WindowResult result = resultOf(*output, square.window, size);
        const auto counted = static_cast<std::uint32_t>(count);
        result.counts = std::span(&counted, 1);
        for (const auto& tile : tiles)
            tile->take(result);
        FilledCells += count > Job.sparseLimit;
        Points += count;
    }

    template <class Take> std::uint64_t visitPieces(const Square& square, const Take& take) const {
        constexpr std::uint64_t longestPiece = 1 << 16;
        return visitColumns(Reader, Lattice, Job.grid, square, std::min(longestPiece, Job.pointsOfCell),
                            [&](const std::vector<Quill::ArrayPtr>& piece) {
                                goOn();
                                take(piece);
                            });
    }

    /// The library makes it of all points together, if there is room for them.
    void makeCellAtOnce(const Square& square, const CellWindow& block, BlockTiles& tiles) {
        // Ordinals, cells and what the fit makes of the points: copies of them, distances, centred columns.
        constexpr std::uint64_t bytesForFit = 160;
        constexpr std::uint64_t bytesOfColumn = sizeof(Orrery::PhysicalSpace::point);
        const std::uint64_t count = visitPieces(square, [](const std::vector<Quill::ArrayPtr>&) {});
        const std::uint64_t bytes = count * (bytesForFit + bytesOfColumn * Job.grid.columns.size());
        if (bytes > Job.memoryForPlanes)
            throw InputError("a cell has " + std::to_string(count) +
                             " points, and a plane through them takes " + std::to_string((bytes >> 20) + 1) +
                             " MiB of memory, of which --memory leaves " +
                             std::to_string(Job.memoryForPlanes >> 20) +
                             "; choose smaller cells, another filter than Regression, or more memory");
        const std::lock_guard guard(RoomForPlanes);
        WindowGrid input(Reader, Lattice, Job.grid, square);
        rasterWindow(input, square, block, tiles);
    }

    /// Checks the counts of a window and copies its cells into the tiles.
    void collect(WindowGrid& input, const Quill::Grid& output, const CellWindow& window,
                 const BlockTiles& tiles) {
        WindowResult result = resultOf(output, window, input.layout().arraySize);
        const std::vector<std::uint32_t> counts = countPoints(input, result);
        result.counts = counts;
        for (const auto& tile : tiles)
            tile->take(result);
    }

    static WindowResult resultOf(const Quill::Grid& output, const CellWindow& window,
                                 const Quill::MultiIndex<3>& size) {
        WindowResult result{window, output.getCartesianRepresentation(""), size[0], {}, {}, {}};
        const Larder::StrongPtr<Quill::MemArray<3, unsigned char>, Larder::Cacheable> types =
            result.array("CellType");
        const Larder::StrongPtr<Quill::MemArray<3, unsigned short>, Larder::Cacheable> densities =
            result.array("Density");
        if (!types || !densities || types->sizes != size)
            throw Error(
                "a window of the raster came out in another size than it should have; please report this");
        result.cellTypes = types->data;
        result.densities = densities->data;
        return result;
    }

    /// The points of each cell. Where the library's densities add up to all points of the window they are the
    /// counts; where they do not, because a cell has more than 16 bits tell or is marked as sparse, the
    /// points are counted once more and every cell is compared.
    std::vector<std::uint32_t> countPoints(WindowGrid& input, const WindowResult& result) {
        const CellWindow& window = result.window;
        std::vector<std::uint32_t> counts(window.cells());
        std::uint64_t total = 0;
        std::uint64_t filled = 0;
        forEachCell(window, [&](std::uint64_t column, std::uint64_t row, std::uint64_t cell) {
            const std::uint64_t at = result.place(column, row);
            counts[cell] = result.densities[at];
            total += counts[cell];
            filled += result.cellTypes[at] == 0;
        });
        FilledCells += filled;
        if (total == input.points())
            return counts;
        counts = input.counts();
        total = 0;
        forEachCell(window, [&](std::uint64_t column, std::uint64_t row, std::uint64_t cell) {
            const std::uint64_t at = result.place(column, row);
            const bool isDense = counts[cell] > Job.sparseLimit;
            total += counts[cell];
            if ((result.cellTypes[at] == 0) != isDense ||
                result.densities[at] != static_cast<unsigned short>(isDense ? counts[cell] : 0))
                failCounts("cell " + std::to_string(window.column + column) + "," +
                           std::to_string(window.row + row) + " has " + std::to_string(counts[cell]) +
                           " points, but not all of them were rastered");
        });
        if (total != input.points())
            failCounts(std::to_string(input.points() - total) +
                       " points of a window are in none of its cells");
        return counts;
    }

    template <class Visitor> static void forEachCell(const CellWindow& window, Visitor&& visit) {
        std::uint64_t cell = 0;
        for (std::uint64_t row = 0; row < window.rows; ++row)
            for (std::uint64_t column = 0; column < window.columns; ++column)
                visit(column, row, cell++);
    }

    [[noreturn]] static void failCounts(const std::string& how) {
        throw Error("the counts don't add up: " + how + "; nothing was written, please report this");
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
