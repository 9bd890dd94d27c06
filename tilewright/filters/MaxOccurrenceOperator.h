#pragma once

#include <tilewright/filters/Operator.h>

namespace Tilewright {
namespace {

/// Takes one more value into the key that stands so far; the first key is the first value.
template <class O> struct MaxOccurrenceSteps {
    static void take(O& key, const O& value) {
        if constexpr (Orrery::Record<O>) {
            for (std::size_t c = 0; c < 3; ++c)
                if (key[c] < value[c])
                    key[c] = value[c];
        } else if (value < key) {
            key = value;
        }
    }
};

/// The filter of the counted map. The map counts how often each value occurs, in the order of the values, but
/// the counts do not decide: a plain value gets the map's first key, the smallest value, and a record under
/// "All" the last key of each component, the largest. Only that key is kept here. As in a map, of equal keys
/// the first stands, and a value that is not a number equals every key: it counts only where it comes first,
/// and then keeps all others out.
template <class FilterT> class MaxOccurrenceOperator final : public Operator<FilterT> {
public:
    using typename Operator<FilterT>::value_type;
    using typename Operator<FilterT>::output_type;

    output_type reduce(const std::vector<unsigned>& cellPoints, const std::vector<value_type>& values,
                       const unsigned&, const point&) const override {
        return keyOf(cellPoints, values.data());
    }

    static void reduceCells(const CellLists& cells, const value_type* values,
                            const Quill::UniformCartesianArray*, output_type* results) {
        cells.forEachList([&](unsigned long long cell, std::span<const unsigned> list) {
            results[cell] = keyOf(list, values);
        });
    }

private:
    static output_type keyOf(std::span<const unsigned> cellPoints, const value_type* values) {
        if (cellPoints.empty())
            return output_type();
        output_type key = FilterT::readValue(values[cellPoints.front()]);
        for (const unsigned i : cellPoints)
            MaxOccurrenceSteps<output_type>::take(key, FilterT::readValue(values[i]));
        return key;
    }
};

} // namespace
} // namespace Tilewright
