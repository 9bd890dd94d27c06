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

/// The mean of the values. The sum is kept in the output type, however narrow, and added up in the order of
/// the points: bytes wrap at 256, so that the mean of 200 and 200 is 72. The division is in double precision,
/// and an integer result is truncated.
template <class FilterT> class MeanOperator : public Operator<FilterT> {
    using typename Operator<FilterT>::value_type;
    using typename Operator<FilterT>::output_type;

public:
    output_type reduce(const std::vector<unsigned>& cellPoints, const std::vector<value_type>& values,
                       const unsigned& count, const point&) const override {
        if constexpr (Orrery::Record<output_type>)
            return meanOfRecords(cellPoints, values, count);
        else
            return meanOfNumbers(cellPoints, values, count);
    }

private:
    static output_type meanOfNumbers(const std::vector<unsigned>& cellPoints,
                                     const std::vector<value_type>& values, unsigned count) {
        using Sum = typename Accumulator<output_type>::type;
        Sum sum = 0;
        for (const unsigned i : cellPoints)
            sum = static_cast<Sum>(sum + static_cast<Sum>(FilterT::readValue(values[i])));
        const double quotient =
            static_cast<double>(static_cast<output_type>(sum)) / static_cast<double>(count);
        if constexpr (std::integral<output_type>)
            return truncated<output_type>(quotient);
        else
            return static_cast<output_type>(quotient);
    }

    static output_type meanOfRecords(const std::vector<unsigned>& cellPoints,
                                     const std::vector<value_type>& values, unsigned count) {
        output_type sum;
        for (const unsigned i : cellPoints)
            sum += FilterT::readValue(values[i]);
        using Component = typename output_type::element_type;
        const double reciprocal = 1.0 / static_cast<double>(count);
        for (std::size_t c = 0; c < 3; ++c) {
            // Colours alone are scaled by the reciprocal; a division could differ in the last unit.
            if constexpr (std::integral<Component>)
                sum[c] = truncated<Component>(static_cast<double>(sum[c]) * reciprocal);
            else
                sum[c] = sum[c] / static_cast<double>(count);
        }
        return sum;
    }
};

} // namespace
} // namespace Tilewright
