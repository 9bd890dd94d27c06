/// WindowPoints: the points of one window, each with its cell, and their values in columns.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include <io/blocks/PointFinder.h>

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

    /// Of every point that was loaded the number of its cell in the window, row by row from the south.
    std::span<const std::uint32_t> cells() const { return Cells; }
    /// The columns of the plan, with a value for each point; to be called once.
    std::vector<Quill::ArrayPtr> takeColumns();

    using Stores = std::vector<std::unique_ptr<ColumnStore>>;
    using PieceVisitor = std::function<void(std::span<const std::uint32_t> cells, const Stores& columns)>;

    /// Hands out the points piece by piece, in their order, about `pieceSize` of them at a time, and keeps
    /// none. Gives their number.
    std::uint64_t visitPieces(std::size_t pieceSize, const PieceVisitor& visit);

private:
    void makeStores(std::size_t expected);
    bool take(const RecordLayout& layout, const std::byte* records, std::size_t count, std::uint64_t limit);

    const SquareReader& Reader;
    const ReductionPlan& Plan;
    Square Window;
    PointFinder Finder;
    Stores Columns;
    std::vector<std::uint32_t> Cells;
};

} // namespace Tilewright::Io
