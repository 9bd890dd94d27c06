/// WindowPoints: the points of one window, each with its cell, and their values in columns.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include <io/blocks/PointTable.h>
#include <io/blocks/SquareReader.h>

namespace Tilewright::Io {

class WindowPoints {
public:
    /// No cell can have more: points are counted in 32 bits.
    static constexpr std::uint64_t mostPoints = std::numeric_limits<std::uint32_t>::max();

    /// What is referred to must outlive the object.
    WindowPoints(const SquareReader& reader, const BlockLattice& lattice, const ReductionPlan& plan,
                 const Square& square);

    /// Loads the points. False if the window has more than `limit`: then none are loaded. Throws InputError
    /// for more than mostPoints.
    bool load(std::uint64_t limit = mostPoints);

    /// What was loaded.
    const PointTable& points() const { return Points; }
    /// The columns of the plan as arrays; to be called once, and last.
    std::vector<Quill::ArrayPtr> takeColumns();

    using PieceVisitor = std::function<void(const PointTable& points)>;

    /// Hands out the points piece by piece, in their order, about `pieceSize` of them at a time, and keeps
    /// none. Gives their number.
    std::uint64_t visitPieces(std::size_t pieceSize, const PieceVisitor& visit);

private:
    bool take(const RecordLayout& layout, const std::byte* records, std::size_t count, std::uint64_t limit);

    const SquareReader& Reader;
    const ReductionPlan& Plan;
    Square Window;
    PointFinder Finder;
    PointTable Points;
};

} // namespace Tilewright::Io
