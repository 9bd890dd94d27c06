/// Moments: sums and powers of deviations that are built up point by point without losing digits.
///
/// All is relative to the first value, so that deviations of millimetres survive coordinates in the millions,
/// and to the mean so far (Welford 1962; the third and fourth powers: Pebay, Terriberry, Kolla, Bennett
/// 2016).
#pragma once

#include <cmath>

#include <io/statistics/Statistic.h>

namespace Tilewright::Io {

/// A sum that keeps what its additions cut off (Neumaier 1974).
class ExactSum {
public:
    void take(double value) {
        const double sum = Sum + value;
        Lost += std::fabs(Sum) >= std::fabs(value) ? (Sum - sum) + value : (value - sum) + Sum;
        Sum = sum;
    }

    /// What additions to an infinite sum cut off is not a number.
    double result() const { return std::isfinite(Sum) ? Sum + Lost : Sum; }

private:
    double Sum = 0.0;
    double Lost = 0.0;
};

/// Exact for whole numbers, so that a value that is the mean is neither above nor below it.
class ExactMean {
public:
    void take(double value) {
        if (Count == 0.0 && std::isfinite(value))
            Offset = value;
        Count += 1.0;
        Sum.take(value - Offset);
    }

    double result() const { return Offset + Sum.result() / Count; }

private:
    double Offset = 0.0;
    double Count = 0.0;
    ExactSum Sum;
};

class SquareMoments {
public:
    void take(double value) {
        if (Count == 0.0)
            Offset = value;
        Count += 1.0;
        const double moved = value - Offset;
        const double deviation = moved - Mean;
        Mean += deviation / Count;
        Squares += deviation * (moved - Mean);
    }

    double result(Statistic::Kind kind) const {
        using Kind = Statistic::Kind;
        const bool isSample = kind == Kind::SampleStdDev || kind == Kind::SampleVariance;
        if (isSample && Count < 2.0)
            return noResult();
        const double variance = Squares / (isSample ? Count - 1.0 : Count);
        return kind == Kind::StdDev || kind == Kind::SampleStdDev ? std::sqrt(variance) : variance;
    }

private:
    double Offset = 0.0;
    double Mean = 0.0;
    double Squares = 0.0;
    double Count = 0.0;
};

class HigherMoments {
public:
    void take(double value) {
        if (Count == 0.0)
            Offset = value;
        const double before = Count;
        Count += 1.0;
        const double deviation = (value - Offset) - Mean;
        const double step = deviation / Count;
        const double step2 = step * step;
        const double square = deviation * step * before;
        Mean += step;
        Fourth +=
            square * step2 * (Count * Count - 3.0 * Count + 3.0) + 6.0 * step2 * Squares - 4.0 * step * Cubes;
        Cubes += square * step * (Count - 2.0) - 3.0 * step * Squares;
        Squares += square;
    }

    /// None where all values are equal.
    double result(Statistic::Kind kind) const {
        if (Squares == 0.0)
            return noResult();
        const double variance = Squares / Count;
        return kind == Statistic::Kind::Kurtosis ? Fourth / Count / (variance * variance)
                                                 : Cubes / Count / (variance * std::sqrt(variance));
    }

private:
    double Offset = 0.0;
    double Mean = 0.0;
    double Squares = 0.0;
    double Cubes = 0.0;
    double Fourth = 0.0;
    double Count = 0.0;
};

} // namespace Tilewright::Io
