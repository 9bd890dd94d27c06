#include <algorithm>
#include <atomic>
#include <cstring>
#include <numeric>

#include <io/blocks/PointFinder.h>
#include <io/blocks/SquareGeometry.h>
#include <io/blocks/SquareReader.h>
#include <io/system/Parallel.h>
#include <io/system/ScratchFile.h>
#include <io/system/Workspaces.h>

namespace Tilewright::Io {

namespace {

/// Sorts all points by their squares first. Records are cut down to what is needed of them and sorted in
/// runs, each as long as memory allows; a square has a piece of each run. In a run the records of a square
/// keep their order.
class SortedReader : public SquareReader {
public:
    SortedReader(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                 const PointNeeds& needs, std::uint64_t side, const ReadingPlan& plan);

    std::uint64_t side() const override { return Side; }
    void visit(const Square& square, const RecordVisitor& visitor) const override;
    double estimate(const Square& square) const override;
    bool needsSelection() const override { return false; }
    std::uint64_t wantedPoints() const override { return Wanted; }
    std::uint64_t pointsWithoutGround() const override { return WithoutGround; }

private:
    /// The first record of a square in a run.
    struct Begin {
        std::uint64_t square;
        std::uint64_t record;
    };
    struct Run {
        const RecordLayout* layout = nullptr;
        /// Of the squares that have records in the run, ascending, with an end after the last.
        std::vector<Begin> begins;
        /// In memory, or else at this place of the scratch file.
        std::vector<std::byte> bytes;
        std::uint64_t offset = 0;
    };
    /// Records that lie one after the other and are read at once. They make one run, or several where they
    /// are more than one has room for.
    struct Part {
        std::uint32_t source = 0;
        std::uint64_t first = 0;
        std::uint64_t count = 0;
        const RecordLayout* layout = nullptr;
        std::uint64_t recordsOfRun = 0;
        /// Where its records begin in the scratch file.
        std::uint64_t offset = 0;
        std::vector<Run> runs;
    };
    /// What a thread needs to sort a run, kept from run to run.
    struct Workspace {
        std::vector<std::uint64_t> squares;
        std::vector<std::byte> records;
        std::vector<std::byte> sorted;
        std::vector<std::uint32_t> places;
    };

    /// The records of a square in a run.
    struct Piece {
        std::uint64_t square;
        const Run* run;
        std::uint64_t first;
        std::uint64_t count;
    };

    void planParts(const CloudIndex& index, const PointNeeds& needs, const ReadingPlan& plan);
    void sortPart(Part& part, const PointNeeds& needs, Workspace& space);
    void sortRun(Part& part, Workspace& space);
    void listPieces();
    template <class Visitor> void forEachPiece(const Square& square, Visitor&& visit) const;

