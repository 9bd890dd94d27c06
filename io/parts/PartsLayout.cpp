#include <io/parts/PartsLayout.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include <io/blocks/SquareGeometry.h>

namespace Tilewright::Io {

namespace {

/// What a cell costs, counted in points: it is made and written though no point may lie in it.
constexpr double costOfCell = 0.05;
/// What a point costs that is read where it is not wanted.
constexpr double costOfStranger = 0.5;

/// A number for each block, which are added for many blocks at once, and summed up for many at once.
class BlockTable {
public:
    explicit BlockTable(const BlockRectangle& all)
        : Stride(all.across() + 1), Sums((all.across() + 1) * (all.down() + 1)) {}

    /// Adds to each of the blocks. Notes the corners alone: a stretch of a cloud in no order reaches into all
    /// blocks.
    void add(const BlockRectangle& blocks, double each) {
        at(blocks.west, blocks.north) += each;
        at(blocks.east, blocks.north) -= each;
        at(blocks.west, blocks.south) -= each;
        at(blocks.east, blocks.south) += each;
    }

    /// Ends the adding; then sums are known.
    void sumUp() {
        spread();
        spread();
    }

    double sum(const BlockRectangle& blocks) const {
        return before(blocks.east, blocks.south) - before(blocks.west, blocks.south) -
               before(blocks.east, blocks.north) + before(blocks.west, blocks.north);
    }

private:
    double& at(std::uint64_t across, std::uint64_t down) { return Sums[down * Stride + across]; }

    /// Of all blocks west of a column and north of a row.
    double before(std::uint64_t across, std::uint64_t down) const {
        return across == 0 || down == 0 ? 0.0 : Sums[(down - 1) * Stride + across - 1];
    }

    /// Turns each number into the sum of those west and north of it and its own.
    void spread() {
        for (std::size_t i = 1; i < Sums.size(); ++i)
            Sums[i] += i % Stride == 0 ? 0.0 : Sums[i - 1];
        for (std::size_t i = Stride; i < Sums.size(); ++i)
            Sums[i] += Sums[i - Stride];
    }

    std::uint64_t Stride;
    std::vector<double> Sums;
};

class BlockCutter {
public:
    BlockCutter(const CloudIndex& index, const BlockLattice& lattice)
        : Lattice(lattice), All(lattice.blocks()), Points(All), Eastwards(All), Southwards(All) {
        for (const Stretch& stretch : index.stretches)
            if (const std::optional<CellWindow> cells = cellsOf(stretch, lattice))
                add(squaresOf(*cells, lattice, BlockLattice::blockSide), static_cast<double>(stretch.count));
        for (BlockTable* const table : {&Points, &Eastwards, &Southwards})
            table->sumUp();
    }

    std::vector<BlockRectangle> cut(std::uint64_t parts) const {
        std::vector<BlockRectangle> all;
        cut(All, std::min(parts, All.count()), all);
        return all;
    }

private:
    /// Two rectangles, and how many of the parts the first one has.
    struct Cut {
        BlockRectangle first;
        BlockRectangle second;
        std::uint64_t parts = 0;
        double cost = std::numeric_limits<double>::infinity();
    };

    /// The points of a stretch are spread evenly.
    void add(const SquareRange& squares, double points) {
        const BlockRectangle blocks{squares.firstAcross, squares.firstDown, squares.lastAcross + 1,
                                    squares.lastDown + 1};
        Points.add(blocks, points / static_cast<double>(blocks.count()));
        if (blocks.across() > 1)
            Eastwards.add({blocks.west, blocks.north, blocks.east - 1, blocks.south},
                          points / static_cast<double>(blocks.down()));
        if (blocks.down() > 1)
            Southwards.add({blocks.west, blocks.north, blocks.east, blocks.south - 1},
                           points / static_cast<double>(blocks.across()));
    }

    double costOf(const BlockRectangle& blocks) const {
        return Points.sum(blocks) + costOfCell * static_cast<double>(Lattice.windowOf(blocks).cells());
    }

    void cut(const BlockRectangle& blocks, std::uint64_t parts, std::vector<BlockRectangle>& all) const {
        if (parts == 1) {
            all.push_back(blocks);
            return;
        }
        const Cut best = bestCut(blocks, parts);
        cut(best.first, best.parts, all);
        cut(best.second, parts - best.parts, all);
    }

    Cut bestCut(const BlockRectangle& blocks, std::uint64_t parts) const {
        Cut best;
        // Of equal cuts the one through the longer side.
        const bool isTall = blocks.down() > blocks.across();
        for (const bool isAcross : {isTall, !isTall}) {
            const std::uint64_t length = isAcross ? blocks.down() : blocks.across();
            for (std::uint64_t place = 1; place < length; ++place)
                if (const Cut found = cutAt(blocks, isAcross, place, parts); found.cost < best.cost)
                    best = found;
        }
        return best;
    }

    /// The cost counts what the parts have to do for each that they would have to do at best.
    Cut cutAt(const BlockRectangle& blocks, bool isAcross, std::uint64_t place, std::uint64_t parts) const {
        Cut found{blocks, blocks};
        BlockRectangle edge = blocks;
        if (isAcross) {
            found.first.south = found.second.north = edge.south = blocks.north + place;
            edge.north = edge.south - 1;
        } else {
            found.first.east = found.second.west = edge.east = blocks.west + place;
            edge.west = edge.east - 1;
        }
        const double all = costOf(blocks);
        const double share = std::clamp(costOf(found.first) / all, 0.0, 1.0);
        const double wanted = std::round(share * static_cast<double>(parts));
        // Each block makes a part at most.
        const std::uint64_t most = std::min(parts - 1, found.first.count());
        const std::uint64_t least = parts - std::min(parts - 1, found.second.count());
        found.parts = std::clamp(static_cast<std::uint64_t>(wanted), least, most);
        const double ofFirst = static_cast<double>(found.parts) / static_cast<double>(parts);
        const double strangers = (isAcross ? Southwards : Eastwards).sum(edge);
        // Halves leave the most choice to the cuts that follow.
        const double lopsidedness = std::fabs(2.0 * ofFirst - 1.0);
        found.cost = std::max(share / ofFirst, (1.0 - share) / (1.0 - ofFirst)) +
                     costOfStranger * strangers / all + 0.1 * lopsidedness;
        return found;
    }

    const BlockLattice& Lattice;
    BlockRectangle All;
    BlockTable Points;
    /// The points of a block that may as well lie in the block east of it, and in that south of it: of each
    /// stretch as many as it has in that row or column.
    BlockTable Eastwards;
    BlockTable Southwards;
};

} // namespace

std::vector<BlockRectangle> shareBlocks(const CloudIndex& index, const BlockLattice& lattice,
                                        std::uint64_t parts) {
    return BlockCutter(index, lattice).cut(parts);
}

} // namespace Tilewright::Io
