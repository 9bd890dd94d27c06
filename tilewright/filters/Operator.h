#pragma once

#include <span>
#include <vector>

#include <tilewright/filters/CellLists.h>
#include <tilewright/filters/CellNodes.h>
#include <tilewright/filters/views.h>

namespace Tilewright {
namespace {

/// A reduction: turns the values of a cell's points into the one value of the cell. Operators have no state;
/// one is made on the stack for each field and fragment.
template <class FilterT> class Operator {
public:
    using value_type = typename FilterT::value_type;
    using output_type = typename FilterT::output_type;

    virtual ~Operator() = default;

    /// Reduces the values at `cellPoints`, in that order, to one. `count` is the number of `cellPoints`,
    /// which must all lie inside `values`; `cellPosition` is the node of the cell.
    virtual output_type reduce(std::span<const unsigned> cellPoints, const std::vector<value_type>& values,
                               const unsigned& count, const point& cellPosition) const = 0;

    /// Whether reduce looks at the position, which then has to be worked out for every cell.
    virtual bool readsCellPosition() const { return false; }

    /// Reduces every cell with points into its place in `results`, which are all zero; the others stay so.
    /// Without `nodes` all cells are at zero.
    virtual void reduceCells(const CellLists& cells, const std::vector<value_type>& values,
                             const Quill::UniformCartesianArray* nodes, output_type* results) const {
        const bool readsPosition = readsCellPosition();
        const CellNodes positions(readsPosition ? nodes : nullptr);
        cells.forEachList([&](unsigned long long cell, const MyCell& list) {
            results[cell] = reduce(list.PointIndices, values, static_cast<unsigned>(list.PointIndices.size()),
                                   readsPosition ? positions[cell] : point());
        });
    }
};

/// A reduction that takes one value at a time. It takes the values in the order of the points and keeps what
/// it has so far in the result of the cell, so that no list has to be made and read.
///
/// `Steps` are the static operations `start()`, what a cell has before its first value; `take(result,
/// value)`; and `finish(result, count)`.
template <class FilterT, class Steps> class StreamingOperator : public Operator<FilterT> {
public:
    using typename Operator<FilterT>::value_type;
    using typename Operator<FilterT>::output_type;

    output_type reduce(std::span<const unsigned> cellPoints, const std::vector<value_type>& values,
                       const unsigned& count, const point&) const override {
        output_type result = Steps::start();
        for (const unsigned i : cellPoints)
            Steps::take(result, FilterT::readValue(values[i]));
        Steps::finish(result, count);
        return result;
    }

    void reduceCells(const CellLists& cells, const std::vector<value_type>& values,
                     const Quill::UniformCartesianArray*, output_type* results) const override {
        const value_type* const first = values.data();
        if (Steps::start() != output_type())
            cells.forEachCell([&](unsigned long long cell, unsigned) { results[cell] = Steps::start(); });
        cells.forEachPoint([&](std::uint32_t i, unsigned long long cell) {
            Steps::take(results[cell], FilterT::readValue(first[i]));
        });
        cells.forEachCell(
            [&](unsigned long long cell, unsigned count) { Steps::finish(results[cell], count); });
    }
};

} // namespace
} // namespace Tilewright
