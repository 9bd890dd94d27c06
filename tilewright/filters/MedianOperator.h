#pragma once

#include <algorithm>
#include <span>

#include <tilewright/filters/Operator.h>

namespace Tilewright {
namespace {

/// The element in the middle of `values` in ascending order, the upper of the two for an even number: always
/// one of the values. Not-a-number comes after every number. Reorders `values`; zero if there are none.
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
template <class FilterT> class MedianOperator final : public Operator<FilterT> {
public:
    using typename Operator<FilterT>::value_type;
    using typename Operator<FilterT>::output_type;

    output_type reduce(const std::vector<unsigned>& cellPoints, const std::vector<value_type>& values,
                       const unsigned&, const point&) const override {
        Scalars gathered;
        return medianAt(cellPoints, values.data(), gathered);
    }

    /// Records go through lists: their components would take three times the memory.
    static void reduceCells(const CellLists& cells, const value_type* values,
                            const Quill::UniformCartesianArray*, output_type* results) {
        if constexpr (Orrery::Record<output_type>) {
            Scalars gathered;
            cells.forEachList([&](unsigned long long cell, std::span<const unsigned> list) {
                results[cell] = medianAt(list, values, gathered);
            });
        } else {
            cells.forEachListOfValues<output_type>(
                [values](std::uint32_t i) { return FilterT::readValue(values[i]); },
                [results](unsigned long long cell, std::span<output_type> list) {
                    results[cell] = medianOf(list);
                });
        }
    }

private:
    template <class T> struct ScalarOf { using type = T; };
    template <Orrery::Record T> struct ScalarOf<T> { using type = typename T::element_type; };
    using Scalars = std::vector<typename ScalarOf<output_type>::type>;

    static output_type medianAt(std::span<const unsigned> cellPoints, const value_type* values,
                                Scalars& gathered) {
        const auto medianThrough = [&](const auto& read) {
            gathered.resize(cellPoints.size());
            std::ranges::transform(cellPoints, gathered.begin(), read);
            return medianOf(std::span(gathered));
        };
        if constexpr (Orrery::Record<output_type>) {
            output_type result;
            for (std::size_t c = 0; c < 3; ++c)
                result[c] = medianThrough([&](unsigned i) { return FilterT::readValue(values[i])[c]; });
            return result;
        } else {
            return medianThrough([&](unsigned i) { return FilterT::readValue(values[i]); });
        }
    }
};

} // namespace
} // namespace Tilewright
