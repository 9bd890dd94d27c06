/// Text: numbers and names as the program reads and shows them, whatever the user's locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Tilewright::App {

/// The number that the whole of a text stands for, with a point for the decimals; none for any other text and
/// for a number that is too large. Also reads inf and nan.
std::optional<double> parseNumber(std::string_view text);
std::optional<std::uint64_t> parseCount(std::string_view text);
/// A number of bytes, with K, M, G or T for the powers of 1024: "512M", "1.5G".
std::optional<std::uint64_t> parseBytes(std::string_view text);

/// The shortest text that reads back as the same number.
std::string exactNumber(double number);
/// With so many digits at most.
std::string roundedNumber(double number, int digits);
/// As parseBytes reads it, to two or three digits: "1.5 GiB".
std::string readableBytes(std::uint64_t bytes);

/// The text with blanks for all characters that would move the cursor or worse: names in files are anybody's.
std::string oneLine(std::string_view text);

/// A word that a shell takes for `text`.
std::string shellWord(const std::string& text);

} // namespace Tilewright::App
