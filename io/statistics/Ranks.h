/// Ranks: which of a cell's values in ascending order a statistic is made of, and what it makes of them.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <type_traits>

#include <io/statistics/Statistic.h>

namespace Tilewright::Io {

/// A place between two neighbours, counted from 0.
struct RankedPlace {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    /// Of the way from the lower to the upper one.
    double share = 0.0;
};

/// Whether a statistic that goes by order asks for values at certain ranks.
inline bool hasRanks(Statistic::Kind kind) {
    using Kind = Statistic::Kind;
    return kind == Kind::Median || kind == Kind::MedianHigh || kind == Kind::MedianLow ||
           kind == Kind::Percentile;
}

/// Among `count` values, one at least.
inline RankedPlace placeOf(const Statistic& statistic, std::uint64_t count) {
    using Kind = Statistic::Kind;
    switch (statistic.kind) {
    case Kind::MedianHigh:
        return {count / 2, count / 2, 0.0};
    case Kind::MedianLow:
        return {(count - 1) / 2, (count - 1) / 2, 0.0};
    case Kind::Median:
        return {(count - 1) / 2, count / 2, 0.5};
    default:
        break;
    }
    const double at = static_cast<double>(count - 1) * (statistic.number / 100.0);
    const double below = std::floor(at);
    const auto low = static_cast<std::uint64_t>(below);
    return {low, low + 1 < count ? low + 1 : low, at - below};
}

/// Exact at both ends, also where the distance is beyond what a double can be.
inline double between(double low, double high, double share) {
    if (share == 0.0 || low == high)
        return low;
    const double distance = high - low;
    if (share == 0.5 || std::fabs(distance) > std::numeric_limits<double>::max())
        return share == 0.5 ? std::midpoint(low, high) : low * (1.0 - share) + high * share;
    return share < 0.5 ? low + distance * share : high - distance * (1.0 - share);
}

/// Both zeros are one value.
template <class T> T asOrdered(T value) {
    if constexpr (std::is_floating_point_v<T>)
        return value + T(0);
    else
        return value;
}

} // namespace Tilewright::Io
