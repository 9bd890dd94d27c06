#include <tilewright/values/MultiRange.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <optional>

#include <tilewright/values/StringUtil.h>

namespace Orrery {

namespace {

/// Truncates toward zero; what the integer can't hold gives its least value, as the processor's own
/// conversion does.
template <class I> I truncatedTo(double value) {
    constexpr double limit = -static_cast<double>(std::numeric_limits<I>::min());
    return value > -limit - 1.0 && value < limit ? static_cast<I>(value) : std::numeric_limits<I>::min();
}

template <class T> T converted(double value) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(value);
    } else if constexpr (std::is_same_v<T, unsigned long long>) {
        constexpr double half = 9223372036854775808.0;
        if (value >= 2.0 * half)
            return std::numeric_limits<T>::max();
        return value >= half ? static_cast<T>(value) : static_cast<T>(truncatedTo<long long>(value));
    } else if constexpr (std::is_same_v<T, unsigned int>) {
        return static_cast<T>(truncatedTo<long long>(value));
    } else {
        return static_cast<T>(truncatedTo<int>(value));
    }
}

std::string trimmed(const std::string& text) {
    return Larder::StringUtil::rtrim(Larder::StringUtil::ltrim(text));
}

/// A "-" may come first and nowhere else.
bool isValidNumber(const std::string& text) { return text.find('-', 1) == std::string::npos; }

/// Ascending, with not-a-number after every number: a sort needs an order.
template <class T> bool precedes(T a, T b) {
    if constexpr (std::is_floating_point_v<T>)
        return a < b || (a == a && b != b);
    else
        return a < b;
}

template <class T> bool pairPrecedes(const std::pair<T, T>& a, const std::pair<T, T>& b) {
    return precedes(a.first, b.first) || (!precedes(b.first, a.first) && precedes(a.second, b.second));
}

/// The values of an item, the smaller one first; nothing for a bad one.
std::optional<std::pair<double, double>> readRange(const std::string& item) {
    const std::string text = trimmed(item);
    std::vector<std::string> values;
    splitAtAnyOf(text.data(), text.size(), values, ":");
    for (std::string& value : values) {
        value = trimmed(value);
        if (!isValidNumber(value))
            return {};
    }
    if (values.size() > 2)
        return {};
    const double a = std::atof(values.front().c_str());
    const double b = std::atof(values.back().c_str());
    return std::pair(std::min(a, b), std::max(a, b));
}

/// All items in their order; nothing if one is bad.
std::optional<std::vector<std::pair<double, double>>> readRanges(const std::string& input) {
    std::vector<std::string> items;
    splitAtAnyOf(input.data(), input.size(), items, ";,");
    std::vector<std::pair<double, double>> ranges;
    for (const std::string& item : items) {
        if (item.empty())
            continue;
        const auto range = readRange(item);
        if (!range)
            return {};
        ranges.push_back(*range);
    }
    return ranges;
}

/// On purpose the smallest positive number for floating types, and not the lowest: see greatestBound.
template <class T> constexpr T startOfGreatest = std::numeric_limits<T>::min();

} // namespace

template <class T>
MultiRange<T>::MultiRange(const std::string& input)
    : Larder::ReferenceBase<MultiRange<T>>(this), leastBound(std::numeric_limits<T>::max()),
      greatestBound(startOfGreatest<T>) {
    construct(input);
}

template <class T> MultiRange<T>::~MultiRange() = default;

template <class T> void MultiRange<T>::construct(const std::string& input) {
    const auto ranges = readRanges(input);
    if (!ranges) {
        std::cout << "MultiRange(const string& input), ERROR: invalid range: " << input << std::endl;
        return;
    }
    for (const auto& [low, high] : *ranges) {
        const std::pair<T, T> range(converted<T>(low), converted<T>(high));
        this->push_back(range);
        greatestBound = std::max(greatestBound, range.second);
    }
    if (this->empty())
        return;
    std::sort(this->begin(), this->end(), pairPrecedes<T>);
    leastBound = this->front().first;
}

bool isRangeExpression(const std::string& text) { return readRanges(text).has_value(); }

} // namespace Orrery

#define TILEWRIGHT_INSTANTIATE(T) template class Orrery::MultiRange<T>;
TILEWRIGHT_PLAIN_VALUE_TYPES(TILEWRIGHT_INSTANTIATE)
