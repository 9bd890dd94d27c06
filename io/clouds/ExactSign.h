/// ExactSign: on which side of a line a point lies, whatever the roundings.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>

namespace Tilewright::Io {

/// The exact sum of doubles, as parts that do not overlap, the smallest first.
class ExactSum {
public:
    void add(double number) {
        for (std::size_t i = 0; i < Count; ++i) {
            const double sum = number + Parts[i];
            const double fromPart = sum - number;
            Parts[i] = (number - (sum - fromPart)) + (Parts[i] - fromPart);
            number = sum;
        }
        Parts[Count++] = number;
    }

    /// The largest part that is not 0 has the sign of the sum.
    int sign() const {
        for (std::size_t i = Count; i-- > 0;)
            if (Parts[i] != 0.0)
                return Parts[i] > 0.0 ? 1 : -1;
        return 0;
    }

private:
    std::array<double, 16> Parts = {};
    std::size_t Count = 0;
};

/// a - b exactly, as two numbers.
inline std::array<double, 2> exactDifference(double a, double b) {
    const double difference = a - b;
    const double fromB = a - difference;
    return {difference, (a - (difference + fromB)) + (fromB - b)};
}

/// The sign of ux * vy - uy * vx for the vectors u from a to b and v from a to p: 1 where p lies to the left
/// of the way from a to b, 0 where it lies on the line.
inline int exactSideOf(std::array<double, 2> a, std::array<double, 2> b, std::array<double, 2> p) {
    ExactSum sum;
    const auto addProduct = [&](std::array<double, 2> f, std::array<double, 2> g, double sign) {
        for (const double one : f)
            for (const double other : g) {
                const double product = one * other;
                sum.add(sign * product);
                sum.add(sign * std::fma(one, other, -product));
            }
    };
    addProduct(exactDifference(b[0], a[0]), exactDifference(p[1], a[1]), 1.0);
    addProduct(exactDifference(b[1], a[1]), exactDifference(p[0], a[0]), -1.0);
    return sum.sign();
}

} // namespace Tilewright::Io
