#include <io/blocks/WindowPoints.h>

#include <algorithm>

#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

/// A window turned out to have more points than wanted.
struct TooManyPoints {};

[[noreturn]] void failTooMany() {
    throw InputError("more than 4294967295 points lie in a single cell; choose smaller cells");
}

} // namespace

WindowPoints::WindowPoints(const SquareReader& reader, const BlockLattice& lattice, const ReductionPlan& plan,
                           const Square& square)
    : Reader(reader), Plan(plan), Window(square),
      Finder(lattice, square.window, plan.needs, !reader.needsSelection()), Points(plan, 0) {}

bool WindowPoints::take(const RecordLayout& layout, const std::byte* records, std::size_t count,
                        std::uint64_t limit) {
    const FoundPoints& found = Finder.find(layout, records, count);
    if (Points.size() + found.ordinals.size() > limit)
        return false;
    if (!found.ordinals.empty())
        Points.take(found, Finder);
    return true;
}

bool WindowPoints::load(std::uint64_t limit) {
    // Estimates run short now and then, and room that is not used costs nothing.
    const auto expected = std::min(static_cast<std::uint64_t>(Reader.estimate(Window) * 1.25) + 64, limit);
    Points = PointTable(Plan, expected);
    try {
        Reader.visit(Window, [&](const RecordLayout& layout, const std::byte* records, std::size_t count) {
            if (!take(layout, records, count, limit))
                throw TooManyPoints();
        });
    } catch (const TooManyPoints&) {
        if (limit == mostPoints)
            failTooMany();
        Points = PointTable(Plan, 0);
        return false;
    }
    return true;
}

std::vector<Quill::ArrayPtr> WindowPoints::takeColumns() {
    std::vector<Quill::ArrayPtr> arrays;
    for (const auto& column : Points.columns())
        arrays.push_back(column->moveToArray());
    return arrays;
}

std::uint64_t WindowPoints::visitPieces(std::size_t pieceSize, const PieceVisitor& visit) {
    Points = PointTable(Plan, pieceSize);
    std::uint64_t handedOut = 0;
    const auto handOut = [&] {
        handedOut += Points.size();
        if (handedOut > mostPoints)
            failTooMany();
        visit(Points);
        Points.clear();
    };
    Reader.visit(Window, [&](const RecordLayout& layout, const std::byte* records, std::size_t count) {
        take(layout, records, count, std::numeric_limits<std::uint64_t>::max());
        if (Points.size() >= pieceSize)
            handOut();
    });
    if (Points.size() != 0)
        handOut();
    return handedOut;
}

} // namespace Tilewright::Io
