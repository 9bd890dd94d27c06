#include <io/preview/ValueRange.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>

namespace Tilewright::Io {

namespace {

/// With this number of decimals, unless that would be a long row of zeros.
std::string textOf(double number, int decimals) {
    if (std::abs(number) >= 1e9 || decimals > 6)
        return shortNumber(number);
    std::array<char, 32> text;
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, decimals).ptr;
    return {text.data(), end};
}

/// Adds the end of a range and removes ticks that are too close to it.
void addEnd(std::vector<Tick>& ticks, const ValueRange& range, const Tick& end) {
    constexpr double roomOfText = 0.12;
    std::erase_if(ticks, [&](const Tick& tick) {
        return std::abs(range.shareOf(tick.value) - range.shareOf(end.value)) < roomOfText;
    });
    ticks.push_back(end);
}

} // namespace

std::vector<float> numbersOf(const std::vector<float>& plane) {
    std::vector<float> numbers;
    std::copy_if(plane.begin(), plane.end(), std::back_inserter(numbers),
                 [](float v) { return !std::isnan(v); });
    return numbers;
}

double quantile(std::vector<float>& numbers, double share) {
    const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(numbers.size() - 1));
    std::nth_element(numbers.begin(), numbers.begin() + place, numbers.end());
    return numbers[static_cast<std::size_t>(place)];
}

std::optional<ValueRange> rangeOf(const std::vector<float>& plane, bool isWhole) {
    std::vector<float> numbers = numbersOf(plane);
    if (numbers.empty())
        return std::nullopt;
    const auto [first, last] = std::minmax_element(numbers.begin(), numbers.end());
    const double least = *first, greatest = *last;
    ValueRange range = {quantile(numbers, 0.002), quantile(numbers, 0.998)};
    if (!(range.low < range.high))
        range = {least, greatest};
    if (isWhole)
        range = {std::floor(range.low), std::ceil(range.high)};
    if (!(range.low < range.high))
        range =
            isWhole ? ValueRange{range.low, range.low + 1} : ValueRange{range.low - 0.5, range.high + 0.5};
    range.isCutBelow = range.low > least;
    range.isCutAbove = range.high < greatest;
    return range;
}

double roundLength(double about) {
    const double power = std::pow(10, std::floor(std::log10(about)));
    return power * (about >= 5 * power ? 5 : about >= 2 * power ? 2 : 1);
}

std::string shortNumber(double number) {
    std::array<char, 32> text;
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, 7).ptr;
    return {text.data(), end};
}

std::vector<Tick> ticksOf(ValueRange& range, bool isWhole) {
    constexpr double wanted = 5;
    constexpr double roundedUp = 1.6; // from the middle between 2 and 5 on
    const double round = roundLength((range.high - range.low) / wanted * roundedUp);
    const double step = isWhole ? std::max(round, 1.0) : round;
    const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    const double finest = std::pow(10, decimals);
    if (range.isCutBelow)
        range.low = std::ceil(range.low * finest) / finest;
    if (range.isCutAbove)
        range.high = std::floor(range.high * finest) / finest;
    std::vector<Tick> ticks;
    for (double i = std::ceil(range.low / step); i * step <= range.high; ++i) {
        const double value = i == 0 ? 0 : i * step; // never -0
        ticks.push_back({value, textOf(value, decimals)});
    }
    if (isWhole || range.isCutBelow)
        addEnd(ticks, range, {range.low, (range.isCutBelow ? "\u2264 " : "") + textOf(range.low, decimals)});
    if (isWhole || range.isCutAbove)
        addEnd(ticks, range,
               {range.high, (range.isCutAbove ? "\u2265 " : "") + textOf(range.high, decimals)});
    return ticks;
}

} // namespace Tilewright::Io