    const PointCloud& Cloud;
    const BlockLattice& Lattice;
    CellWindow Window;
    std::uint64_t Side;
    std::uint64_t Across;
    std::vector<std::unique_ptr<RecordLayout>> Layouts;
    std::vector<Part> Parts;
    /// By their squares, and those of a square in the order of the cloud: there may be thousands of runs, of
    /// which hardly any has records of a given square.
    std::vector<Piece> Pieces;
    std::unique_ptr<ScratchFile> Scratch;
    std::atomic<std::uint64_t> Wanted = 0;
    std::atomic<std::uint64_t> WithoutGround = 0;
};

/// The records of `format` cut down to their positions and the given fields.
RecordLayout compactLayout(const RecordFormat& format, const std::vector<CloudField>& wanted) {
    RecordLayout layout{format, fieldsIn(format, wanted)};
    layout.format.recordLength = 0;
    const auto append = [&layout](PointField& field) {
        field.position = layout.format.recordLength;
        layout.format.recordLength += field.size;
    };
    std::ranges::for_each(layout.format.coordinates, append);
    std::ranges::for_each(layout.fields, append);
    layout.format.fields = layout.fields;
    return layout;
}

/// Bytes of a record that its compact form has, too.
struct KeptBytes {
    std::size_t from;
    std::size_t to;
    std::size_t size;
};

/// What `compact` keeps of the records of `layout`, in as few copies as will do.
std::vector<KeptBytes> keptBytes(const RecordLayout& layout, const RecordLayout& compact) {
    std::vector<KeptBytes> kept;
    const auto keep = [&kept](const PointField& from, const PointField& to) {
        if (!kept.empty() && kept.back().from + kept.back().size == from.position &&
            kept.back().to + kept.back().size == to.position)
            kept.back().size += from.size;
        else
            kept.push_back({from.position, to.position, from.size});
    };
    for (std::size_t axis = 0; axis < 3; ++axis)
        keep(layout.format.coordinates[axis], compact.format.coordinates[axis]);
    for (std::size_t f = 0; f < layout.fields.size(); ++f)
        keep(layout.fields[f], compact.fields[f]);
    return kept;
}

void copyBytes(std::byte* to, const std::byte* from, std::size_t size) {
    switch (size) {
    case 1:
        *to = *from;
        return;
    case 2:
        std::memcpy(to, from, 2);
        return;
    case 4:
        std::memcpy(to, from, 4);
        return;
    case 12:
        std::memcpy(to, from, 12);
        return;
    default:
        std::memcpy(to, from, size);
    }
}

constexpr std::uint64_t shortestRun = std::uint64_t(1) << 12;
constexpr std::uint64_t longestRun = std::uint64_t(1) << 22;
/// Records that are handed out at a time.
constexpr std::uint64_t recordsAtATime = 4096;

SortedReader::SortedReader(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                           const PointNeeds& needs, std::uint64_t side, const ReadingPlan& plan)
    : Cloud(cloud), Lattice(lattice), Window(plan.part.value_or(lattice.whole())), Side(side),
      Across(lattice.squaresAcross(side)) {
    planParts(index, needs, plan);
    Workspaces<Workspace> spaces([] { return std::make_unique<Workspace>(); });
    std::atomic<std::size_t> done = 0;
    Io::forEachPiece(plan.threads, Parts.size(), [&](std::size_t p) {
        if (plan.report && !plan.report(done, Parts.size()))
            throw Interruption();
        sortPart(Parts[p], needs, *spaces.borrow());
        ++done;
    });
    listPieces();
}

void SortedReader::planParts(const CloudIndex& index, const PointNeeds& needs, const ReadingPlan& plan) {
    std::uint64_t bytes = 0;
    for (const Stretch& stretch : index.stretches) {
        if (Parts.empty() || Parts.back().source != stretch.source)
            Layouts.push_back(std::make_unique<RecordLayout>(
                compactLayout(Cloud.sources()[stretch.source]->format(), needs.fields)));
        const std::uint64_t length = Layouts.back()->format.recordLength;
        // Records before and after sorting, and where each belongs.
        const std::uint64_t perRecord = 2 * length + sizeof(std::uint64_t);
        const std::uint64_t most =
            std::clamp(plan.memory / 4 / plan.threads / perRecord, shortestRun, longestRun);
        const bool goesOn = !Parts.empty() && Parts.back().source == stretch.source &&
                            Parts.back().first + Parts.back().count == stretch.first &&
                            Parts.back().count + stretch.count <= most;
        if (!goesOn)
            Parts.push_back({stretch.source, stretch.first, 0, Layouts.back().get(), most, bytes, {}});
        Parts.back().count += stretch.count;
        bytes += stretch.count * length;
    }
    if (bytes > plan.memory / 2)
        Scratch = std::make_unique<ScratchFile>(plan.scratch);
}

/// Reads a part and sorts it, run by run.
void SortedReader::sortPart(Part& part, const PointNeeds& needs, Workspace& space) {
    const PointSource& source = *Cloud.sources()[part.source];
    const RecordFormat& format = source.format();
    const RecordLayout& compact = *part.layout;
    const RecordLayout layout{format, fieldsIn(format, needs.fields)};
    const std::vector<KeptBytes> kept = keptBytes(layout, compact);
    const std::size_t length = compact.format.recordLength;
    PointFinder finder(Lattice, Window, needs);
    const std::uint64_t northernRow = Lattice.y().cells() - 1 - Window.row;
    space.squares.clear();
    source.visit(part.first, part.count, bytesRead(format, needs),
                 [&](const std::byte* records, std::size_t n) {
                     const FoundPoints& found = finder.find(layout, records, n);
                     space.records.resize(std::max(space.records.size(),
                                                   (space.squares.size() + found.ordinals.size()) * length));
                     std::byte* to = space.records.data() + space.squares.size() * length;
                     for (std::size_t i = 0; i < found.ordinals.size(); ++i) {
                         const std::byte* const from = records + found.ordinals[i] * format.recordLength;
                         for (const KeptBytes& bytes : kept)
                             copyBytes(to + bytes.to, from + bytes.from, bytes.size);
                         to += length;
                         space.squares.push_back((northernRow - finder.rows()[i]) / Side * Across +
                                                 (Window.column + finder.columns()[i]) / Side);
                     }
                     if (space.squares.size() >= part.recordsOfRun)
                         sortRun(part, space);
                 });
    WithoutGround += finder.withoutGround();
    sortRun(part, space);
}

/// Makes a run of the records in the workspace.
void SortedReader::sortRun(Part& part, Workspace& space) {
    const std::size_t count = space.squares.size();
    if (count == 0)
        return;
    const std::size_t length = part.layout->format.recordLength;
    Run run{part.layout, {}, {}, part.offset};
    const auto [low, high] = std::ranges::minmax(space.squares);
    space.places.assign(high - low + 2, 0);
    for (const std::uint64_t square : space.squares)
        ++space.places[square - low + 1];
    std::partial_sum(space.places.begin(), space.places.end(), space.places.begin());
    for (std::uint64_t square = low; square <= high; ++square)
        if (space.places[square - low] != space.places[square - low + 1])
            run.begins.push_back({square, space.places[square - low]});
    run.begins.push_back({high + 1, count});
    space.sorted.resize(count * length);
    for (std::size_t i = 0; i < count; ++i)
        std::memcpy(space.sorted.data() + length * space.places[space.squares[i] - low]++,
                    space.records.data() + i * length, length);
    if (Scratch)
        Scratch->write(run.offset, std::span(space.sorted.data(), count * length));
    else
        run.bytes.assign(space.sorted.begin(),
                         space.sorted.begin() + static_cast<std::ptrdiff_t>(count * length));
    part.runs.push_back(std::move(run));
    part.offset += count * length;
    Wanted += count;
    space.squares.clear();
}

void SortedReader::listPieces() {
    for (Part& part : Parts)
        for (Run& run : part.runs) {
            for (std::size_t b = 0; b + 1 < run.begins.size(); ++b)
                Pieces.push_back({run.begins[b].square, &run, run.begins[b].record,
                                  run.begins[b + 1].record - run.begins[b].record});
            run.begins = {};
        }
    std::ranges::stable_sort(Pieces, {}, &Piece::square);
}

/// Calls `visit(run, first, count)` for the records of a square in each run.
template <class Visitor> void SortedReader::forEachPiece(const Square& square, Visitor&& visit) const {
    const std::uint64_t number = square.down * Across + square.across;
    for (auto piece = std::ranges::lower_bound(Pieces, number, {}, &Piece::square);
         piece != Pieces.end() && piece->square == number; ++piece)
        visit(*piece->run, piece->first, piece->count);
}

void SortedReader::visit(const Square& square, const RecordVisitor& visitor) const {
    std::vector<std::byte> buffer;
    forEachPiece(square, [&](const Run& run, std::uint64_t first, std::uint64_t count) {
        const std::uint64_t length = run.layout->format.recordLength;
        while (count != 0) {
            const std::uint64_t n = std::min(count, recordsAtATime);
            const std::byte* records = run.bytes.data() + first * length;
            if (Scratch) {
                buffer.resize(recordsAtATime * length);
                Scratch->read(run.offset + first * length, std::span(buffer.data(), n * length));
                records = buffer.data();
            }
            visitor(*run.layout, records, static_cast<std::size_t>(n));
            first += n;
            count -= n;
        }
    });
}

double SortedReader::estimate(const Square& square) const {
    std::uint64_t points = 0;
    forEachPiece(square, [&](const Run&, std::uint64_t, std::uint64_t count) { points += count; });
    return static_cast<double>(points) *
           sharedPart(Lattice.square(Side, square.across, square.down), square.window);
}

} // namespace

std::unique_ptr<SquareReader> makeSortedReader(const PointCloud& cloud, const CloudIndex& index,
                                               const BlockLattice& lattice, const PointNeeds& needs,
                                               std::uint64_t side, const ReadingPlan& plan) {
    return std::make_unique<SortedReader>(cloud, index, lattice, needs, side, plan);
}

} // namespace Tilewright::Io
