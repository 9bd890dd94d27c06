#pragma once

#include <span>
#include <vector>

#include <tilewright/filters/CellLists.h>
#include <tilewright/filters/CellNodes.h>
#include <tilewright/filters/views.h>

namespace Tilewright {
namespace {

/// A reduction: turns the values of a cell's points into the one value of the cell. Operators have no state.
///
/// An operator's class also has the static operation `reduceCells`, a CellReduction: the same reduction for
/// all cells of a fragment at once, which is how the walk over the fragments reduces. It keeps its scratch
/// memory from cell to cell and may take the points in an order that suits it, with the same results.
template <class FilterT> class Operator {
public:
    using value_type = typename FilterT::value_type;
    using output_type = typename FilterT::output_type;

    /// Reduces the values at `cellPoints`, in that order, to one. `count` is the number of `cellPoints`,
    /// which must all lie inside `values`; `cellPosition` is the node of the cell.
    virtual output_type reduce(const std::vector<unsigned>& cellPoints, const std::vector<value_type>& values,
                               const unsigned& count, const point& cellPosition) const = 0;

protected:
    ~Operator() = default;
};

/// Reduces every cell with points into its place in `results`, which are all zero; the others stay so.
/// `values` has one value for each point of the fragment. Without `nodes` all cells are at zero.
template <class FilterT>
using CellReduction = void (*)(const CellLists& cells, const typename FilterT::value_type* values,
                               const Quill::UniformCartesianArray* nodes,
                               typename FilterT::output_type* results);

/// A reduction that takes one value at a time. It takes the values in the order of the points and keeps what
/// it has so far in the result of the cell, so that no list has to be made and read.
///
/// `Steps` are the static operations `start()`, what a cell has before its first value; `take(result,
/// value)`; and `finish(result, count)`.
template <class FilterT, class Steps> class StreamingOperator : public Operator<FilterT> {
public:
    using typename Operator<FilterT>::value_type;
    using typename Operator<FilterT>::output_type;

    output_type reduce(const std::vector<unsigned>& cellPoints, const std::vector<value_type>& values,
                       const unsigned& count, const point&) const override {
        output_type result = Steps::start();
        for (const unsigned i : cellPoints)
            Steps::take(result, FilterT::readValue(values[i]));
        Steps::finish(result, count);
        return result;
    }

    static void reduceCells(const CellLists& cells, const value_type* values,
                            const Quill::UniformCartesianArray*, output_type* results) {
        if (Steps::start() != output_type())
            cells.forEachCell([&](unsigned long long cell, unsigned) { results[cell] = Steps::start(); });
        cells.forEachPoint([&](std::uint32_t i, unsigned long long cell) {
            Steps::take(results[cell], FilterT::readValue(values[i]));
        });
        cells.forEachCell(
            [&](unsigned long long cell, unsigned count) { Steps::finish(results[cell], count); });
    }

protected:
    ~StreamingOperator() = default;
};

} // namespace
} // namespace Tilewright
