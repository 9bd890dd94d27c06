#include <algorithm>
#include <atomic>
#include <numeric>

#include <io/blocks/PointFinder.h>
#include <io/blocks/SquareGeometry.h>
#include <io/blocks/SquareReader.h>
#include <io/clouds/PolygonArea.h>
#include <io/system/Parallel.h>

namespace Tilewright::Io {

namespace {

/// Reads the files themselves.
class StretchReader : public SquareReader {
public:
    StretchReader(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                  const PointNeeds& needs, std::uint64_t side, const ReadingPlan& plan);

    std::uint64_t side() const override { return Side; }
    void visit(const Square& square, const RecordVisitor& visitor) const override;
    double estimate(const Square& square) const override;
    bool needsSelection() const override { return true; }
    std::uint64_t wantedPoints() const override { return Counts.wanted; }
    std::uint64_t pointsWithoutGround() const override { return Counts.withoutGround; }

private:
    template <class Visitor> void forEachStretch(const Square& square, Visitor&& visit) const {
        const std::size_t u = square.down * Across + square.across;
        for (std::size_t i = Begins[u]; i < Begins[u + 1]; ++i) {
            const Stretch& stretch = Stretches[Lists[i]];
            const double share = sharedPart(*cellsOf(stretch, Lattice), square.window);
            if (share > 0.0)
                visit(stretch, share);
        }
    }
    void listStretches();
    const PointSource& sourceOf(const Stretch& stretch) const { return *Cloud.sources()[stretch.source]; }

    const PointCloud& Cloud;
    const std::vector<Stretch>& Stretches;
    const BlockLattice& Lattice;
    std::uint64_t Side;
    std::uint64_t Across;
    std::uint64_t Down;
    /// Of each square its stretches, in ascending order: Lists[Begins[u]] to before Lists[Begins[u + 1]].
    std::vector<std::uint64_t> Begins;
    std::vector<std::uint32_t> Lists;
    /// Of each source; those without stretches have none.
    std::vector<std::optional<RecordLayout>> Layouts;
    PointCounts Counts;
};

StretchReader::StretchReader(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                             const PointNeeds& needs, std::uint64_t side, const ReadingPlan& plan)
    : Cloud(cloud), Stretches(index.stretches), Lattice(lattice), Side(side),
      Across(lattice.squaresAcross(side)), Down(lattice.squaresDown(side)), Layouts(cloud.sources().size()) {
    for (const Stretch& stretch : Stretches)
        if (std::optional<RecordLayout>& layout = Layouts[stretch.source]; !layout) {
            const RecordFormat& format = sourceOf(stretch).format();
            layout = RecordLayout{format, fieldsIn(format, needs.fields)};
        }
    listStretches();
    if (!plan.part)
        Counts = countWanted(cloud, index, lattice, needs, plan);
}

void StretchReader::listStretches() {
    const auto forEachEntry = [&](auto&& visit) {
        for (std::size_t s = 0; s < Stretches.size(); ++s) {
            const std::optional<CellWindow> cells = cellsOf(Stretches[s], Lattice);
            if (!cells)
                continue;
            const SquareRange squares = squaresOf(*cells, Lattice, Side);
            for (std::uint64_t d = squares.firstDown; d <= squares.lastDown; ++d)
                for (std::uint64_t a = squares.firstAcross; a <= squares.lastAcross; ++a)
                    visit(d * Across + a, static_cast<std::uint32_t>(s));
        }
    };
    Begins.assign(Across * Down + 1, 0);
    forEachEntry([&](std::size_t square, std::uint32_t) { ++Begins[square + 1]; });
    std::partial_sum(Begins.begin(), Begins.end(), Begins.begin());
    Lists.resize(Begins.back());
    std::vector<std::uint64_t> next(Begins.begin(), Begins.end() - 1);
    forEachEntry([&](std::size_t square, std::uint32_t stretch) { Lists[next[square]++] = stretch; });
}

void StretchReader::visit(const Square& square, const RecordVisitor& visitor) const {
    forEachStretch(square, [&](const Stretch& stretch, double) {
        const RecordLayout& layout = *Layouts[stretch.source];
        sourceOf(stretch).visit(stretch.first, stretch.count, [&](const std::byte* records, std::size_t n) {
            visitor(layout, records, n);
        });
    });
}

double StretchReader::estimate(const Square& square) const {
    double points = 0.0;
    forEachStretch(square, [&](const Stretch& stretch, double share) {
        points += static_cast<double>(stretch.count) * share;
    });
    return points;
}

bool isApart(const Stretch& stretch, const CoordinateBox& box) {
    bool isApart = false;
    for (std::size_t axis = 0; axis < 2; ++axis)
        isApart |= stretch.high[axis] < box.low[axis] || stretch.low[axis] > box.high[axis];
    return isApart;
}

/// How many points of a stretch are wanted, if its box leaves no doubt.
std::optional<std::uint64_t> countByBox(const Stretch& stretch, const BlockLattice& lattice,
                                        const PointNeeds& needs) {
    if (!cellsOf(stretch, lattice) || (needs.clip && isApart(stretch, needs.clip->box())))
        return 0;
    const bool isInside = lattice.x().holds(stretch.low[0], stretch.high[0]) &&
                          lattice.y().holds(stretch.low[1], stretch.high[1]);
    if (!isInside)
        return std::nullopt;
    if (!needs.areSelective())
        return stretch.count;
    return stretch.selected != Stretch::notCounted ? std::optional(stretch.selected) : std::nullopt;
}

} // namespace

PointCounts countWanted(const PointCloud& cloud, const CloudIndex& index, const BlockLattice& lattice,
                        const PointNeeds& needs, const ReadingPlan& plan) {
    const std::vector<Stretch>& stretches = index.stretches;
    std::atomic<std::uint64_t> wanted = 0;
    std::atomic<std::uint64_t> withoutGround = 0;
    forEachPiece(plan.threads, stretches.size(), [&](std::size_t s) {
        if (plan.report && !plan.report(s, stretches.size()))
            throw Interruption();
        if (const std::optional<std::uint64_t> known = countByBox(stretches[s], lattice, needs)) {
            wanted += *known;
            return;
        }
        PointFinder finder(lattice, lattice.whole(), needs);
        std::uint64_t found = 0;
        const Stretch& stretch = stretches[s];
        const PointSource& source = *cloud.sources()[stretch.source];
        const RecordLayout layout{source.format(), {}};
        source.visit(stretch.first, stretch.count, bytesRead(source.format(), needs),
                     [&](const std::byte* records, std::size_t n) {
                         found += finder.find(layout, records, n).ordinals.size();
                     });
        wanted += found;
        withoutGround += finder.withoutGround();
    });
    return {wanted, withoutGround};
}

std::unique_ptr<SquareReader> makeStretchReader(const PointCloud& cloud, const CloudIndex& index,
                                                const BlockLattice& lattice, const PointNeeds& needs,
                                                std::uint64_t side, const ReadingPlan& plan) {
    return std::make_unique<StretchReader>(cloud, index, lattice, needs, side, plan);
}

} // namespace Tilewright::Io
