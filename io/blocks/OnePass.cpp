#include <io/blocks/OnePass.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <limits>
#include <mutex>

#include <io/blocks/PointTable.h>
#include <io/blocks/SquareGeometry.h>
#include <io/system/Errors.h>
#include <io/system/OrderedQueue.h>
#include <io/system/Parallel.h>
#include <io/system/Workspaces.h>
#include <tilewright/filters/takeByCell.h>

namespace Tilewright::Io {

namespace {

/// Points of a piece, unless a stretch has more: their cells and values fit a processor's cache.
constexpr std::uint64_t usualPiece = 1 << 15;
/// So few that what is worked out of them stays in the innermost cache.
constexpr std::size_t pointsAtATime = 512;
/// Points that wait for their turn at most.
constexpr std::size_t mostWaiting = 1 << 18;
/// Cells that a thread begins or finishes at a time.
constexpr std::size_t cellsAtATime = 1 << 16;

/// Stretches that lie one after the other.
struct Piece {
    std::size_t source;
    std::uint64_t first;
    std::uint64_t count;
};

std::vector<Piece> joinStretches(const std::vector<Stretch>& stretches) {
    std::vector<Piece> pieces;
    for (const Stretch& stretch : stretches) {
        const bool goesOn = !pieces.empty() && pieces.back().source == stretch.source &&
                            pieces.back().first + pieces.back().count == stretch.first &&
                            pieces.back().count + stretch.count <= usualPiece;
        if (goesOn)
            pieces.back().count += stretch.count;
        else
            pieces.push_back({stretch.source, stretch.first, stretch.count});
    }
    return pieces;
}

/// What the cells have so far.
class CellStates {
public:
    /// On several threads, because much of the time goes into fetching the memory.
    CellStates(const ReductionPlan& plan, const CellWindow& window, unsigned threads)
        : Plan(plan), Threads(threads), Counts(plan.subsets.size() + 1), Reductions(plan.reductions.size()),
          OfColumns(plan.columns.size()) {
        const Quill::MultiIndex<3> sizes(window.columns, window.rows, 1);
        forEachPiece(threads, Counts.size() + Reductions.size(), [&](std::size_t i) {
            if (i < Counts.size())
                Counts[i].resize(window.cells());
            else
                Reductions[i - Counts.size()] = make(sizes, plan.reductions[i - Counts.size()]);
        });
        for (std::size_t r = 0; r < Reductions.size(); ++r)
            OfColumns[plan.reductions[r].column].push_back(Reductions[r].get());
    }

    void take(const PointTable& points) {
        for (std::size_t subset = 0; subset < Counts.size(); ++subset)
            takeByCell(points.cells(subset), StatesInArray<std::uint32_t>{Counts[subset].data()},
                       [](std::uint32_t& count, std::size_t) {
                           if (++count == 0)
                               throw InputError(
                                   "more than 4294967295 points lie in a single cell; choose smaller cells");
                       });
        for (std::size_t column = 0; column < OfColumns.size(); ++column)
            points.columns()[column]->reduce(points.cellsOfColumn(column), OfColumns[column]);
    }

    void finish(ReducedCells& result) {
        const std::size_t cells = Counts.front().size();
        forEachPiece(Threads, (cells + cellsAtATime - 1) / cellsAtATime, [&](std::size_t i) {
            const std::size_t first = i * cellsAtATime;
            for (std::size_t r = 0; r < Reductions.size(); ++r)
                Reductions[r]->finish(first,
                                      countsOf(r).subspan(first, std::min(cellsAtATime, cells - first)));
        });
        for (const auto& reduction : Reductions)
            result.values.push_back(reduction->results());
        result.counts = std::move(Counts.front());
        result.subsetCounts.assign(std::move_iterator(Counts.begin() + 1), std::move_iterator(Counts.end()));
    }

private:
    std::unique_ptr<ColumnReduction> make(const Quill::MultiIndex<3>& sizes,
                                          const ReductionPlan::Reduction& wanted) const {
        return makeColumnStore(Plan.columns[wanted.column], 0)->makeReduction(sizes, wanted);
    }

    /// The points of each cell that a reduction has values of.
    std::span<const std::uint32_t> countsOf(std::size_t reduction) const {
        return Counts[Plan.columns[Plan.reductions[reduction].column].subset];
    }

    const ReductionPlan& Plan;
    unsigned Threads;
    /// Of all points, and of each subset.
    std::vector<std::vector<std::uint32_t>> Counts;
    std::vector<std::unique_ptr<ColumnReduction>> Reductions;
    std::vector<std::vector<ColumnReduction*>> OfColumns;
};

ByteSelection bytesFor(const RecordFormat& format, const OnePassJob& job) {
    ByteSelection bytes = bytesRead(format, job.plan.needs);
    for (const std::string& field : job.fieldsToMeasure)
        bytes.add(*format.findField(field));
    return bytes;
}

/// What a thread needs to read a piece, kept from piece to piece.
class PieceReader {
public:
    PieceReader(const PointCloud& cloud, const BlockLattice& lattice, const CellWindow& window,
                const OnePassJob& job)
        : Finder(lattice, window, job.plan.needs), Waiting(job.plan, usualPiece), IsMeasured(job.measures),
          Measures(job.fieldsToMeasure) {
        for (const auto& source : cloud.sources())
            Layouts.push_back({{source->format(), fieldsIn(source->format(), job.plan.needs.fields)},
                               bytesFor(source->format(), job)});
    }

