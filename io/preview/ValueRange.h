/// ValueRange: the values that the colours of a picture cover, and the numbers beside them. Private to
/// Preview.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Tilewright::Io {

struct ValueRange {
    double low = 0;
    double high = 1;
    /// Whether some values are outside.
    bool isCutBelow = false;
    bool isCutAbove = false;
    double shareOf(double value) const { return (value - low) / (high - low); }
};

/// The values of a plane that are not NaN.
std::vector<float> numbersOf(const std::vector<float>& plane);

/// The value that has this share of the others below it. Reorders the numbers, which must not be empty.
double quantile(std::vector<float>& numbers, double share);

/// The range of a plane without its outermost values, because a single bird would use up most of the colours.
/// Empty if the plane has no numbers.
std::optional<ValueRange> rangeOf(const std::vector<float>& plane, bool isWhole);

struct Tick {
    double value;
    std::string text;
};

/// Ticks at round values within the range. If the range is cut or holds whole numbers, its ends get ticks
/// too. Cut ends move inwards to values that can be written in full.
std::vector<Tick> ticksOf(ValueRange& range, bool isWhole);

/// One, two or five times a power of ten, at most `about`.
double roundLength(double about);

/// With up to seven digits.
std::string shortNumber(double number);

} // namespace Tilewright::Io
