#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include <tilewright/arrays/MultiIndex.h>

namespace Tilewright {

/// The points of a fragment, sorted into its cells. A point is a number, its ordinal in the fragment, and is
/// in one cell or in none.
///
/// Cells are identified by their linear number, x fastest. What is kept is the cell of every point and the
/// number of points of every cell; that is all that a reduction needs which takes the points in their own
/// order. The lists themselves are made when they are first asked for.
class TILEWRIGHT_API CellLists {
public:
    Quill::MultiIndex<3> sizes;

    /// Without cells.
    CellLists() = default;

    /// Sorts the points from 0 to `pointCount` - 1: `cellOf(i, outside)` gives the cell of point i, or
    /// `outside`.
    template <class CellOf>
    CellLists(const Quill::MultiIndex<3>& cellCounts, std::uint32_t pointCount, const CellOf& cellOf) {
        const unsigned long long outside = checkedProduct(cellCounts);
        // The count after those of the cells takes the points outside, which saves a test for each.
        Counts.assign(outside + 1, 0);
        sizes = cellCounts;
        PointCount = pointCount;
        CellOfPoint = std::make_unique_for_overwrite<unsigned long long[]>(pointCount);
        unsigned long long* const cellOfPoint = CellOfPoint.get();
        std::uint32_t* const counts = Counts.data();
        for (std::uint32_t i = 0; i < pointCount; ++i) {
            const unsigned long long cell = cellOf(i, outside);
            cellOfPoint[i] = cell;
            ++counts[cell];
        }
    }

    /// The same for cells that are known: `cellOfPoint` has the number of each point's cell. A number that no
    /// cell has stands for a point that is in none.
    CellLists(const Quill::MultiIndex<3>& cellCounts, std::span<const std::uint32_t> cellOfPoint)
        : CellLists(cellCounts, static_cast<std::uint32_t>(cellOfPoint.size()),
                    [&](std::uint32_t i, unsigned long long outside) {
                        return std::min<unsigned long long>(cellOfPoint[i], outside);
                    }) {}

    /// The number of points of the fragment, in cells or not.
    std::uint32_t pointCount() const { return PointCount; }

    /// Whether there is a list for each cell of the sizes.
    bool haveStorage() const { return counts().size() == sizes.product(); }

    /// The number of points of every cell.
    std::span<const std::uint32_t> counts() const { return {Counts.data(), Counts.size() - 1}; }

    /// Calls `visit(i, cell)` for each point in a cell, in the order of the points.
    template <class Visit> void forEachPoint(const Visit& visit) const {
        const unsigned long long* const cellOfPoint = CellOfPoint.get();
        const unsigned long long cellCount = counts().size();
        for (std::uint32_t i = 0; i < PointCount; ++i)
            if (cellOfPoint[i] < cellCount)
                visit(i, cellOfPoint[i]);
    }

    /// Calls `visit(cell, count)` for each cell with points, in the order of the cells.
    template <class Visit> void forEachCell(const Visit& visit) const {
        const std::span<const std::uint32_t> counted = counts();
        for (std::size_t cell = 0; cell < counted.size(); ++cell)
            if (counted[cell] != 0)
                visit(cell, counted[cell]);
    }

    /// Calls `visit(cell, ordinals)` for each cell with points, in the order of the cells, with a span of the
    /// ordinals of its points in ascending order.
    template <class Visit> void forEachList(const Visit& visit) const {
        if (!Ordinals)
            makeLists();
        const std::uint32_t* list = Ordinals.get();
        forEachCell([&](unsigned long long cell, std::uint32_t count) {
            visit(cell, std::span<const std::uint32_t>(list, count));
            list += count;
        });
    }

    /// Calls `visit(cell, values)` for each cell with points, in the order of the cells, where `values` is a
    /// span of what `read(i)` gives for its points, in their order. Values that are sorted themselves are
    /// quicker to come by than those that are looked up through a list. They may be reordered.
    template <class E, class Read, class Visit>
    void forEachListOfValues(const Read& read, const Visit& visit) const {
        std::vector<std::uint32_t> nextPlaces = firstPlaces();
        const auto sorted = std::make_unique_for_overwrite<E[]>(pointsInCells());
        E* const first = sorted.get();
        std::uint32_t* const next = nextPlaces.data();
        forEachPoint([&](std::uint32_t i, unsigned long long cell) { first[next[cell]++] = read(i); });
        E* values = first;
        forEachCell([&](unsigned long long cell, std::uint32_t length) {
            visit(cell, std::span<E>(values, length));
            values += length;
        });
    }

private:
    /// Throws what a vector throws that is asked for too much: the product alone might wrap and look small.
    static unsigned long long checkedProduct(const Quill::MultiIndex<3>& cellCounts) {
        unsigned long long total = 1;
        bool isTooMuch = false;
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (cellCounts[axis] != 0)
                isTooMuch |= __builtin_mul_overflow(total, cellCounts[axis], &total);
        if (isTooMuch || total >= std::vector<std::uint32_t>().max_size())
            throw std::length_error("cannot create std::vector larger than max_size()");
        return cellCounts.product();
    }

    /// A counting sort: the lists follow one another in the order of the cells.
    void makeLists() const {
        std::vector<std::uint32_t> nextPlaces = firstPlaces();
        auto ordinals = std::make_unique_for_overwrite<std::uint32_t[]>(pointsInCells());
        std::uint32_t* const first = ordinals.get();
        std::uint32_t* const next = nextPlaces.data();
        forEachPoint([&](std::uint32_t i, unsigned long long cell) { first[next[cell]++] = i; });
        Ordinals = std::move(ordinals);
    }

    std::uint32_t pointsInCells() const { return PointCount - Counts.back(); }

    /// Where the list of each cell begins.
    std::vector<std::uint32_t> firstPlaces() const {
        std::vector<std::uint32_t> places(counts().size());
        std::exclusive_scan(counts().begin(), counts().end(), places.begin(), std::uint32_t{0});
        return places;
    }

    std::vector<std::uint32_t> Counts{0};
    std::unique_ptr<unsigned long long[]> CellOfPoint;
    std::uint32_t PointCount = 0;
    mutable std::unique_ptr<std::uint32_t[]> Ordinals;
};

} // namespace Tilewright
