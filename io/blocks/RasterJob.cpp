#include <io/blocks/RasterJob.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include <io/blocks/BandTile.h>
#include <io/blocks/OnePass.h>
#include <io/blocks/SquareMaker.h>
#include <io/system/Errors.h>
#include <io/system/OrderedQueue.h>
#include <io/system/Parallel.h>

namespace Tilewright::Io {

namespace {

/// The finished pixels of a block, one tile per band; none where nothing is to be written.
using BlockTiles = std::vector<std::unique_ptr<BandTile>>;

/// The windows of a raster whose cells are all in memory.
class CellSource : public WindowSource {
public:
    CellSource(const RasterJob& job, const ReducedCells& cells) : Job(job), Cells(cells) {}

    std::size_t partsOfBlock() const override { return 1; }

    void visit(const Block& block, std::size_t, const Visit& visit) override {
        if (Stopped)
            throw Interruption();
        const CellWindow& all = Cells.window;
        const std::uint64_t stride = all.columns;
        const WindowResult result{block.window,
                                  (block.window.row - all.row) * stride + block.window.column - all.column,
                                  stride,
                                  Cells.counts,
                                  Cells.values,
                                  Job.sparseLimit,
                                  {Cells.subsetCounts.begin(), Cells.subsetCounts.end()}};
        if (result.points() != 0)
            visit(result);
    }

    std::uint64_t wantedPoints() const override { return Cells.points; }
    void stop() override { Stopped = true; }

private:
    const RasterJob& Job;
    const ReducedCells& Cells;
    std::atomic<bool> Stopped = false;
};

/// Puts blocks together of their parts, which several threads make.
class BlockMaker {
public:
    BlockMaker(const RasterJob& job, const BlockLattice& lattice, WindowSource& source,
               const std::vector<RasterDescription>& files)
        : Job(job), Lattice(lattice), All(job.blocks.value_or(lattice.blocks())), Source(source),
          Files(files) {}

    std::size_t blocks() const { return All.count(); }

    /// Makes a part of a block; they count row by row. True for the part that completes it: then `tiles` are
    /// those of the block.
    bool make(std::size_t number, std::size_t part, BlockTiles& tiles) {
        const std::uint64_t across = All.west + number % All.across();
        const std::uint64_t down = All.north + number / All.across();
        const CellWindow window = Lattice.square(BlockLattice::blockSide, across, down);
        Unfinished& block = begin(number);
        Source.visit({across, down, window}, part, [&](const WindowResult& result) {
            const std::lock_guard guard(block.lock);
            if (block.tiles.empty())
                addTiles(window, block.tiles);
            for (const auto& tile : block.tiles)
                tile->take(result);
            count(result);
        });
        if (!end(number, block, tiles))
            return false;
        for (const JobBand& band : Job.bands)
            if (tiles.empty() && marksEmptyBlocks(band, Files[band.file]))
                addTiles(window, tiles);
        return true;
    }

    std::uint64_t points() const { return Points; }
    std::uint64_t filledCells() const { return FilledCells; }

private:
    struct Unfinished {
        explicit Unfinished(std::size_t parts) : partsToCome(parts) {}

        std::size_t partsToCome;
        std::mutex lock;
        BlockTiles tiles;
    };

    Unfinished& begin(std::size_t number) {
        const std::lock_guard guard(Lock);
        return Blocks.try_emplace(number, Source.partsOfBlock()).first->second;
    }

    bool end(std::size_t number, Unfinished& block, BlockTiles& tiles) {
        const std::lock_guard guard(Lock);
        if (--block.partsToCome != 0)
            return false;
        tiles = std::move(block.tiles);
        Blocks.erase(number);
        return true;
    }

    void addTiles(const CellWindow& block, BlockTiles& tiles) const {
        for (const JobBand& band : Job.bands)
            tiles.push_back(makeBandTile(band, Files[band.file], block));
    }

    void count(const WindowResult& result) {
        Points += result.points();
        FilledCells += result.filledCells();
    }

    const RasterJob& Job;
    const BlockLattice& Lattice;
    BlockRectangle All;
    WindowSource& Source;
    const std::vector<RasterDescription>& Files;
    std::mutex Lock;
    std::map<std::size_t, Unfinished> Blocks;
    std::atomic<std::uint64_t> Points = 0;
    std::atomic<std::uint64_t> FilledCells = 0;
};

/// Hands blocks on to the queues of a sink.
class SinkQueues {
public:
    SinkQueues(const RasterJob& job, std::uint64_t rasterRows, BlockSink& sink, JobResult& result) {
        std::size_t queues = 0;
        for (std::size_t b = 0; b < job.bands.size(); ++b)
            queues = std::max(queues, sink.queueOf(b) + 1);
        for (std::size_t q = 0; q < queues; ++q)
            Queues.emplace_back(2 * std::size_t(job.threads),
                                [&, q, rasterRows](const std::shared_ptr<const BlockTiles>& tiles) {
                                    for (std::size_t b = 0; b < tiles->size(); ++b)
                                        if (sink.queueOf(b) == q)
                                            result.cutCells[b] += (*tiles)[b]->write(
                                                sink, b, rasterRows, result.clashes[job.bands[b].file]);
                                });
    }

    void put(std::size_t block, BlockTiles tiles) {
        const auto shared = std::make_shared<const BlockTiles>(std::move(tiles));
        for (Queue& queue : Queues)
            queue.put(block, shared);
    }

    void abandon() {
        for (Queue& queue : Queues)
            queue.abandon();
    }

private:
    using Queue = OrderedQueue<std::shared_ptr<const BlockTiles>>;

    std::deque<Queue> Queues;
};

JobResult makeBlocks(const RasterJob& job, const BlockLattice& lattice, WindowSource& source,
                     const std::vector<RasterDescription>& descriptions, BlockSink& sink) {
    JobResult result;
    result.clashes.resize(descriptions.size());
    result.cutCells.resize(job.bands.size());
    BlockMaker maker(job, lattice, source, descriptions);
    SinkQueues queues(job, lattice.y().cells(), sink, result);
    const std::size_t parts = source.partsOfBlock();
    forEachPiece(
        job.threads, maker.blocks() * parts,
        [&](std::size_t piece) {
            BlockTiles tiles;
            if (maker.make(piece / parts, piece % parts, tiles))
                queues.put(piece / parts, std::move(tiles));
        },
        [&] {
            source.stop();
            queues.abandon();
        });
    result.points = maker.points();
    result.filledCells = maker.filledCells();
    if (!job.blocks && result.points != source.wantedPoints())
        throw Error("the counts don't add up: " + std::to_string(source.wantedPoints()) +
                    " points were to be rastered, " + std::to_string(result.points) +
                    " were; nothing was written, please report this");
    return result;
}

} // namespace

JobResult runJob(const RasterJob& job, const BlockLattice& lattice, const SquareReader& reader,
                 const std::vector<RasterDescription>& descriptions, BlockSink& sink,
                 const StepReport& report) {
    SquareMaker source(job, lattice, reader, report);
    JobResult result = makeBlocks(job, lattice, source, descriptions, sink);
    result.pointsWithoutGround = reader.pointsWithoutGround();
    return result;
}

JobResult runJob(const RasterJob& job, const BlockLattice& lattice, const ReducedCells& cells,
                 const std::vector<RasterDescription>& descriptions, BlockSink& sink) {
    CellSource source(job, cells);
    JobResult result = makeBlocks(job, lattice, source, descriptions, sink);
    result.pointsWithoutGround = cells.pointsWithoutGround;
    return result;
}

} // namespace Tilewright::Io
