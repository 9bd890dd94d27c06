/// Statistic: what a cell holds of the values of its points, beyond what the filters of the library make.
///
/// There are three sorts. Some keep a small state per cell and take the points one after the other
/// (CellStates.h); some need the values of a cell in ascending order (OrderStatistics.h); and one looks at
/// points of other cells too.
///
/// What is not a number: sums and moments become NaN, as means do. Whatever goes by order leaves it out, as
/// the extremes do; so the range is Max - Min, and P0 and P100 are Min and Max.
#pragma once

#include <bit>
#include <cstdint>

namespace Tilewright::Io {

struct Statistic {
    enum class Kind {
        /// None of these: a filter of the library.
        None,
        Range,
        Sum,
        StdDev,
        Variance,
        SampleStdDev,
        SampleVariance,
        Skewness,
        Kurtosis,
        First,
        Last,
        AtHighest,
        AtLowest,
        /// The share of the points above `number`.
        Above,
        AboveMean,
        Median,
        MedianHigh,
        MedianLow,
        /// `number` percent of the way from the least to the greatest.
        Percentile,
        Mode,
        Distinct,
        /// Of the points within `number` of the centre of the cell.
        InverseDistance
    };

    Kind kind = Kind::None;
    double number = 0.0;
    /// Of the distance, by which a point counts less.
    double power = 2.0;

    bool operator==(const Statistic&) const = default;
};

/// Whether it needs the values of a cell in ascending order.
inline bool goesByOrder(Statistic::Kind kind) {
    return kind >= Statistic::Kind::AboveMean && kind <= Statistic::Kind::Distinct;
}

inline bool goesByHeight(Statistic::Kind kind) {
    return kind == Statistic::Kind::AtHighest || kind == Statistic::Kind::AtLowest;
}

/// The result for a cell whose points have none, such as the sample's deviation of a single point: the cell
/// has no data. It is a NaN, but none that arithmetic makes.
inline constexpr std::uint64_t bitsOfNoResult = 0x7ff8'0074'6577'0001;

inline double noResult() { return std::bit_cast<double>(bitsOfNoResult); }
inline bool isNoResult(double result) { return std::bit_cast<std::uint64_t>(result) == bitsOfNoResult; }

} // namespace Tilewright::Io
