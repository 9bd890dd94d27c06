/// Numbers in texts, whatever the locale, and the types that hold them.
#pragma once

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>

namespace Tilewright::Io {

/// Whole numbers keep all their digits; those of the second kind are beyond the reach of the first.
using Number = std::variant<long long, unsigned long long, double>;

/// The number that makes up all of `text`. Nothing if it is none, or one that T can't hold.
template <class T> std::optional<T> parse(std::string_view text) {
    if (text.size() > 1 && text.front() == '+' && text[1] != '-')
        text.remove_prefix(1);
    T value = {};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

inline std::optional<Number> parseNumber(std::string_view text) {
    if (const auto whole = parse<long long>(text))
        return *whole;
    if (const auto whole = parse<unsigned long long>(text))
        return *whole;
    if (const auto real = parse<double>(text))
        return *real;
    return std::nullopt;
}

/// A number as T: whole types take it exactly or not at all, floating ones to their precision.
template <class T> std::optional<T> convert(const Number& number) {
    return std::visit(
        []<class From>(From value) -> std::optional<T> {
            if constexpr (std::is_floating_point_v<T>) {
                return static_cast<T>(value);
            } else if constexpr (std::is_integral_v<From>) {
                return std::in_range<T>(value) ? std::optional(static_cast<T>(value)) : std::nullopt;
            } else {
                // The end of T's range, a power of two, is exact where its greatest value is not.
                const double limit = std::ldexp(1.0, std::numeric_limits<T>::digits);
                const double low = std::is_signed_v<T> ? -limit : 0.0;
                const bool fits = value >= low && value < limit && std::trunc(value) == value;
                return fits ? std::optional(static_cast<T>(value)) : std::nullopt;
            }
        },
        number);
}

} // namespace Tilewright::Io