    /// Reads the piece; calls `watch` every now and then, and `makeRoom` whenever many of its points wait.
    template <class Watch, class MakeRoom>
    void read(const PointCloud& cloud, const Piece& piece, const Watch& watch, const MakeRoom& makeRoom) {
        const RecordLayout& layout = Layouts[piece.source].first;
        const ByteSelection& bytes = Layouts[piece.source].second;
        Waiting.clear();
        cloud.sources()[piece.source]->visit(piece.first, piece.count, bytes,
                                             [&](const std::byte* records, std::size_t count) {
                                                 watch();
                                                 takeAll(layout, records, count);
                                                 if (Waiting.size() >= mostWaiting)
                                                     makeRoom();
                                             });
    }

    /// Adds what waits to the cells.
    void addTo(CellStates& states) {
        states.take(Waiting);
        Points += Waiting.size();
        Waiting.clear();
    }

    std::uint64_t points() const { return Points; }
    std::uint64_t pointsWithoutGround() const { return Finder.withoutGround(); }
    const PointMeasures& measures() const { return Measures; }

private:
    void takeAll(const RecordLayout& layout, const std::byte* records, std::size_t count) {
        const std::size_t length = layout.format.recordLength;
        while (count != 0) {
            const std::size_t n = std::min(pointsAtATime, count);
            const std::size_t after = std::min(pointsAtATime, count - n);
            take(layout, records, n, {records + n * length, after * length});
            records += n * length;
            count -= n;
        }
    }

    void take(const RecordLayout& layout, const std::byte* records, std::size_t count,
              std::span<const std::byte> next) {
        if (IsMeasured)
            Measures.add(layout.format, records, count);
        const FoundPoints& found = Finder.find(layout, records, count, next);
        Waiting.take(found, Finder);
    }

    PointFinder Finder;
    std::vector<std::pair<RecordLayout, ByteSelection>> Layouts;
    PointTable Waiting;
    std::uint64_t Points = 0;
    bool IsMeasured;
    PointMeasures Measures;
};

} // namespace

std::optional<std::uint64_t> bytesOfStates(const ReductionPlan& plan, const CellWindow& window) {
    if (window.columns > std::numeric_limits<std::uint32_t>::max() / window.rows)
        return std::nullopt;
    std::uint64_t perCell = sizeof(std::uint32_t) * (plan.subsets.size() + 1);
    for (const ReductionPlan::Reduction& reduction : plan.reductions) {
        const auto made = makeColumnStore(plan.columns[reduction.column], 0)
                              ->makeReduction(Quill::MultiIndex<3>(1, 1, 1), reduction);
        if (!made)
            return std::nullopt;
        perCell += made->bytesPerCell();
    }
    return perCell * window.cells();
}

ReducedCells reduceInOnePass(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                             const OnePassJob& job, const StepReport& report) {
    const std::vector<Piece> pieces = joinStretches(index.stretches);
    std::uint64_t points = 0;
    for (const Piece& piece : pieces)
        points += piece.count;
    const CellWindow window = job.window.value_or(lattice.whole());
    CellStates states(job.plan, window, job.threads);
    using Readers = Workspaces<PieceReader>;
    Readers readers([&] { return std::make_unique<PieceReader>(cloud, lattice, window, job); });
    OrderedQueue<Readers::Loan> queue(2 * std::size_t(job.threads),
                                      [&](const Readers::Loan& reader) { reader->addTo(states); });
    std::atomic<std::uint64_t> done = 0;
    forEachPiece(
        job.threads, pieces.size(),
        [&](std::size_t p) {
            const auto watch = [&] {
                if (report && !report(done, points))
                    throw Interruption();
            };
            Readers::Loan reader = readers.borrow();
            const auto makeRoom = [&] {
                if (!queue.waitFor(p))
                    throw Interruption();
                reader->addTo(states);
            };
            reader->read(cloud, pieces[p], watch, makeRoom);
            done += pieces[p].count;
            queue.put(p, std::move(reader));
        },
        [&] { queue.abandon(); });
    ReducedCells result;
    result.window = window;
    result.measures = PointMeasures(job.fieldsToMeasure);
    readers.forEach([&](const PieceReader& reader) {
        result.points += reader.points();
        result.pointsWithoutGround += reader.pointsWithoutGround();
        result.measures.add(reader.measures());
    });
    states.finish(result);
    return result;
}

} // namespace Tilewright::Io
