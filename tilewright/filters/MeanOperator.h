#pragma once

#include <limits>
#include <type_traits>

#include <tilewright/filters/Operator.h>

namespace Tilewright {
namespace {

/// Truncates toward zero. A quotient that rounds up to 2^64 stands for the largest value.
template <std::integral T> T truncated(double quotient) {
    if constexpr (std::is_same_v<T, unsigned long long>) {
        constexpr double beyond = 18446744073709551616.0;
        if (quotient >= beyond)
            return std::numeric_limits<T>::max();
    }
    return static_cast<T>(quotient);
}

/// Sums of integers wrap at their own width; a signed one does so as its unsigned twin.
template <class T> struct Accumulator { using type = T; };
template <std::integral T> struct Accumulator<T> { using type = std::make_unsigned_t<T>; };

/// The sum is kept in the output type O, however narrow: bytes wrap at 256, so that the mean of 200 and 200
/// is 72. The division is in double precision, and an integer result is truncated.
template <class O> struct MeanSteps {
    static O start() { return O(); }

    static void take(O& sum, const O& value) {
        using Sum = typename Accumulator<O>::type;
        sum = static_cast<O>(static_cast<Sum>(static_cast<Sum>(sum) + static_cast<Sum>(value)));
    }

    static void finish(O& sum, unsigned count) {
        const double quotient = static_cast<double>(sum) / static_cast<double>(count);
        if constexpr (std::integral<O>)
            sum = truncated<O>(quotient);
        else
            sum = static_cast<O>(quotient);
    }
};

template <Orrery::Record O> struct MeanSteps<O> {
    static O start() { return O(); }

    static void take(O& sum, const O& value) { sum += value; }

    static void finish(O& sum, unsigned count) {
        using Component = typename O::element_type;
        const double reciprocal = 1.0 / static_cast<double>(count);
        for (std::size_t c = 0; c < 3; ++c) {
            // Colours alone are scaled by the reciprocal; a division could differ in the last unit.
            if constexpr (std::integral<Component>)
                sum[c] = truncated<Component>(static_cast<double>(sum[c]) * reciprocal);
            else
                sum[c] = sum[c] / static_cast<double>(count);
        }
    }
};

/// The mean of the values, added up in the order of the points.
template <class FilterT>
class MeanOperator final : public StreamingOperator<FilterT, MeanSteps<typename FilterT::output_type>> {};

} // namespace
} // namespace Tilewright
