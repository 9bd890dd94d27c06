/// Chance: random numbers that depend on the seed alone. The distributions of the standard library differ
/// from one implementation to the next.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>

namespace Tilewright::MakeScan {

/// Equal arguments give equal numbers; for different ones they look unrelated.
inline std::uint64_t scramble(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9;
    value = (value ^ (value >> 27)) * 0x94d049bb133111eb;
    return value ^ (value >> 31);
}

inline std::uint64_t scramble(std::uint64_t seed, std::int64_t i, std::int64_t j) {
    return scramble(scramble(seed ^ scramble(static_cast<std::uint64_t>(i))) ^ static_cast<std::uint64_t>(j));
}

class Chance {
public:
    explicit Chance(std::uint64_t seed) : state_(seed) {}

    /// Uniform, at least 0 and less than 1.
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }
    double between(double low, double high) { return low + (high - low) * unit(); }
    bool happens(double probability) { return unit() < probability; }

    /// Mean 0, standard deviation 1. A sum of uniform numbers is close enough to a normal distribution.
    double bell() {
        double sum = -2;
        for (int i = 0; i < 4; ++i) {
            sum += unit();
        }
        return sum * std::numbers::sqrt3;
    }

    /// Exponentially distributed: most often short, now and then long.
    double depth(double mean) { return -mean * std::log1p(-unit()); }

private:
    std::uint64_t next() { return scramble(state_++); }

    std::uint64_t state_;
};

} // namespace Tilewright::MakeScan
