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

template <class T, class Beats>
constexpr T extremumStart = Beats()(2, 1) ? ExtremumStart<T>::max : ExtremumStart<T>::min;

/// The value that beats all others. On numbers a new value wins unless the standing one strictly beats it, so
/// that a value that is not a number replaces the standing one and is itself replaced by the next.
template <class O, class Beats> struct ExtremumSteps {
    static O start() { return extremumStart<O, Beats>; }
    static void take(O& best, const O& value) { best = Beats()(best, value) ? best : value; }
    static void finish(O&, unsigned) {}
};

/// On records each component is sought by itself and must strictly beat the standing one.
template <Orrery::Record O, class Beats> struct ExtremumSteps<O, Beats> {
    static O start() {
        constexpr auto first = extremumStart<typename O::element_type, Beats>;
        return O(first, first, first);
    }
    static void take(O& best, const O& value) {
        for (std::size_t c = 0; c < 3; ++c)
            if (Beats()(value[c], best[c]))
                best[c] = value[c];
    }
    static void finish(O&, unsigned) {}
};

template <class FilterT>
class MinOperator final
    : public StreamingOperator<FilterT, ExtremumSteps<typename FilterT::output_type, std::less<>>> {};
template <class FilterT>
class MaxOperator final
    : public StreamingOperator<FilterT, ExtremumSteps<typename FilterT::output_type, std::greater<>>> {};

} // namespace
} // namespace Tilewright
