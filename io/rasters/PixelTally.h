/// PixelTally: the sums behind the statistics of a band, per block. Private to the writer.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <io/rasters/RasterDescription.h>

namespace Tilewright::Io {

struct PixelTally {
    std::uint64_t count = 0;
    double least = std::numeric_limits<double>::infinity();
    double greatest = -std::numeric_limits<double>::infinity();
    double sum = 0;
    double squares = 0; ///< sum of the squared differences from the mean

    /// The tally of `count` zeros.
    static PixelTally zeros(std::uint64_t count) { return {count, 0, 0, 0, 0}; }

    static PixelTally of(const BandStatistics& statistics) {
        if (statistics.count == 0)
            return {};
        const auto count = static_cast<double>(statistics.count);
        return {statistics.count, statistics.least, statistics.greatest, statistics.mean * count,
                statistics.deviation * statistics.deviation * count};
    }

    double mean() const { return sum / static_cast<double>(count); }

    /// Adds another tally. The last digits depend on the order.
    void add(const PixelTally& other) {
        if (count == 0 || other.count == 0) {
            *this = count == 0 ? other : *this;
            return;
        }
        const double apart = other.mean() - mean();
        const double share = static_cast<double>(other.count) / static_cast<double>(count + other.count);
        squares += other.squares + apart * apart * static_cast<double>(count) * share;
        sum += other.sum;
        least = std::min(least, other.least);
        greatest = std::max(greatest, other.greatest);
        count += other.count;
    }

    BandStatistics statistics() const {
        if (count == 0)
            return {};
        return {count, least, greatest, mean(), std::sqrt(squares / static_cast<double>(count))};
    }
};

/// A window of pixels in memory.
template <class T> struct PixelWindow {
    const T* first;
    std::size_t columns;
    std::size_t rows;
    std::size_t stride; ///< pixels from one row to the next
};

/// Tallies the finite pixels of the window for which `hasData(offset from the first pixel)` is true.
///
/// The sums run in several lanes so that the compiler can vectorise them. Their number affects the last
/// digits of the result.
template <class T, class HasData> PixelTally tallyOf(const PixelWindow<T>& window, HasData hasData) {
    constexpr std::size_t lanes = 8;
    using Lanes = std::array<double, lanes>;
    const auto forAll = [&](auto each) {
        for (std::size_t row = 0; row < window.rows; ++row) {
            const std::size_t start = row * window.stride;
            std::size_t column = 0;
            for (; column + lanes <= window.columns; column += lanes)
                for (std::size_t lane = 0; lane < lanes; ++lane)
                    each(lane, start + column + lane);
            for (; column < window.columns; ++column)
                each(0, start + column);
        }
    };
    const auto counts = [&](std::size_t i, double value) { return hasData(i) && std::isfinite(value); };

    Lanes count = {}, sum = {}, least, greatest;
    least.fill(std::numeric_limits<double>::infinity());
    greatest.fill(-std::numeric_limits<double>::infinity());
    forAll([&](std::size_t lane, std::size_t i) {
        const auto value = static_cast<double>(window.first[i]);
        const bool in = counts(i, value);
        count[lane] += in ? 1.0 : 0.0;
        sum[lane] += in ? value : 0.0;
        least[lane] = in && value < least[lane] ? value : least[lane];
        greatest[lane] = in && value > greatest[lane] ? value : greatest[lane];
    });
    PixelTally tally;
    double allCount = 0, allSum = 0;
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        allCount += count[lane];
        allSum += sum[lane];
        tally.least = std::min(tally.least, least[lane]);
        tally.greatest = std::max(tally.greatest, greatest[lane]);
    }
    if (allCount == 0)
        return tally;
    tally.count = static_cast<std::uint64_t>(allCount);
    tally.sum = allSum;
    const double mean = tally.mean();

    Lanes squares = {};
    forAll([&](std::size_t lane, std::size_t i) {
        const auto value = static_cast<double>(window.first[i]);
        const double apart = value - mean;
        squares[lane] += counts(i, value) ? apart * apart : 0.0;
    });
    for (const double lane : squares)
        tally.squares += lane;
    return tally;
}

} // namespace Tilewright::Io
