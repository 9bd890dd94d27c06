#pragma once

#include <functional>
#include <limits>

#include <tilewright/filters/Operator.h>

namespace Tilewright {
namespace {

/// Where the search for a maximum and for a minimum starts. The start value takes part like any other: it
/// bounds the result, at plus or minus a million in the types that can hold it.
template <class T> struct ExtremumStart {
    static constexpr T max = static_cast<T>(std::is_signed_v<T> ? -1000000 : 0);
    static constexpr T min = sizeof(T) < 4 ? std::numeric_limits<T>::max() : static_cast<T>(1000000);
};

/// The value that beats all others. On numbers a new value wins unless the standing one strictly beats it, so
/// that a value that is not a number replaces the standing one and is itself replaced by the next. On records
/// each component is sought by itself and must strictly beat the standing one.
template <class FilterT, class Beats> class ExtremumOperator : public Operator<FilterT> {
    using typename Operator<FilterT>::value_type;
    using typename Operator<FilterT>::output_type;

    template <class T> static constexpr T start() {
        return Beats()(2, 1) ? ExtremumStart<T>::max : ExtremumStart<T>::min;
    }

public:
    output_type reduce(const std::vector<unsigned>& cellPoints, const std::vector<value_type>& values,
                       const unsigned&, const point&) const override {
        if constexpr (Orrery::Record<output_type>) {
            constexpr auto first = start<typename output_type::element_type>();
            output_type best(first, first, first);
            for (const unsigned i : cellPoints) {
                const auto& value = FilterT::readValue(values[i]);
                for (std::size_t c = 0; c < 3; ++c)
                    if (Beats()(value[c], best[c]))
                        best[c] = value[c];
            }
            return best;
        } else {
            output_type best = start<output_type>();
            for (const unsigned i : cellPoints) {
                const output_type value = FilterT::readValue(values[i]);
                best = Beats()(best, value) ? best : value;
            }
            return best;
        }
    }
};

template <class FilterT> class MinOperator : public ExtremumOperator<FilterT, std::less<>> {};
template <class FilterT> class MaxOperator : public ExtremumOperator<FilterT, std::greater<>> {};

} // namespace
} // namespace Tilewright
