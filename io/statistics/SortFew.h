/// SortFew: sorts as many values as a cell mostly has.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace Tilewright::Io {

/// The most values that sortFew() takes.
inline constexpr std::size_t fewValues = 32;

/// Counts for each value how many come before it. That takes more comparisons than other ways, but no branch
/// depends on one: half the time where a processor can't guess how values of a cell compare. None may be not
/// a number.
template <class T> void sortFew(std::span<T> values) {
    std::array<unsigned, fewValues> places;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const T value = values[i];
        unsigned place = 0;
        for (std::size_t j = 0; j < i; ++j) {
            const bool isBefore = value < values[j];
            places[j] += isBefore ? 1 : 0;
            place += isBefore ? 0 : 1;
        }
        places[i] = place;
    }
    std::array<T, fewValues> sorted;
    for (std::size_t i = 0; i < values.size(); ++i)
        sorted[places[i]] = values[i];
    std::copy_n(sorted.begin(), values.size(), values.begin());
}

} // namespace Tilewright::Io
