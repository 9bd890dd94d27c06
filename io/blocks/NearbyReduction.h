/// NearbyReduction: means of the points around the centres of cells, those of other cells included.
///
/// The points of each cell are added up by themselves, in the order of the cloud, and these sums in the order
/// of the cells. So it makes no difference how many cells are worked on at a time, nor in which pieces a cell
/// is read.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include <io/blocks/RasterJob.h>
#include <io/blocks/SquareReader.h>
#include <io/blocks/WindowPoints.h>

namespace Tilewright::Io {

/// So many cells beyond its own a mean can reach at most.
inline constexpr double mostCellsReached = 256.0;

/// The cells of a window and those around it whose points have a say in it.
CellWindow windowWithReach(const CellWindow& window, const ReductionPlan& plan, const BlockLattice& lattice);

/// What the cells of a window came to, for each reduction of that kind.
class NearbyMeans {
public:
    explicit NearbyMeans(const CellWindow& window) : Window(window) {}

    /// The room for the means of a reduction, row by row from the south.
    std::span<double> add(std::size_t reduction) {
        return Items.emplace_back(reduction, std::vector<double>(Window.cells())).second;
    }
    /// Adds those of a part of the window to what other reductions made of the part.
    void addTo(const CellWindow& part, std::vector<Quill::ArrayPtr>& values) const;

private:
    CellWindow Window;
    std::vector<std::pair<std::size_t, std::vector<double>>> Items;
};

class NearbyReduction {
public:
    using GoOn = std::function<void()>;

    /// What is referred to must outlive the object. `goOn` is called now and then, and may throw.
    NearbyReduction(const RasterJob& job, const BlockLattice& lattice, const SquareReader& reader, GoOn goOn);

    /// Whether a window may have results, although no point lies in it.
    bool reaches(const CellWindow& window) const;
    NearbyMeans reduce(const CellWindow& window) const;

    class Sums;

private:
    /// A reduction, and what it needs to know of points.
    struct Item {
        std::size_t number;
        Statistic statistic;
        ReductionPlan plan;
        /// In cells.
        std::uint64_t reachX;
        std::uint64_t reachY;
    };

    static std::uint64_t cellsAround(const Item& item);
    CellWindow around(const Item& item, const CellWindow& window) const;
    double estimate(const CellWindow& window) const;
    template <class Visit> void forEachSquare(const CellWindow& window, const Visit& visit) const;
    /// Where the results of a window go among those of a whole one.
    struct Room {
        CellWindow whole;
        std::span<double> results;

        double& of(std::uint64_t column, std::uint64_t row) const {
            return results[(row - whole.row) * whole.columns + column - whole.column];
        }
    };

    void reduceWindow(const Item& item, const CellWindow& window, const Room& room) const;
    bool reduceAtOnce(const Item& item, const CellWindow& window, const Room& room) const;
    void reduceInPieces(const Item& item, const CellWindow& window, const Room& room) const;

    const RasterJob& Job;
    const BlockLattice& Lattice;
    const SquareReader& Reader;
    GoOn Watch;
    std::vector<Item> Items;
};

} // namespace Tilewright::Io
