#pragma once

#include <algorithm>
#include <span>

#include <tilewright/filters/Operator.h>

namespace Tilewright {
namespace {

/// The element in the middle of `values` in ascending order, the upper of the two for an even number: always
/// one of the values. What is not a number comes after every number. Reorders `values`; zero if there are
/// none.
template <class E> E medianOf(std::span<E> values) {
    if (values.empty())
        return E();
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    auto end = values.end();
    if constexpr (std::is_floating_point_v<E>) {
        const auto isNumber = [](E v) { return v == v; };
        if (!std::all_of(values.begin(), end, isNumber))
            end = std::partition(values.begin(), end, isNumber);
        if (middle >= end)
            return *middle;
    }
    std::nth_element(values.begin(), middle, end);
    return *middle;
}

/// The median of the values; of records, that of each component by itself.
template <class FilterT> class MedianOperator : public Operator<FilterT> {
    using typename Operator<FilterT>::value_type;
    using typename Operator<FilterT>::output_type;

public:
    output_type reduce(std::span<const unsigned> cellPoints, const std::vector<value_type>& values,
                       const unsigned&, const point&) const override {
        if constexpr (Orrery::Record<output_type>) {
            output_type result;
            for (std::size_t c = 0; c < 3; ++c)
                result[c] =
                    medianThrough(cellPoints, [&](unsigned i) { return FilterT::readValue(values[i])[c]; });
            return result;
        } else {
            return medianThrough(cellPoints, [&](unsigned i) { return FilterT::readValue(values[i]); });
        }
    }

    /// Records go through lists: their components would take three times the memory.
    void reduceCells(const CellLists& cells, const std::vector<value_type>& values,
                     const Quill::UniformCartesianArray* nodes, output_type* results) const override {
        if constexpr (Orrery::Record<output_type>)
            Operator<FilterT>::reduceCells(cells, values, nodes, results);
        else
            cells.forEachListOfValues<output_type>(
                [first = values.data()](std::uint32_t i) { return FilterT::readValue(first[i]); },
                [results](unsigned long long cell, std::span<output_type> list) {
                    results[cell] = medianOf(list);
                });
    }

private:
    template <class T> struct ScalarOf { using type = T; };
    template <Orrery::Record T> struct ScalarOf<T> { using type = typename T::element_type; };
    using Scalar = typename ScalarOf<output_type>::type;

    template <class Read> Scalar medianThrough(std::span<const unsigned> cellPoints, const Read& read) const {
        Gathered.resize(cellPoints.size());
        for (std::size_t k = 0; k < cellPoints.size(); ++k)
            Gathered[k] = read(cellPoints[k]);
        return medianOf(std::span(Gathered));
    }

    /// Scratch memory, reused from cell to cell.
    mutable std::vector<Scalar> Gathered;
};

} // namespace
} // namespace Tilewright
