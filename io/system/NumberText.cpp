#include <io/system/NumberText.h>

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

namespace Tilewright::Io {

namespace {

template <class T> std::optional<T> parseWhole(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return {};
    return value;
}

constexpr std::string_view prefixes = "KMGT";

} // namespace

std::optional<double> parseDouble(std::string_view text) { return parseWhole<double>(text); }

std::optional<std::uint64_t> parseCount(std::string_view text) { return parseWhole<std::uint64_t>(text); }

std::optional<std::uint64_t> parseBytes(std::string_view text) {
    double factor = 1.0;
    if (!text.empty()) {
        const char last = text.back() >= 'a' ? static_cast<char>(text.back() - 'a' + 'A') : text.back();
        if (const std::size_t power = prefixes.find(last); power != std::string_view::npos) {
            factor = std::pow(1024.0, static_cast<double>(power + 1));
            text.remove_suffix(1);
        }
    }
    const std::optional<double> number = parseDouble(text);
    // Written so that it also refuses what is no number.
    if (!number || !(*number >= 0.0 && *number * factor < 0x1p63))
        return {};
    return static_cast<std::uint64_t>(*number * factor);
}

std::string exactNumber(double number) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

std::string roundedNumber(double number, int digits) {
    std::array<char, 32> text;
    return {text.data(),
            std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, digits)
                .ptr};
}

std::string readableBytes(std::uint64_t bytes) {
    auto size = static_cast<double>(bytes);
    std::string unit = "bytes";
    for (const char prefix : prefixes)
        if (size >= 1000.0) {
            size /= 1024.0;
            unit = std::string{prefix, 'i', 'B'};
        }
    return roundedNumber(size, size < 10.0 ? 2 : 3) + " " + unit;
}

std::string printable(std::string_view text) {
    std::string line(text);
    for (std::size_t i = 0; i < line.size(); ++i) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(line[at]); };
        if (byte(i) < 0x20 || byte(i) == 0x7f)
            line[i] = ' ';
        // The second set of control characters, two bytes each in UTF-8.
        else if (byte(i) == 0xc2 && i + 1 < line.size() && byte(i + 1) >= 0x80 && byte(i + 1) < 0xa0)
            line[i] = line[i + 1] = ' ';
    }
    return line;
}

std::string shellWord(const std::string& text) {
    constexpr std::string_view plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./,:+-@%";
    if (!text.empty() && text.find_first_not_of(plain) == std::string::npos)
        return text;
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? "'\\''" : std::string(1, c);
    return word + "'";
}

} // namespace Tilewright::Io
