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

/// Sums run in several lanes so that the compiler can use vectors. The number of lanes affects the last
/// digits of the result.
using TallyLanes = std::array<double, 8>;

/// So many pixels of a row are worked on at a time: what is found of them stays in the innermost cache.
inline constexpr std::size_t tallyStretch = 256;
using TallyValues = std::array<double, tallyStretch>;

/// Adds the first `count` values to the lanes in turn, by `add(lane, value)`, and those of an incomplete last
/// turn to the first lane.
template <class Add>
void addToLanes(TallyLanes& lanes, const TallyValues& values, std::size_t count, const Add& add) {
    TallyLanes sums = lanes;
    std::size_t i = 0;
    for (; i + sums.size() <= count; i += sums.size())
        for (std::size_t lane = 0; lane < sums.size(); ++lane)
            sums[lane] = add(sums[lane], values[i + lane]);
    for (; i < count; ++i)
        sums[0] = add(sums[0], values[i]);
    lanes = sums;
}

/// The sums over pixels, stretch by stretch: all but the last stretch of a row fill all lanes.
///
/// There is a short loop for each sum, because all of them at once need more registers than a processor has,
/// and no condition in a loop skips another: the compiler would use no vectors then, which takes up to three
/// times as long.
class PixelSums {
public:
    PixelSums() {
        Least.fill(infinity);
        Greatest.fill(-infinity);
    }

    template <class T, class HasData> void add(const T* pixels, std::size_t count, const HasData& hasData) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto value = static_cast<double>(pixels[i]);
            const bool in = both(isFinite(value), hasData(i));
            Ones[i] = in ? 1.0 : 0.0;
            Values[i] = in ? value : 0.0;
            Lows[i] = in ? value : infinity;
            Highs[i] = in ? value : -infinity;
        }
        addToLanes(Count, Ones, count, plus);
        addToLanes(Sum, Values, count, plus);
        addToLanes(Least, Lows, count, [](double a, double b) { return b < a ? b : a; });
        addToLanes(Greatest, Highs, count, [](double a, double b) { return b > a ? b : a; });
    }

    /// Adds the squared differences from the mean, once that is known.
    template <class T, class HasData>
    void addSquares(const T* pixels, std::size_t count, double mean, const HasData& hasData) {
        for (std::size_t i = 0; i < count; ++i) {
            const auto value = static_cast<double>(pixels[i]);
            const bool in = both(isFinite(value), hasData(i));
            const double apart = value - mean;
            Values[i] = in ? apart * apart : 0.0;
        }
        addToLanes(Squares, Values, count, plus);
    }

    PixelTally tally() const {
        PixelTally all;
        double count = 0;
        for (std::size_t lane = 0; lane < Sum.size(); ++lane) {
            count += Count[lane];
            all.sum += Sum[lane];
            all.squares += Squares[lane];
            all.least = std::min(all.least, Least[lane]);
            all.greatest = std::max(all.greatest, Greatest[lane]);
        }
        all.count = static_cast<std::uint64_t>(count);
        return all;
    }

private:
    static constexpr double infinity = std::numeric_limits<double>::infinity();

    static constexpr auto plus = [](double a, double b) { return a + b; };
    /// && would skip the second condition.
    static bool both(bool a, bool b) { return a & b; }
    static bool isFinite(double value) { return std::fabs(value) <= std::numeric_limits<double>::max(); }

    TallyLanes Count = {}, Sum = {}, Least, Greatest, Squares = {};
    /// Of a stretch.
    TallyValues Ones = {}, Values = {}, Lows = {}, Highs = {};
};

/// A window of pixels in memory.
template <class T> struct PixelWindow {
    const T* first;
    std::size_t columns;
    std::size_t rows;
    std::size_t stride; ///< pixels from one row to the next

    /// Calls `visit(offset from the first pixel, count)` for stretches of the rows.
    template <class Visit> void forEachStretch(const Visit& visit) const {
        for (std::size_t row = 0; row < rows; ++row)
            for (std::size_t column = 0; column < columns; column += tallyStretch)
                visit(row * stride + column, std::min(tallyStretch, columns - column));
    }
};

/// Tallies the finite pixels of the window for which `hasData(offset from the first pixel)` is true.
template <class T, class HasData> PixelTally tallyOf(const PixelWindow<T>& window, HasData hasData) {
    PixelSums sums;
    const auto from = [=](std::size_t first) { return [=](std::size_t i) { return hasData(first + i); }; };
    window.forEachStretch(
        [&](std::size_t first, std::size_t count) { sums.add(window.first + first, count, from(first)); });
    const PixelTally tally = sums.tally();
    if (tally.count == 0)
        return {};
    window.forEachStretch([&](std::size_t first, std::size_t count) {
        sums.addSquares(window.first + first, count, tally.mean(), from(first));
    });
    return sums.tally();
}

} // namespace Tilewright::Io
