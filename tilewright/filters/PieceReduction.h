#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/filters/vocabulary.h>

namespace Tilewright {

/// Reduces values of type T to one value per cell, as reduceCells() does and to the same bits, but takes the
/// points piece by piece, in their order. What it keeps does not grow with the points: it is for clouds of
/// which only a part is in memory at a time.
///
/// Thread safety: take() changes the results of the cells that it is given; calls for other cells may run at
/// once.
template <class T> class PieceReduction {
public:
    PieceReduction() = default;
    PieceReduction(const PieceReduction&) = delete;
    PieceReduction& operator=(const PieceReduction&) = delete;
    virtual ~PieceReduction() = default;

    /// Takes the next points: `cells` has the linear number of the cell of each, x fastest, and `values` the
    /// value of each. All numbers must be those of cells.
    virtual void take(std::span<const std::uint32_t> cells, const T* values) = 0;

    /// Turns what was taken into results, once after the last piece: for the cells from `firstCell` on, with
    /// the number of points of each. Ranges of cells may be finished in any order.
    virtual void finish(std::uint64_t firstCell, std::span<const std::uint32_t> counts) = 0;

    /// A `MemArray<3,O>` of the results, as reduceCells() gives it; of use once all cells are finished.
    virtual Quill::ArrayPtr results() const = 0;
};

/// A reduction of values of T to cells of the given sizes. Null for a filter that needs all values of a cell
/// at once, which are the median and the regression of points; for Skip; and for an unknown filter or
/// direction. T is a value type of fields of plain numbers, or a point.
template <class T>
std::unique_ptr<PieceReduction<T>> makePieceReduction(const Quill::MultiIndex<3>& sizes,
                                                      const DirectionAndFilter& wanted);

/// Gives the next points to all of `reductions`, as take() of each would, and to the same bits. Sums, least
/// and greatest values of plain numbers are found in one go over the points, which takes less time than one
/// after the other. The reductions are different ones, of the same sizes, and none is null.
template <class T>
void takeTogether(std::span<PieceReduction<T>* const> reductions, std::span<const std::uint32_t> cells,
                  const T* values);

} // namespace Tilewright
