#include <io/runs/PixelRange.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include <io/system/Errors.h>

#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

template <class T> PixelRange rangeOfNumbers() {
    return {static_cast<double>(std::numeric_limits<T>::lowest()),
            static_cast<double>(std::numeric_limits<T>::max())};
}

/// None if there is no such option; the last one counts.
std::optional<std::string> textOfBits(const std::vector<std::string>& creationOptions) {
    constexpr std::string_view key = "NBITS=";
    std::optional<std::string> bits;
    for (const std::string& option : creationOptions) {
        std::string start = option.substr(0, key.size());
        std::ranges::transform(start, start.begin(), [](char c) {
            return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        });
        if (start == key)
            bits = option.substr(key.size());
    }
    return bits;
}

/// The widths that pixels of a type may have.
struct Widths {
    std::uint64_t least;
    std::uint64_t greatest;
};

Widths widthsOf(PixelType type) {
    switch (type) {
    case PixelType::Byte:
        return {1, 8};
    case PixelType::UInt16:
        return {9, 16};
    case PixelType::UInt32:
        return {17, 32};
    case PixelType::Float32:
        return {16, 32};
    case PixelType::Int32:
        return {32, 32};
    case PixelType::UInt64:
    case PixelType::Float64:
        break;
    }
    return {64, 64};
}

} // namespace

PixelRange rangeOf(PixelType type) {
    switch (type) {
    case PixelType::Byte:
        return rangeOfNumbers<unsigned char>();
    case PixelType::UInt16:
        return rangeOfNumbers<unsigned short>();
    case PixelType::UInt32:
        return rangeOfNumbers<unsigned int>();
    case PixelType::UInt64:
        return rangeOfNumbers<unsigned long long>();
    case PixelType::Int32:
        return rangeOfNumbers<int>();
    case PixelType::Float32:
        return rangeOfNumbers<float>();
    case PixelType::Float64:
        break;
    }
    return rangeOfNumbers<double>();
}

std::optional<PixelRange> rangeOfBits(PixelType type, const std::string& typeName,
                                      const std::vector<std::string>& creationOptions) {
    const std::optional<std::string> text = textOfBits(creationOptions);
    if (!text)
        return std::nullopt;
    const Widths widths = widthsOf(type);
    const std::uint64_t bits = parseCount(*text).value_or(0);
    const bool isBetween = isFloating(type) && bits != widths.least && bits != widths.greatest;
    if (bits < widths.least || bits > widths.greatest || isBetween)
        throw UsageError("NBITS=" + *text + " does not go with " + typeName +
                         "; leave it out, or choose another --type");
    if (bits == widths.greatest)
        return std::nullopt;
    constexpr double greatestHalf = 65504.0;
    if (isFloating(type))
        return PixelRange{-greatestHalf, greatestHalf};
    return PixelRange{0.0, std::ldexp(1.0, static_cast<int>(bits)) - 1.0};
}

bool isFloating(PixelType type) { return type == PixelType::Float32 || type == PixelType::Float64; }

} // namespace Tilewright::Io
